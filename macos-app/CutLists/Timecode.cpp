#include "CutLists/Timecode.h"

#include "Models/NumberText.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 minutesPerTen = 10;

/// Numbers skipped at the beginning of a minute.
qint64 droppedPerMinute(const TimecodeCounting& counting)
{
    return counting.dropsFrames ? counting.picturesPerSecond / 15 : 0;
}

qint64 picturesPerTenMinutes(const TimecodeCounting& counting)
{
    return counting.picturesPerSecond * 600 - droppedPerMinute(counting) * (minutesPerTen - 1);
}

/// The number that a picture bears when the skipped ones are counted too.
qint64 numberOf(qint64 picture, const TimecodeCounting& counting)
{
    const qint64 dropped = droppedPerMinute(counting);
    const qint64 tens = picture / picturesPerTenMinutes(counting);
    const qint64 rest = picture % picturesPerTenMinutes(counting);
    const qint64 firstMinute = counting.picturesPerSecond * 60; // of ten: it skips none
    const qint64 minutes = rest < firstMinute ? 0 : 1 + (rest - firstMinute) / (firstMinute - dropped);
    return picture + dropped * (tens * (minutesPerTen - 1) + minutes);
}

} // namespace

TimecodeCounting TimecodeCounting::of(const FrameRate& rate, bool dropsFrames)
{
    const qint64 whole = rate.roundedUp();
    return {whole, dropsFrames && rate.denominator == 1001 && (whole == 30 || whole == 60)};
}

qint64 TimecodeCounting::picturesPerDay() const
{
    return picturesPerTenMinutes(*this) * 6 * 24;
}

QString formatTimecode(qint64 picture, const TimecodeCounting& counting)
{
    const qint64 day = counting.picturesPerDay();
    const qint64 number = numberOf(((picture % day) + day) % day, counting);
    const qint64 seconds = number / counting.picturesPerSecond;
    return formatZeroFilled(seconds / 3600, 2) + u':' + formatZeroFilled(seconds / 60 % 60, 2) + u':' +
           formatZeroFilled(seconds % 60, 2) + (counting.dropsFrames ? u';' : u':') +
           formatZeroFilled(number % counting.picturesPerSecond, 2);
}

std::optional<qint64> parseTimecode(QStringView text, const TimecodeCounting& counting)
{
    static const QRegularExpression grammar(u"^(\\d{1,2})[:;.](\\d{1,2})[:;.](\\d{1,2})[:;.,](\\d{1,3})$"_s);
    const auto match = grammar.match(text.trimmed().toString());
    if (!match.hasMatch())
        return std::nullopt;
    const qint64 hours = match.capturedView(1).toLongLong();
    const qint64 minutes = match.capturedView(2).toLongLong();
    const qint64 seconds = match.capturedView(3).toLongLong();
    const qint64 pictures = match.capturedView(4).toLongLong();
    const qint64 dropped = droppedPerMinute(counting);
    const bool isDropped = seconds == 0 && pictures < dropped && minutes % minutesPerTen != 0;
    if (hours > 23 || minutes > 59 || seconds > 59 || pictures >= counting.picturesPerSecond || isDropped)
        return std::nullopt;
    const qint64 allMinutes = hours * 60 + minutes;
    return (allMinutes * 60 + seconds) * counting.picturesPerSecond + pictures -
           dropped * (allMinutes - allMinutes / minutesPerTen);
}
