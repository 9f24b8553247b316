#include "Models/NumberText.h"

#include <array>
#include <charconv>
#include <clocale>
#include <cstdlib>

#ifdef Q_OS_MACOS
#include <xlocale.h>
#endif

using namespace Qt::StringLiterals;

namespace {

bool isDigit(QChar character)
{
    return character >= u'0' && character <= u'9';
}

/// Moves `position` past the digits that stand there; the number of digits.
qsizetype skipDigits(QStringView text, qsizetype& position)
{
    const qsizetype first = position;
    while (position < text.size() && isDigit(text[position]))
        ++position;
    return position - first;
}

void skipSign(QStringView text, qsizetype& position)
{
    if (position < text.size() && (text[position] == u'+' || text[position] == u'-'))
        ++position;
}

bool followsDecimalGrammar(QStringView text)
{
    qsizetype position = 0;
    skipSign(text, position);
    qsizetype digits = skipDigits(text, position);
    if (position < text.size() && text[position] == u'.') {
        ++position;
        digits += skipDigits(text, position);
    }
    if (digits == 0)
        return false;
    if (position < text.size() && (text[position] == u'e' || text[position] == u'E')) {
        ++position;
        skipSign(text, position);
        if (skipDigits(text, position) == 0)
            return false;
    }
    return position == text.size();
}

} // namespace

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
    qsizetype position = 0;
    skipSign(text, position);
    if (skipDigits(text, position) == 0 || position != text.size())
        return std::nullopt;
    bool fits = false;
    const qint64 value = text.toLongLong(&fits);
    return fits ? std::optional(value) : std::nullopt;
}

std::optional<double> parseDecimal(QStringView text)
{
    if (!followsDecimalGrammar(text))
        return std::nullopt;
    static const locale_t cLocale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return ::strtod_l(text.toLatin1().constData(), nullptr, cLocale); // Qt gives 0 for a number that is too large
}
