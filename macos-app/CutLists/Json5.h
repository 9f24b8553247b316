#pragma once

#include <QString>

/// The JSON text for a JSON5 one: keys get their quotes, single quotes become double ones, comments and trailing
/// commas go, numbers get the form that JSON wants. What is no JSON5 gives a text that is no JSON.
[[nodiscard]] QString jsonOfJson5(QStringView text);
