#pragma once

#include <QString>

/// A word of a command line for reading: bare when it holds only letters, marks, numbers and "/._:-", otherwise in
/// double quotes with its double quotes escaped. For display; no shell ever runs it.
[[nodiscard]] QString shellQuoted(const QString& text);

/// A word of a command line that a POSIX shell reads back as it is: bare by the same rule, otherwise in single quotes.
[[nodiscard]] QString shellWord(const QString& text);
