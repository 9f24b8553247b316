#include "Batch/ClipJob.h"

#include "Jobs/ClipContent.h"
#include "Jobs/OlderFile.h"
#include "Jobs/OutputSafety.h"

#include <cerrno>

using namespace Qt::StringLiterals;

namespace {

FFmpegJob written(FFmpegJob job, const FileURL& place)
{
    job.outputURL = place;
    return job;
}

} // namespace

ClipJob::ClipJob(const Surroundings& surroundings, const FFmpegJob& job, const VideoRecord& video)
    : m_surroundings(surroundings)
    , m_job(job)
    , m_video(video)
    , m_unfinished(surroundings.folder.newUnfinished(job.outputURL.pathExtension()))
{
    if (const ClipRecord* earlier = m_video.clip(job.outputURL.lastPathComponent()))
        m_earlier = *earlier;
    m_video.clips.clear();
    createOutputDirectory(job.outputURL.deletingLastPathComponent());
    requireSourcesAreSafe({job});
    m_clock.start();
    m_splitJob = SplitJob::launch(written(job, m_unfinished), surroundings.runtime, std::make_shared<WrittenClips>());
    m_splitJob->onOutput = [this](const QByteArray&) {
        if (const auto length = m_splitJob->report().length(); length && onProgress)
            onProgress(*length);
    };
    m_splitJob->onEnd = [this](const JobEnd& end) { finish(end); };
}

void ClipJob::finish(const JobEnd& end)
{
    ClipRecord clip = ClipRecord::planned(m_job);
    clip.seconds = static_cast<double>(m_clock.elapsed()) / 1000;
    clip.reason = end.reason;
    if (end.outcome != JobOutcome::stopped) {
        clip.state = !end.succeeded() || isWorthless(end)  ? ClipState::failed
                     : end.outcome == JobOutcome::doubtful ? ClipState::doubtful
                                                           : ClipState::completed;
        try {
            if (clip.state != ClipState::failed)
                place(clip);
        } catch (const std::exception& error) {
            clip.state = ClipState::failed;
            clip.reason = errorDescription(error);
        }
        if (clip.state == ClipState::failed)
            note(clip);
    }
    QFile::remove(m_unfinished.path()); // what a place was not found for
    if (const auto notify = onEnd)
        notify(clip, end.processorTime); // may give us up
}

bool ClipJob::isWorthless(const JobEnd& end) const
{
    QFile file(m_unfinished.path());
    return !file.open(QIODevice::ReadOnly) || file.size() == 0 || end.report.frames.value_or(1) == 0 ||
           contentOfClip(file) == ClipContent::broken;
}

/// What is noted before the clip has its name counts as soon as it has.
void ClipJob::place(ClipRecord& clip)
{
    const FileURL folderURL = m_job.outputURL.deletingLastPathComponent();
    const Folder folder(folderURL);
    const Folder unfinished(m_unfinished.deletingLastPathComponent());
    const auto video = FileIdentity::of(m_job.inputURL);
    const auto found = FileIdentity::of(m_job.outputURL);
    if (found && m_surroundings.sources.contains({found->device, found->inode}))
        throw sourceWouldBeOverwritten();
    clip.mark = FileMark::of(m_unfinished);
    m_surroundings.note(m_video, clip);
    OlderFile older(folder, m_job.outputURL);
    older.setAside(video);
    if (!unfinished.moveTo(folder, m_unfinished.lastPathComponent(), clip.output)) {
        const int error = errno;
        older.putBack();
        throw outputPlaceError(clip.output, error);
    }
    const bool isOurs =
        found && m_earlier && m_earlier->mark && m_earlier->mark->size == found->size &&
        m_earlier->mark->time == found->modificationSeconds * 1'000'000'000 + found->modificationNanoseconds;
    const bool isNoWorse = clip.state == ClipState::completed || (isOurs && m_earlier->state == ClipState::doubtful);
    const QString remark = older.dispose(isNoWorse, isOurs);
    clip.reason += clip.reason.isEmpty() || remark.isEmpty() ? remark : u'；' + remark;
}

/// A clip of which nothing can be noted counts as missing, which is as good.
void ClipJob::note(const ClipRecord& clip)
{
    try {
        m_surroundings.note(m_video, clip);
    } catch (const OutputError&) {
        return;
    }
}
