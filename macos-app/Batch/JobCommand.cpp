#include "Batch/ClipJob.h"
#include "Batch/Commands.h"
#include "Batch/Manifest.h"
#include "Batch/Reporter.h"
#include "Batch/Waiting.h"
#include "CutLists/CutListError.h"
#include "Models/NumberText.h"
#include "Services/RuntimeResolver.h"

#include <QCoreApplication>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

FFmpegJob jobOf(const CommandLine& line)
{
    return {line.number,
            FileURL::fromUserPath(line.operands.first()),
            line.directory->appendingPathComponent(line.output),
            parseDecimal(line.start).value_or(0),
            parseDecimal(line.duration).value_or(0),
            line.crop};
}

} // namespace

int jobCommand(const CommandLine& line)
{
    const RuntimeConfiguration runtime = RuntimeResolver::resolve();
    const FFmpegJob job = jobOf(line);
    const QString videoFolder = line.output.section(u'/', 0, 0);
    if (BatchFolder::isReserved(videoFolder))
        throw UsageError(u"不能用作输出文件夹的名称：%1。"_s.arg(videoFolder));
    BatchFolder folder(*line.directory, BatchFolder::Use::shared);
    Reporter reporter(line.isQuiet, 1, 1);
    const auto tell = [&](const ClipRecord& clip, const QString& state) {
        reporter.report({job.inputURL, job.index, state, job.outputURL.path(), clip.reason, clip.seconds});
        const bool isRight = clip.state == ClipState::completed || clip.state == ClipState::planned;
        return isRight ? ExitStatus::allRight : ExitStatus::someFailed;
    };

    VideoRecord video;
    video.folder = videoFolder;
    video.video = job.inputURL;
    video.source = FileMark::of(job.inputURL);
    ClipRecord end = ClipRecord::planned(job);
    if (!video.source || video.source != line.source) {
        end.state = ClipState::failed;
        end.reason =
            video.source ? u"视频在计划之后改变了，请重新计划。"_s : u"无法读取视频 %1。"_s.arg(job.inputURL.path());
        return tell(end, wordOf(end.state));
    }
    std::optional<Manifest> manifest; // read only where there is something to ask it
    if (QFileInfo::exists(job.outputURL.path())) {
        manifest.emplace(*line.directory);
        const auto known = manifest->record(videoFolder);
        const ClipRecord* before = known && known->source == video.source ? known->clip(end.output) : nullptr;
        const bool isSame = before && before->state == ClipState::completed && before->asksTheSame(end);
        if (isSame && !line.doesAll && before->mark && before->mark->holdsFor(job.outputURL))
            return tell(*before, u"present"_s);
        if (before)
            video.clips = {*before};
    }
    const auto note = [&](const VideoRecord& record, const ClipRecord& clip) {
        Manifest::append(folder, record, clip);
    };
    const ClipJob::Surroundings surroundings{folder, note, runtime, {}};
    try {
        ClipJob clipJob(surroundings, job, video);
        clipJob.onEnd = [&end](const ClipRecord& clip, double /*processorTime*/) {
            end = clip;
            QCoreApplication::quit();
        };
        waitForEnd([&clipJob] { clipJob.stop(); });
    } catch (const std::exception& error) {
        end.state = ClipState::failed;
        end.reason = errorDescription(error);
    }
    return end.state == ClipState::planned ? ExitStatus::someFailed : tell(end, wordOf(end.state));
}
