#include "Batch/BatchRun.h"
#include "Batch/Commands.h"
#include "Batch/Waiting.h"
#include "Jobs/OlderFile.h"
#include "Jobs/OutputSafety.h"
#include "Services/RuntimeResolver.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace {

FileURL listOf(const CommandLine& line, const BatchInput& input)
{
    const FileURL folder = line.directory.value_or(input.video.deletingLastPathComponent());
    return folder.appendingPathComponent(input.video.baseName() + u".kestrel.json"_s);
}

/// All of it or nothing; an older list goes to the trash. Throws OutputError. What became of it is told.
QString store(const KestrelList& list, const FileURL& url)
{
    const QByteArray text = encodeKestrelList(list);
    const Folder folder(url.deletingLastPathComponent());
    QSaveFile file(url.path());
    OlderFile older(folder, url);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.flush())
        throw OutputError(u"无法写入 %1：%2"_s.arg(url.path(), file.errorString()));
    older.setAside(FileIdentity::of(list.list.videoURL.value_or(FileURL())));
    if (file.commit())
        return older.dispose(true, false);
    older.putBack();
    throw OutputError(u"无法写入 %1：%2"_s.arg(url.path(), file.errorString()));
}

} // namespace

int detectCommand(const CommandLine& line)
{
    const RuntimeConfiguration runtime = RuntimeResolver::resolve();
    const auto placeOf = [&](const BatchInput& input) { return listOf(line, input).path(); };
    QList<BatchInput> inputs = readInputs(line.operands, placeOf);
    if (line.directory)
        createOutputDirectory(*line.directory);
    Reporter reporter(line.isQuiet, line.lanes, inputs.size());
    QList<BatchInput> missing;
    for (BatchInput& input : inputs) {
        input.isList = false; // of a list the video is detected anew
        const FileURL list = listOf(line, input);
        if (line.doesAll || !QFileInfo::exists(list.path()))
            missing.append(input);
        else
            reporter.report({input.video, std::nullopt, u"present"_s, list.path(), {}, 0});
    }
    VideoQueue videos(line, missing, runtime);
    BatchRun run(videos, line.lanes, reporter);
    videos.onFailure = [&](const BatchInput& input, const QString& reason) {
        reporter.report({input.file, std::nullopt, u"failed"_s, {}, reason, 0});
    };
    videos.onVideo = [&](const BatchInput& input, const VideoQueue::Video& video) {
        const FileURL list = listOf(line, input);
        const QString remark = store(video.list, list);
        reporter.report({input.video, std::nullopt, u"stored"_s, list.path(), remark, 0});
    };
    run.onEnd = [] { QCoreApplication::quit(); };
    run.start();
    waitForEnd([&run] { run.stop(); });
    if (run.failure())
        std::rethrow_exception(run.failure());
    const int stored = reporter.count(u"stored"_s);
    const int present = reporter.count(u"present"_s);
    const int failed = reporter.count(u"failed"_s);
    reporter.summarize(u"%1 个列表已存储，%2 个已有，%3 个失败。"_s.arg(
        QString::number(stored), QString::number(present), QString::number(failed)));
    if (stored + present == 0)
        return ExitStatus::nothingDone;
    return failed > 0 ? ExitStatus::someFailed : ExitStatus::allRight;
}
