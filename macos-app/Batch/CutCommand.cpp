#include "Batch/BatchRun.h"
#include "Batch/ClipPlan.h"
#include "Batch/Commands.h"
#include "Batch/Waiting.h"
#include "Services/RuntimeResolver.h"

#include <QCoreApplication>
#include <QDir>

using namespace Qt::StringLiterals;

namespace {

QSet<std::pair<quint64, quint64>> identitiesOf(const QList<BatchInput>& inputs)
{
    QSet<std::pair<quint64, quint64>> identities;
    for (const BatchInput& input : inputs) {
        if (const auto identity = FileIdentity::of(input.video))
            identities.insert({identity->device, identity->inode});
    }
    return identities;
}

void summarize(Reporter& reporter)
{
    const auto count = [&](const QString& state) { return QString::number(reporter.count(state)); };
    reporter.summarize(u"%1 个已完成，%2 个存疑，%3 个失败，%4 个早已完成。"_s.arg(
        count(u"completed"_s), count(u"doubtful"_s), count(u"failed"_s), count(u"present"_s)));
}

int statusOf(const Reporter& reporter)
{
    const bool hasClips = reporter.clips() > 0 || reporter.count(u"present"_s) > 0;
    if (!hasClips)
        return ExitStatus::nothingDone;
    return reporter.count(u"failed"_s) + reporter.count(u"doubtful"_s) > 0 ? ExitStatus::someFailed
                                                                           : ExitStatus::allRight;
}

} // namespace

int cutCommand(const CommandLine& line)
{
    const RuntimeConfiguration runtime = RuntimeResolver::resolve();
    const QList<BatchInput> inputs = readInputs(line.operands, [](const BatchInput& input) { return input.folder; });
    BatchFolder folder(*line.directory, BatchFolder::Use::alone);
    folder.removeUnfinished();
    Manifest manifest(*line.directory);
    Reporter reporter(line.isQuiet, line.lanes, inputs.size());
    const auto note = [&](const VideoRecord& video, const ClipRecord& clip) { manifest.put(folder, video, clip); };
    const ClipJob::Surroundings surroundings{folder, note, runtime, identitiesOf(inputs)};
    VideoQueue videos(line, inputs, runtime);
    BatchRun run(videos, line.lanes, reporter);
    run.surroundings = &surroundings;

    videos.known = [&](const QString& name) { return manifest.record(name); };
    videos.onFailure = [&](const BatchInput& input, const QString& reason) {
        reporter.report({input.file, std::nullopt, u"failed"_s, {}, reason, 0});
        noteFailure(input, reason, folder, manifest);
    };
    videos.onVideo = [&](const BatchInput&, const VideoQueue::Video& video) {
        const ClipPlan plan = planClips(line, video, folder, BatchFolder::Use::alone, manifest);
        for (const QString& remark : plan.remarks)
            reporter.tell(remark);
        for (qsizetype i = 0; i < plan.jobs.size(); ++i) {
            const FFmpegJob& job = plan.jobs[i];
            if (plan.isWritten[i])
                reporter.report({job.inputURL, job.index, u"present"_s, job.outputURL.path(), {}, 0});
            else
                run.addClip(job, plan.record);
        }
    };
    const auto compact = [&] {
        try {
            manifest.compact(folder);
        } catch (const OutputError& error) { // the journal holds everything, too
            reporter.tell(error.message());
        }
    };
    run.onClip = [&] {
        if (manifest.isLarge())
            compact();
    };
    run.onEnd = [] { QCoreApplication::quit(); };
    run.start();
    waitForEnd([&run] { run.stop(); });
    compact();
    QDir().rmdir(folder.unfinished().path()); // when it is empty
    if (run.failure())
        std::rethrow_exception(run.failure());
    summarize(reporter);
    return statusOf(reporter);
}
