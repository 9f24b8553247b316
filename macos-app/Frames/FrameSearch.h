#pragma once

#include "Frames/FrameIndex.h"
#include "Frames/VideoClock.h"

/// A stretch of the video, in seconds, of which the frame times are wanted, and the part of it whose pictures are,
/// which may be none.
struct FrameNeed
{
    double from = 0;
    double to = 0;
    double picturesFrom = 0;
    double picturesTo = 0;
    bool isOnePicture = false; ///< the time is known; a picture that was given up to make room may be fetched anew

    [[nodiscard]] bool wantsPictures() const { return picturesFrom < picturesTo; }

    friend bool operator==(const FrameNeed&, const FrameNeed&) = default;
};

/// Whether a frame will be shown, or only its time counts.
enum class FrameUse {
    shown,
    timeOnly
};

/// Looks frames up, and notes what would have to be known where the index cannot answer.
class FrameSearch final
{
public:
    /// How far around an edge pictures are wanted, in frames: some steps of it.
    static constexpr double picturesByEdge = 3.5;

    FrameSearch(const FrameIndex& index, const VideoClock& clock, double picturesAround = picturesByEdge);

    [[nodiscard]] FrameAnswer firstFrom(qint64 ticks, FrameUse use = FrameUse::shown);
    [[nodiscard]] FrameAnswer lastBefore(qint64 ticks);
    /// The neighbours of an answer; of an unknown one unknown, of none none.
    [[nodiscard]] FrameAnswer following(const FrameAnswer& frame);
    [[nodiscard]] FrameAnswer preceding(const FrameAnswer& frame);

    [[nodiscard]] const VideoClock& clock() const { return m_clock; }
    [[nodiscard]] const QList<FrameNeed>& needs() const { return m_needs; }

    /// The need for the picture of one frame.
    [[nodiscard]] static FrameNeed pictureNeed(const VideoClock& clock, qint64 ticks);

private:
    void note(const FrameNeed& need);

    const FrameIndex& m_index;
    const VideoClock& m_clock;
    double m_frameSeconds;
    double m_picturesAround;
    QList<FrameNeed> m_needs;
};
