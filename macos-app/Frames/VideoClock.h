#pragma once

#include <QtGlobal>

/// No video is longer, in seconds; its microseconds can be reckoned with in 64 bits.
inline constexpr double longestVideoSeconds = 1e9;

/// Whole microseconds of a time from 0 to the longest; 0 for what is no number.
[[nodiscard]] qint64 microsecondsOf(double seconds);

/// The clock of one video as ffmpeg reads it: frames stand at whole ticks, and a time of ours, the one that -ss takes,
/// counts from the container's start. Rounding is that of av_rescale() in ffmpeg 5.1 and 7.1: to the nearest tick,
/// halves away from zero.
struct VideoClock
{
    qint64 tickNumerator = 1; ///< a tick is tickNumerator / tickDenominator seconds
    qint64 tickDenominator = 1;
    qint64 rateNumerator = 25; ///< frames a second, the grid on which an encoder numbers its frames
    qint64 rateDenominator = 1;
    qint64 startMicroseconds = 0;
    bool hasOneStream = true;      ///< no sound beside the picture; ffmpeg numbers the first frame otherwise then
    bool seeksExactly = true;      ///< the container lets ffmpeg start at any frame; others may lose the first ones
    bool packetsAreFrames = false; ///< every packet holds one whole frame, so that times can be had without decoding

    /// The tick at a time of ours.
    [[nodiscard]] qint64 ticksAt(qint64 microseconds) const;
    /// How many ticks a stretch of time has.
    [[nodiscard]] qint64 ticksIn(qint64 microseconds) const;
    /// The time of ours at a tick, in seconds.
    [[nodiscard]] double secondsAt(qint64 ticks) const;
    /// The last whole millisecond of ours from which -ss still finds the frame at that tick, never below 0.
    [[nodiscard]] qint64 millisecondsUpTo(qint64 ticks) const;
    [[nodiscard]] double framesPerSecond() const;
    [[nodiscard]] double startSeconds() const;
    /// Whether a frame with that number on the encoder's grid comes when that duration is over.
    [[nodiscard]] bool isOver(qint64 durationMicroseconds, qint64 frameNumber) const;

    friend bool operator==(const VideoClock&, const VideoClock&) = default;
};

/// value * numerator / denominator, rounded to the nearest with halves away from zero. The denominator is positive.
[[nodiscard]] qint64 rescaled(qint64 value, qint64 numerator, qint64 denominator);
