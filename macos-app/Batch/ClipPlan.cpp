#include "Batch/ClipPlan.h"

#include "CutLists/CutListError.h"
#include "Jobs/OlderFiles.h"
#include "Jobs/OutputSafety.h"
#include "Models/InputReading.h"
#include "Models/JobBuilder.h"

using namespace Qt::StringLiterals;

namespace {

QList<FFmpegJob> jobsOf(const CommandLine& line, const VideoQueue::Video& video, const BatchFolder& folder)
{
    const auto crop = line.crop ? line.crop : readCropParameters(video.list.crop);
    QList<FFmpegJob> jobs = buildJobs(video.list.list.segments, video.record.video, folder.clips(video.record.folder),
                                      line.prefix.value_or(video.list.prefix), crop);
    if (jobs.isEmpty())
        throw CutListError(u"没有可写出的片段。"_s);
    requireSourcesAreSafe(jobs);
    requireSingleFiles(jobs);
    return jobs;
}

/// Takes over what is known of the same clips. Whether there were other clips before.
bool takeOver(VideoRecord& record, const std::optional<VideoRecord>& before)
{
    if (!before || before->source != record.source)
        return true;
    bool differs = before->video != record.video || before->origin != record.origin ||
                   before->clips.size() != record.clips.size() || before->changed != record.changed ||
                   !before->reason.isEmpty();
    for (qsizetype i = 0; i < record.clips.size(); ++i) {
        ClipRecord& clip = record.clips[i];
        const bool isSame = i < before->clips.size() && before->clips[i].asksTheSame(clip);
        if (isSame)
            clip = before->clips[i];
        differs = differs || !isSame;
    }
    return differs;
}

} // namespace

ClipPlan planClips(const CommandLine& line, const VideoQueue::Video& video, const BatchFolder& folder,
                   BatchFolder::Use use, Manifest& manifest)
{
    ClipPlan plan{video.record, jobsOf(line, video, folder), {}, {}};
    if (use == BatchFolder::Use::alone)
        plan.remarks = putRight(plan.jobs);
    const auto before = manifest.record(plan.record.folder);
    for (const FFmpegJob& job : plan.jobs)
        plan.record.clips.append(ClipRecord::planned(job));
    if (takeOver(plan.record, before))
        manifest.put(folder, plan.record);
    for (qsizetype i = 0; i < plan.jobs.size(); ++i) {
        const ClipRecord& clip = plan.record.clips[i];
        plan.isWritten.append(!line.doesAll && clip.state == ClipState::completed && clip.mark &&
                              clip.mark->holdsFor(plan.jobs[i].outputURL));
    }
    return plan;
}

QStringList putRight(const QList<FFmpegJob>& jobs)
{
    QStringList sentences;
    const auto remarks = putOlderFilesBack(jobs);
    for (auto remark = remarks.begin(); remark != remarks.end(); ++remark)
        sentences << FileURL(remark.key()).lastPathComponent() + u"："_s + remark.value();
    return sentences;
}

void noteFailure(const BatchInput& input, const QString& reason, const BatchFolder& folder, Manifest& manifest)
{
    if (input.folder.isEmpty())
        return;
    VideoRecord record = manifest.record(input.folder).value_or(VideoRecord());
    if (record.reason == reason)
        return;
    record.folder = input.folder;
    record.video = input.video;
    record.reason = reason;
    try {
        manifest.put(folder, record);
    } catch (const OutputError&) {
        return; // it will be found out anew
    }
}
