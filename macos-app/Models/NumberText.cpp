#include "Models/NumberText.h"

#include <QRegularExpression>

#include <array>
#include <charconv>

using namespace Qt::StringLiterals;

QString formatFixed(double value, int decimals)
{
    std::array<char, 512> buffer; // the largest double has 309 digits before the point
    const auto result =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed, decimals);
    Q_ASSERT(result.ec == std::errc());
    return QString::fromLatin1(buffer.data(), result.ptr - buffer.data());
}

QString formatZeroFilled(qint64 value, int width)
{
    const QString digits = QString::number(value).remove(u'-');
    const QString sign = value < 0 ? u"-"_s : QString();
    return sign + digits.rightJustified(width - sign.size(), u'0');
}

QString formatRoundTrip(double value)
{
    if (!(value > 0))
        return u"0.0"_s;
    const bool needsExponent = value < 1e-4 || value >= 1e16;
    std::array<char, 64> buffer;
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                      needsExponent ? std::chars_format::scientific : std::chars_format::fixed);
    QString text = QString::fromLatin1(buffer.data(), result.ptr - buffer.data());
    if (!needsExponent && !text.contains(u'.'))
        text += u".0"_s;
    return text;
}

std::optional<qint64> parseInteger(QStringView text)
{
    static const QRegularExpression grammar(QRegularExpression::anchoredPattern(u"[+-]?[0-9]+"));
    bool fits = false;
    const qint64 value = text.toLongLong(&fits);
    return fits && grammar.match(text.toString()).hasMatch() ? std::optional(value) : std::nullopt;
}

std::optional<double> parseDecimal(QStringView text)
{
    static const QRegularExpression grammar(
        QRegularExpression::anchoredPattern(u"[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?"));
    if (!grammar.match(text.toString()).hasMatch())
        return std::nullopt;
    return text.toDouble();
}
