#pragma once

#include "Frames/FrameSearch.h"

#include <QSize>
#include <QStringList>

#include <optional>

/// One call of ffmpeg for frame times and pictures: every frame of a stretch is timed, those wanted are drawn. Where
/// none is wanted and the packets tell the times, nothing is decoded, which takes a tenth of the time.
struct FrameQuery
{
    qint64 fromMilliseconds = 0;
    qint64 lengthMilliseconds = 0;
    QList<FrameNeed> needs;          ///< what the stretch serves
    QSize box;                       ///< device pixels into which a picture is fitted
    std::optional<VideoClock> clock; ///< nothing before the first reply has told it
    bool readsPackets = false;       ///< ffmpeg shall list packets instead of decoding them
    bool readsAll = false;           ///< from the first frame to the last, whatever the stretch is

    /// The times of all frames; what comes ahead of it has told the clock.
    [[nodiscard]] static FrameQuery forAll(const VideoClock& clock, bool readsPackets);
    /// One query for all those needs.
    [[nodiscard]] static FrameQuery forNeeds(const QList<FrameNeed>& needs, QSize box,
                                             const std::optional<VideoClock>& clock);

    /// ffmpeg's words: times on standard error, pictures on standard output.
    [[nodiscard]] QStringList arguments(const QString& videoPath) const;
    [[nodiscard]] double fromSeconds() const { return static_cast<double>(fromMilliseconds) / 1000; }
    [[nodiscard]] double toSeconds() const { return static_cast<double>(fromMilliseconds + lengthMilliseconds) / 1000; }
    /// Whether the stretch and a need have anything in common.
    [[nodiscard]] bool touches(const FrameNeed& need) const;
    /// Whether it was asked for that need, or for another at the same place.
    [[nodiscard]] bool serves(const FrameNeed& need) const;
};
