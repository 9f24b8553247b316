#include "Models/TimeText.h"

#include "Models/NumberText.h"

#include <QStringList>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr double twoToThe63 = 9223372036854775808.0;
constexpr qsizetype mostHourDigits = 15; // hours times 3600 stays within 64 bits

qsizetype digitCount(QStringView integer)
{
    return integer.startsWith(u'+') || integer.startsWith(u'-') ? integer.size() - 1 : integer.size();
}

} // namespace

QString formatSecondsArgument(double seconds)
{
    QString text = formatFixed(clampedToZero(seconds), 3);
    if (!text.contains(u'.'))
        return text; // infinite
    while (text.endsWith(u'0'))
        text.chop(1);
    if (text.endsWith(u'.'))
        text.chop(1);
    return text;
}

QString formatHMS(double seconds)
{
    const double clamped = clampedToZero(seconds);
    if (!(clamped < twoToThe63))
        qFatal("formatHMS: %g seconds cannot be shown", clamped);
    auto whole = static_cast<qint64>(clamped);
    qint64 milliseconds = std::llround((clamped - static_cast<double>(whole)) * 1000);
    if (milliseconds == 1000) {
        ++whole;
        milliseconds = 0;
    }
    return formatZeroFilled(whole / 3600, 2) + u':' + formatZeroFilled(whole % 3600 / 60, 2) + u':' +
           formatZeroFilled(whole % 60, 2) + u'.' + formatZeroFilled(milliseconds, 3);
}

QString formatShownTime(double seconds)
{
    return formatHMS(std::min(clampedToZero(seconds), std::nextafter(twoToThe63, 0.0)));
}

std::optional<double> parseHMS(const QString& text)
{
    const QStringList pieces = text.trimmed().split(u':', Qt::SkipEmptyParts);
    if (pieces.size() != 3 || digitCount(pieces[0]) > mostHourDigits)
        return std::nullopt;
    const auto hours = parseInteger(pieces[0]);
    const auto minutes = parseInteger(pieces[1]);
    const auto seconds = parseDecimal(pieces[2]);
    if (!hours || !minutes || !seconds)
        return std::nullopt;
    if (*hours < 0 || *minutes < 0 || *minutes > 59 || !(*seconds >= 0 && *seconds < 60))
        return std::nullopt;
    return static_cast<double>(*hours * 3600 + *minutes * 60) + *seconds;
}

QString formatShortSeconds(double seconds)
{
    return formatFixed(clampedToZero(seconds), 3) + u's';
}
