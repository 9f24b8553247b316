#include "Batch/BatchRun.h"
#include "Batch/ClipPlan.h"
#include "Batch/Commands.h"
#include "Batch/Waiting.h"
#include "CutLists/CutListError.h"
#include "Models/ShellQuoting.h"
#include "Services/RuntimeResolver.h"

#include <QCoreApplication>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

/// The line of a job. Throws CutListError when it is none.
QByteArray lineOf(const CommandLine& line, const VideoRecord& video, const ClipRecord& clip, qint64 number)
{
    QStringList words = {u"kestrel-batch"_s,
                         u"job"_s,
                         u"-o"_s,
                         line.directory->path(),
                         u"--source"_s,
                         video.source->text(),
                         u"--number"_s,
                         QString::number(number),
                         u"--start"_s,
                         clip.start,
                         u"--duration"_s,
                         clip.duration,
                         u"--output"_s,
                         video.folder + u'/' + clip.output};
    if (!clip.crop.isEmpty())
        words << u"--crop"_s << clip.crop;
    words << u"--"_s << video.video.path();
    QStringList quoted;
    for (const QString& word : words)
        quoted << shellWord(word);
    const QByteArray text = quoted.join(u' ').toUtf8();
    if (!line.endsWithNul && text.contains('\n'))
        throw CutListError(u"名称里有换行，请用 -0。"_s);
    return text + (line.endsWithNul ? '\0' : '\n');
}

/// Leaves the folder in order before others begin to write there; not needed while they do. Returns what there is to
/// tell.
QStringList tidy(const FileURL& url)
{
    QStringList remarks;
    try {
        const BatchFolder folder(url, BatchFolder::Use::alone);
        folder.removeUnfinished();
        Manifest manifest(url);
        for (const QString& name : manifest.videos()) {
            const VideoRecord video = manifest.record(name).value_or(VideoRecord());
            QList<FFmpegJob> jobs;
            for (const ClipRecord& clip : video.clips)
                jobs.append(clip.job(video.video, folder.clips(name), jobs.size() + 1));
            remarks << putRight(jobs);
        }
        manifest.compact(folder);
    } catch (const OutputError&) {
        return remarks;
    }
    return remarks;
}

} // namespace

int planCommand(const CommandLine& line)
{
    const QList<BatchInput> inputs = readInputs(line.operands, [](const BatchInput& input) { return input.folder; });
    const QStringList remarks = tidy(*line.directory);
    const BatchFolder folder(*line.directory, BatchFolder::Use::shared);
    Manifest manifest(*line.directory);
    Reporter reporter(line.isQuiet, line.lanes, inputs.size());
    reporter.writesEvents = false;
    for (const QString& remark : remarks)
        reporter.tell(remark);
    VideoQueue videos(line, inputs, RuntimeResolver::resolve());
    BatchRun run(videos, line.lanes, reporter);
    qint64 lines = 0;
    qint64 written = 0;

    videos.known = [&](const QString& name) { return manifest.record(name); };
    videos.onFailure = [&](const BatchInput& input, const QString& reason) {
        reporter.report({input.file, std::nullopt, u"failed"_s, {}, reason, 0});
        noteFailure(input, reason, folder, manifest);
    };
    videos.onVideo = [&](const BatchInput&, const VideoQueue::Video& video) {
        const ClipPlan plan = planClips(line, video, folder, BatchFolder::Use::shared, manifest);
        QByteArray text;
        for (qsizetype i = 0; i < plan.jobs.size(); ++i) {
            ++(plan.isWritten[i] ? written : lines);
            if (!plan.isWritten[i])
                text += lineOf(line, plan.record, plan.record.clips[i], plan.jobs[i].index);
        }
        std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
        if (std::ferror(stdout) != 0)
            run.stop();
    };
    run.onEnd = [] { QCoreApplication::quit(); };
    run.start();
    waitForEnd([&run] { run.stop(); });
    if (run.failure())
        std::rethrow_exception(run.failure());
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw OutputError(u"无法写到标准输出。"_s);
    if (lines + written == 0)
        return ExitStatus::nothingDone;
    return reporter.count(u"failed"_s) > 0 ? ExitStatus::someFailed : ExitStatus::allRight;
}
