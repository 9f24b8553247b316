#pragma once

#include "Frames/FrameFetch.h"

#include <memory>

/// All frames of one video, and what its file states of itself.
struct FilmTimes
{
    VideoClock clock;
    QList<qint64> frames; ///< ticks, in the order in which they are shown; empty where only the file was asked
    std::optional<double> duration; ///< seconds, to the hundredth
    QByteArray startTimecode;       ///< of the first frame: "01:00:00;00"; may be empty
};

/// Reads the times of all frames of a video, without waiting: from its packets where they tell them, which takes
/// seconds, else by decoding it from beginning to end. Ending the object ends the reading.
class FilmScan final : public QObject
{
public:
    enum class Extent {
        description, ///< only what the file states of itself
        allFrames
    };

    FilmScan(const FileURL& videoURL, const RuntimeConfiguration& runtime, Extent extent);

    void start();
    /// Seconds of the video that have been read, and its length; 0 while that is not known.
    [[nodiscard]] double secondsReached() const;
    [[nodiscard]] double duration() const { return m_film.duration.value_or(0); }

    /// Called once, with the film or with the reason why there is none. The scan may be given up in it by deleteLater.
    std::function<void(const std::optional<FilmTimes>& film, const QString& failure)> onEnd;

private:
    void fetch(const FrameQuery& query);
    void take(const FrameQuery& query, const std::optional<FrameReply>& reply, const QString& failure);
    void finish(const QString& failure);

    const FileURL m_videoURL;
    const RuntimeConfiguration m_runtime;
    const Extent m_extent;
    FilmTimes m_film;
    std::unique_ptr<FrameFetch> m_fetch;
};
