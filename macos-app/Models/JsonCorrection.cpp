#include "Models/JsonCorrection.h"

#include "Models/NumberText.h"

namespace {

/// Gives a number at which Qt's parser fails another form of the same length: 0 for one too small, at which it stops,
/// and the next number below -2^63 for a whole one that it would round to that and take for 64 bits.
void correctNumber(QByteArray& json, qsizetype begin, qsizetype end)
{
    const QByteArray number = json.mid(begin, end - begin);
    const bool isWhole = !number.contains('.') && !number.contains('e') && !number.contains('E');
    if (number.size() < 20 && !number.contains('e') && !number.contains('E'))
        return; // as nearly all are
    const double value = parseDecimal(QString::fromLatin1(number)).value_or(1);
    bool fits = false;
    std::ignore = number.toLongLong(&fits);
    if (value == 0)
        json.replace(begin, number.size(), QByteArray("0").leftJustified(number.size()));
    else if (isWhole && !fits && value == -0x1p63)
        json.replace(begin, number.size(), "-9223372036854777856");
}

bool isDigit(char byte)
{
    return byte >= '0' && byte <= '9';
}

qsizetype skipDigits(QByteArrayView json, qsizetype position)
{
    while (position < json.size() && isDigit(json[position]))
        ++position;
    return position;
}

/// The end of a well-formed fraction or exponent's digits, or nothing when there is no digit.
std::optional<qsizetype> requireDigits(QByteArrayView json, qsizetype position)
{
    const qsizetype end = skipDigits(json, position);
    return end > position ? std::optional(end) : std::nullopt;
}

/// Follows -?(0|[1-9]\d*)(\.\d+)?([eE][+-]?\d+)? from `position`; the end, or nothing when the number breaks off.
std::optional<qsizetype> endOfNumber(QByteArrayView json, qsizetype position)
{
    if (json[position] == '-')
        ++position;
    const bool startsWithZero = position < json.size() && json[position] == '0';
    std::optional<qsizetype> end = requireDigits(json, position);
    if (!end || (startsWithZero && *end > position + 1))
        return std::nullopt;
    if (*end < json.size() && json[*end] == '.')
        end = requireDigits(json, *end + 1);
    if (end && *end < json.size() && (json[*end] == 'e' || json[*end] == 'E')) {
        qsizetype digits = *end + 1;
        if (digits < json.size() && (json[digits] == '+' || json[digits] == '-'))
            ++digits;
        end = requireDigits(json, digits);
    }
    return end;
}

} // namespace

std::optional<qsizetype> correctForQt(QByteArray& json)
{
    bool insideString = false;
    qsizetype position = 0;
    while (position < json.size()) {
        const char byte = json.at(position);
        if (insideString) {
            if (static_cast<unsigned char>(byte) < 0x20)
                return position;
            if (byte == '\\' && ++position < json.size() && !QByteArrayView("\"\\/bfnrtu").contains(json.at(position)))
                return position;
            insideString = byte != '"';
            ++position;
        } else if (byte == '-' || isDigit(byte)) {
            const auto end = endOfNumber(json, position);
            if (!end)
                return position;
            correctNumber(json, position, *end);
            position = *end;
        } else if (byte == '.' || byte == '+') {
            return position;
        } else {
            insideString = byte == '"';
            ++position;
        }
    }
    return std::nullopt;
}
