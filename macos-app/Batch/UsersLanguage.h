#pragma once

#include <QString>

/// Chinese, or English where the system's language is not Chinese. Sentences are made in Chinese, as everywhere in
/// Kestrel, and put into the user's language where they leave the program.
[[nodiscard]] bool speaksChinese();

/// A sentence in the user's language, or as it is where there is no English for it.
[[nodiscard]] QString inUsersLanguage(const QString& chinese);

/// A name as a part of one line: it may hold line feeds and what steers a terminal.
[[nodiscard]] QString printable(const QString& name);
