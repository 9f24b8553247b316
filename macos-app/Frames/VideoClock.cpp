#include "Frames/VideoClock.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr qint64 microsecondsPerSecond = 1'000'000;

__extension__ using WideInteger = __int128;

} // namespace

qint64 microsecondsOf(double seconds)
{
    return std::llround(std::clamp(std::isnan(seconds) ? 0 : seconds, 0.0, longestVideoSeconds) *
                        microsecondsPerSecond);
}

qint64 rescaled(qint64 value, qint64 numerator, qint64 denominator)
{
    if (value < 0)
        return -rescaled(-value, numerator, denominator);
    return static_cast<qint64>((static_cast<WideInteger>(value) * numerator + denominator / 2) / denominator);
}

qint64 VideoClock::ticksAt(qint64 microseconds) const
{
    return ticksIn(microseconds + startMicroseconds);
}

qint64 VideoClock::ticksIn(qint64 microseconds) const
{
    return rescaled(microseconds, tickDenominator, tickNumerator * microsecondsPerSecond);
}

double VideoClock::secondsAt(qint64 ticks) const
{
    return (static_cast<double>(ticks) * static_cast<double>(tickNumerator)) / static_cast<double>(tickDenominator) -
           startSeconds();
}

qint64 VideoClock::millisecondsUpTo(qint64 ticks) const
{
    auto milliseconds = static_cast<qint64>(std::floor(secondsAt(ticks) * 1000)) + 1;
    while (milliseconds > 0 && ticksAt(milliseconds * 1000) > ticks)
        --milliseconds;
    return std::max<qint64>(milliseconds, 0);
}

double VideoClock::startSeconds() const
{
    return static_cast<double>(startMicroseconds) / microsecondsPerSecond;
}

double VideoClock::framesPerSecond() const
{
    return static_cast<double>(rateNumerator) / static_cast<double>(rateDenominator);
}

bool VideoClock::isOver(qint64 durationMicroseconds, qint64 frameNumber) const
{
    return static_cast<WideInteger>(frameNumber) * rateDenominator * microsecondsPerSecond >=
           static_cast<WideInteger>(durationMicroseconds) * rateNumerator;
}
