#pragma once

#include <QString>

/// What --help prints, in the user's language.
[[nodiscard]] QString helpText();
