#pragma once

#include <QString>

/// A text as far as a dialog can show it: a longer one gives its first and last lines, with a word between them on what
/// was left out, "……（省略 976 行）……". An excerpt is its own excerpt.
[[nodiscard]] QString excerpt(const QString& text);

/// The same for a text of which only the beginning and the end are at hand.
[[nodiscard]] QString excerpt(const QString& beginning, const QString& end, qint64 lineCount);
