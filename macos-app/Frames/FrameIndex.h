#pragma once

#include <QList>

#include <limits>
#include <map>

/// Where a frame stands, as far as it is known.
struct FrameAnswer
{
    enum class State {
        unknown, ///< `ticks` is where the knowledge ends; the frame lies beyond
        none,    ///< there is no such frame in the video
        known    ///< the frame stands at `ticks`
    };

    State state = State::unknown;
    qint64 ticks = 0;

    [[nodiscard]] bool isKnown() const { return state == State::known; }

    friend bool operator==(const FrameAnswer&, const FrameAnswer&) = default;
};

/// Where the video has no such frame.
inline constexpr FrameAnswer noFrame = {FrameAnswer::State::none, 0};

/// What is known of the frame times of one video: stretches within which every frame is known. In ticks.
class FrameIndex final
{
public:
    static constexpr qint64 beginning = std::numeric_limits<qint64>::min();
    static constexpr qint64 end = std::numeric_limits<qint64>::max();

    /// `frames`, sorted, are all frames from `from` on and before `to`.
    void learn(qint64 from, qint64 to, const QList<qint64>& frames);

    /// The first frame at or after `ticks`.
    [[nodiscard]] FrameAnswer firstFrom(qint64 ticks) const;
    /// The last frame before `ticks`.
    [[nodiscard]] FrameAnswer lastBefore(qint64 ticks) const;

private:
    std::map<qint64, qint64> m_stretches; // from -> to; neither touching nor overlapping
    QList<qint64> m_frames;               // sorted
};
