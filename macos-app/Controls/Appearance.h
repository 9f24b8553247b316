#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

class QLineEdit;

/// Colours and fonts that QPalette and QFontDatabase have no ready name for, derived from them so that light and dark
/// appearance both work.

/// Thin lines between things: the text's own colour, made faint.
[[nodiscard]] QColor separatorColor(const QPalette& palette, qreal alpha);

/// Subordinate text on panels and fields: fainter than text proper, yet at least 4.5:1 in any palette whose text
/// proper reads well.
[[nodiscard]] QColor secondaryTextColor(const QPalette& palette);

[[nodiscard]] QColor systemGreen();
[[nodiscard]] QColor systemRed();
[[nodiscard]] QColor systemOrange();

/// `color` made darker on a light neighbour, lighter on a dark one, until the contrast is at least 4.5:1.
[[nodiscard]] QColor readableAgainst(QColor color, const QColor& neighbour);

/// The opaque result of painting `over` on `under`.
[[nodiscard]] QColor composed(const QColor& over, const QColor& under);

/// 1 (no difference) to 21 (black on white), as accessibility guidelines define it. Both colours opaque.
[[nodiscard]] qreal contrastRatio(const QColor& first, const QColor& second);

/// The system's font of fixed pitch at 12 logical pixels, for paths and times.
[[nodiscard]] QFont monospacedFont();

/// `font` with its size multiplied.
[[nodiscard]] QFont scaledFont(QFont font, qreal factor);

/// Text of Chinese and Latin letters looks centred in the field, whose font and margins are set already. A field by
/// itself centres the lines of its own font, above which Chinese letters reach because they come from another.
void centerMixedText(QLineEdit* field);
