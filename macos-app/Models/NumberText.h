#pragma once

#include <QString>

#include <optional>

/// Numbers as text for other programs and for texts with a printf form, and numbers typed by the user. All of it is
/// independent of the locale.

/// `value` as printf's "%.<decimals>f" writes it in the C locale: ties to even, the sign of negative zero kept.
[[nodiscard]] QString formatFixed(double value, int decimals);

/// `value` as printf's "%0<width>lld" writes it: zero-filled to that width, a minus sign counted in it ("-1" for 2).
[[nodiscard]] QString formatZeroFilled(qint64 value, int width);

/// The shortest decimal text that reads back as the same double, always with a fraction ("0.0", "1.5", "86400.0").
/// The exponent form ("1e-05", "1e+16") appears only below 1e-4 and from 1e16, as Python's repr has it.
/// Negative, negative zero and not-a-number input give "0.0".
[[nodiscard]] QString formatRoundTrip(double value);

/// A whole number `[+-]?\d+` in ASCII that fits 64 bits. Nothing is trimmed.
[[nodiscard]] std::optional<qint64> parseInteger(QStringView text);

/// A decimal number `[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?` in ASCII. Nothing is trimmed; "nan", "inf" and hexadecimal
/// forms are no numbers. A value beyond double's range is infinite, one too small is zero.
[[nodiscard]] std::optional<double> parseDecimal(QStringView text);

/// 0 for negative and not-a-number input, otherwise the value itself; negative zero keeps its sign.
[[nodiscard]] inline double clampedToZero(double value)
{
    return value >= 0 ? value : 0.0;
}
