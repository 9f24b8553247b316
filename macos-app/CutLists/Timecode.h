#pragma once

#include "CutLists/CutList.h"

#include <QStringView>

/// How a rate's pictures are counted in SMPTE timecode.
struct TimecodeCounting
{
    qint64 picturesPerSecond = 25; ///< the rate rounded up
    /// Two numbers a minute are skipped at 30, four at 60, except in every tenth minute, so that the timecode keeps up
    /// with the clock at 29.97 and 59.94 pictures a second.
    bool dropsFrames = false;

    /// Drops numbers only at the rates for which that is defined.
    [[nodiscard]] static TimecodeCounting of(const FrameRate& rate, bool dropsFrames);

    /// After so many pictures timecodes begin again.
    [[nodiscard]] qint64 picturesPerDay() const;
};

/// "01:00:00:00", with a semicolon before the pictures where numbers are dropped. Wraps after 24 hours.
[[nodiscard]] QString formatTimecode(qint64 picture, const TimecodeCounting& counting);

/// The picture that a timecode names, by the counting's rules whatever its separators; nothing for a text that is no
/// timecode or names a number that is dropped or beyond the rate.
[[nodiscard]] std::optional<qint64> parseTimecode(QStringView text, const TimecodeCounting& counting);
