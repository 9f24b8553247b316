#pragma once

#include <QString>

#include <optional>

/// Seconds as ffmpeg's -ss and -t take them: at most three decimals, no trailing zeros ("12.346", "0").
/// Negative and not-a-number input give "0"; negative zero gives "-0", as printf would.
[[nodiscard]] QString formatSecondsArgument(double seconds);

/// Seconds as hours:minutes:seconds.milliseconds, "01:01:01.500", rounded to the millisecond with halves away from
/// zero; hours never wrap. Negative and not-a-number input give "00:00:00.000". Input from 2^63 on stops the program.
[[nodiscard]] QString formatHMS(double seconds);

/// `formatHMS` for times from outside, which may be of any size: capped below 2^63.
[[nodiscard]] QString formatShownTime(double seconds);

/// The inverse of `formatHMS`, in seconds: three pieces between colons (repeated colons count once), whole hours from
/// 0, whole minutes from 0 to 59, decimal seconds from 0 to below 60. White space around the text is ignored; any
/// other text, and an hours piece of more than 15 digits, gives nothing.
[[nodiscard]] std::optional<double> parseHMS(const QString& text);

/// Seconds with three decimals and their unit, "1.500s". Clamped as `formatSecondsArgument` clamps.
[[nodiscard]] QString formatShortSeconds(double seconds);
