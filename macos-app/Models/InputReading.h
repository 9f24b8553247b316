#pragma once

#include "Models/CropParameters.h"
#include "Models/FadeRemovalStrategy.h"

#include <QList>
#include <QString>

#include <optional>

/// Reading the texts of the input fields. A validator returns the message for the user, or nothing when the text is
/// valid; a reader falls back to a default and never fails.

/// "width:height:x:y" in whole pixels, width and height above 0, x and y from 0; anything else gives no crop.
[[nodiscard]] std::optional<CropParameters> readCropParameters(const QString& text);
/// An empty text means no crop and is valid.
[[nodiscard]] std::optional<QString> validateCropParameters(const QString& text);

/// Seconds from 0; 0 for a negative number and for any other text.
[[nodiscard]] double readSkipStartSeconds(const QString& text);
/// An empty text is valid; a number must lie between 0 and one day.
[[nodiscard]] std::optional<QString> validateSkipStart(const QString& text);

/// The two padding texts of a strategy in seconds; its default stands in for a text that is not a number.
[[nodiscard]] FadePaddingSettings readFadePadding(const QString& leftText, const QString& rightText,
                                                  FadeRemovalStrategy strategy);
/// All texts must be numbers between 0 and 5 seconds; that they are numbers is looked at first.
[[nodiscard]] std::optional<QString> validateFadePadding(const QList<QString>& texts);

/// The number of workers, 1 to 12; 3 for a text that is no whole number.
[[nodiscard]] int readConcurrency(const QString& text);
