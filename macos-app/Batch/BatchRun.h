#pragma once

#include "Batch/ClipJob.h"
#include "Batch/Reporter.h"
#include "Batch/VideoQueue.h"

#include <deque>

/// Works through the videos with a number of lanes, each of which writes a clip or detects. Clips come first: a video
/// is opened when a lane has no clip to write, so that it is detected while the last one's clips are still written.
class BatchRun final : public QObject
{
public:
    BatchRun(VideoQueue& videos, int lanes, Reporter& reporter);
    ~BatchRun() override;

    /// What clips need; a run that only opens videos has none. It outlives the run.
    const ClipJob::Surroundings* surroundings = nullptr;
    /// Called after each clip.
    std::function<void()> onClip;
    /// Called when everything has ended.
    std::function<void()> onEnd;

    void start();
    void addClip(const FFmpegJob& job, const VideoRecord& video);
    /// Ends what runs; nothing is left of what was begun.
    void stop();

    /// Why the run as a whole could not go on.
    [[nodiscard]] std::exception_ptr failure() const { return m_failure; }

private:
    struct Waiting
    {
        FFmpegJob job;
        VideoRecord video;
        int clip = 0;
    };

    void advance();
    void advanceSoon();
    void orFail(const std::function<void()>& work);
    void launch(const Waiting& waiting);
    void clipEnded(ClipJob* job, int number, const ClipRecord& clip, double processorTime);
    void report(const FFmpegJob& job, const ClipRecord& clip);

    VideoQueue& m_videos;
    const int m_lanes;
    Reporter& m_reporter;
    std::deque<Waiting> m_waiting;
    std::vector<std::unique_ptr<ClipJob>> m_running;
    std::exception_ptr m_failure;
    bool m_isStopping = false;
    bool m_hasEnded = false;
};
