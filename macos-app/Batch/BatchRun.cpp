#include "Batch/BatchRun.h"

#include <algorithm>

using namespace Qt::StringLiterals;

BatchRun::BatchRun(VideoQueue& videos, int lanes, Reporter& reporter)
    : m_videos(videos)
    , m_lanes(lanes)
    , m_reporter(reporter)
{
    m_videos.onDetectionEnd = [this](const auto& deliver) {
        orFail([&] {
            deliver();
            advance();
        });
    };
}

BatchRun::~BatchRun() = default;

void BatchRun::start()
{
    advanceSoon();
}

void BatchRun::addClip(const FFmpegJob& job, const VideoRecord& video)
{
    m_waiting.push_back({job, video, m_reporter.addClip(job.duration)});
}

void BatchRun::stop()
{
    if (std::exchange(m_isStopping, true))
        return;
    m_waiting.clear();
    m_videos.stop();
    for (const auto& job : m_running)
        job->stop();
    advanceSoon();
}

/// From the event loop, which must see signals between two videos.
void BatchRun::advanceSoon()
{
    QMetaObject::invokeMethod(
        this, [this] { orFail([this] { advance(); }); }, Qt::QueuedConnection);
}

void BatchRun::orFail(const std::function<void()>& work)
{
    try {
        work();
    } catch (...) {
        if (!m_failure)
            m_failure = std::current_exception();
        stop();
    }
}

void BatchRun::advance()
{
    const auto busy = [this] { return static_cast<int>(m_running.size()) + m_videos.detections(); };
    while (!m_waiting.empty() && busy() < m_lanes) {
        const Waiting next = m_waiting.front();
        m_waiting.pop_front();
        launch(next);
    }
    if (!m_videos.isEmpty() && busy() < m_lanes) {
        m_reporter.videoOpened();
        m_videos.openNext();
        advanceSoon();
    } else if (busy() == 0 && !std::exchange(m_hasEnded, true)) {
        onEnd();
    }
}

void BatchRun::launch(const Waiting& waiting)
{
    try {
        auto job = std::make_unique<ClipJob>(*surroundings, waiting.job, waiting.video);
        const int number = waiting.clip;
        m_reporter.launched(number);
        job->onProgress = [this, number](double length) { m_reporter.progressed(number, length); };
        job->onEnd = [this, number, job = job.get()](const ClipRecord& clip, double processorTime) {
            clipEnded(job, number, clip, processorTime);
        };
        m_running.push_back(std::move(job));
    } catch (const std::exception& error) {
        ClipRecord clip = ClipRecord::planned(waiting.job);
        clip.state = ClipState::failed;
        clip.reason = errorDescription(error);
        m_reporter.ended(waiting.clip, false, 0);
        report(waiting.job, clip);
    }
}

void BatchRun::clipEnded(ClipJob* job, int number, const ClipRecord& clip, double processorTime)
{
    const auto found =
        std::find_if(m_running.begin(), m_running.end(), [&](const auto& run) { return run.get() == job; });
    const std::unique_ptr<ClipJob> ended = std::move(*found);
    m_running.erase(found);
    m_reporter.ended(number, clip.state == ClipState::completed, processorTime);
    orFail([&] {
        if (clip.state != ClipState::planned)
            report(ended->job(), clip);
        onClip();
    });
    orFail([this] { advance(); });
}

void BatchRun::report(const FFmpegJob& job, const ClipRecord& clip)
{
    m_reporter.report({job.inputURL, job.index, wordOf(clip.state), job.outputURL.path(), clip.reason, clip.seconds});
}
