#pragma once

#include "Batch/BatchFolder.h"
#include "Batch/VideoRecord.h"
#include "Jobs/SplitJob.h"

#include <QElapsedTimer>
#include <QSet>

/// One clip from ffmpeg's launch to its place: it is written beside the videos' folders, judged, noted and only then
/// given its name. A clip that is not what was asked for is kept too if it can be played; of anything else nothing is
/// left.
class ClipJob final
{
public:
    struct Surroundings
    {
        BatchFolder& folder;
        /// Throws OutputError when it cannot.
        std::function<void(const VideoRecord& video, const ClipRecord& clip)> note;
        RuntimeConfiguration runtime;
        QSet<std::pair<quint64, quint64>> sources; ///< device and inode of every video that is worked on
    };

    /// Throws what SplitJob::launch throws.
    ClipJob(const Surroundings& surroundings, const FFmpegJob& job, const VideoRecord& video);

    std::function<void(double length)> onProgress;
    /// Called once; the job may be given up in it. A clip that was stopped stays planned.
    std::function<void(const ClipRecord& clip, double processorTime)> onEnd;

    void stop() { m_splitJob->stop(); }

    [[nodiscard]] const FFmpegJob& job() const { return m_job; }

private:
    void finish(const JobEnd& end);
    [[nodiscard]] bool isWorthless(const JobEnd& end) const;
    void place(ClipRecord& clip);
    void note(const ClipRecord& clip);

    const Surroundings& m_surroundings;
    const FFmpegJob m_job;
    VideoRecord m_video;                 ///< without its clips
    std::optional<ClipRecord> m_earlier; ///< what was written to its place before
    FileURL m_unfinished;
    QElapsedTimer m_clock;
    SplitJob::Owner m_splitJob;
};
