#include "Batch/BatchInput.h"
#include "Batch/Commands.h"
#include "Batch/Reporter.h"
#include "Batch/Waiting.h"
#include "CutLists/CutListError.h"
#include "CutLists/SegmentCuts.h"
#include "CutLists/ShellScript.h"
#include "Frames/PictureNumbers.h"
#include "Jobs/OutputSafety.h"
#include "Models/InputReading.h"
#include "Models/JobBuilder.h"
#include "Services/AppRuntimeError.h"
#include "Services/MessageError.h"
#include "Services/RuntimeResolver.h"

#include <QCoreApplication>
#include <QFile>
#include <QSaveFile>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

const QString scriptFormat = u"sh"_s;

/// Nothing for the script. Throws UsageError.
const CutListKind* kindOf(const QString& format)
{
    const QList<CutListKind>& kinds = cutListKinds();
    if (format == scriptFormat)
        return nullptr;
    const auto kind =
        std::find_if(kinds.begin(), kinds.end(), [&](const CutListKind& candidate) { return candidate.id == format; });
    if (kind == kinds.end())
        throw UsageError(u"选项 %1 的值无效：%2。"_s.arg(u"--format"_s, format));
    return &*kind;
}

struct FilmOrReason
{
    std::optional<FilmTimes> film;
    QString reason; ///< empty also when a signal came
};

/// The times of all pictures of a film.
FilmOrReason readFilm(const FileURL& video)
{
    FilmOrReason read;
    RuntimeConfiguration runtime;
    try {
        runtime = RuntimeResolver::resolve();
    } catch (const AppRuntimeError& error) {
        read.reason = error.message();
        return read;
    }
    FilmScan scan(video, runtime, FilmScan::Extent::allFrames);
    scan.onEnd = [&read](const std::optional<FilmTimes>& film, const QString& failure) {
        read = {film, failure};
        QCoreApplication::quit();
    };
    QMetaObject::invokeMethod(
        &scan, [&scan] { scan.start(); }, Qt::QueuedConnection);
    waitForEnd(&QCoreApplication::quit);
    return read;
}

/// The list as one file or several; clips have the names that cutting gives them. Nothing when a signal came.
QList<QByteArray> contentsOf(const CommandLine& line, const BatchInput& input, const CutListKind* kind)
{
    const KestrelList list = readList(input.file);
    SegmentList segments = list.list;
    segments.videoURL = input.video;
    const QList<FFmpegJob> jobs =
        buildJobs(segments.segments, input.video, input.video.deletingLastPathComponent(),
                  line.prefix.value_or(list.prefix), line.crop ? line.crop : readCropParameters(list.crop));
    if (jobs.isEmpty())
        throw CutListError(u"没有可写出的片段。"_s);
    if (!kind)
        return {writeShellScript(jobs)};
    CutList cuts = cutListOf(segments, jobs, kind->takesDisabled);
    if (kind->pictures != PictureUse::unused) {
        const auto [film, reason] = readFilm(input.video);
        if (!film && reason.isEmpty())
            return {};
        if (!film && kind->pictures == PictureUse::needed)
            throw MessageError(reason);
        if (film)
            countPictures(cuts, *kind, *film);
    }
    return kind->write(cuts);
}

/// All of it or nothing.
void store(const QByteArray& content, const FileURL& url, bool mayReplace)
{
    if (!mayReplace && QFile::exists(url.path()))
        throw CutListError(u"%1 已存在，没有改动它。"_s.arg(url.path()));
    QSaveFile file(url.path());
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.commit())
        throw CutListError(u"无法写入 %1：%2"_s.arg(url.path(), file.errorString()));
}

} // namespace

int exportCommand(const CommandLine& line)
{
    const CutListKind* kind = kindOf(line.format);
    const QString ending = u'.' + (kind ? kind->suffix : scriptFormat);
    const auto fileOf = [&](const BatchInput& input) {
        const FileURL folder = line.directory.value_or(FileURL(u"-"_s));
        return folder.appendingPathComponent(input.folder + ending);
    };
    const auto placeOf = [&](const BatchInput& input) {
        return line.directory ? fileOf(input).path() : input.file.path();
    };
    const QList<BatchInput> inputs = readInputs(line.operands, placeOf);
    if (line.directory)
        createOutputDirectory(*line.directory);
    Reporter reporter(line.isQuiet, 1, inputs.size());
    reporter.writesEvents = line.directory.has_value();
    for (const BatchInput& input : inputs) {
        try {
            const QList<QByteArray> contents = contentsOf(line, input, kind);
            if (contents.isEmpty())
                break;
            for (qsizetype i = 0; i < contents.size(); ++i) {
                const FileURL file = numberedFile(fileOf(input), i + 1);
                if (line.directory)
                    store(contents[i], file, line.doesAll);
                else
                    std::fwrite(contents[i].constData(), 1, static_cast<std::size_t>(contents[i].size()), stdout);
                if (line.directory)
                    reporter.report({input.video, std::nullopt, u"stored"_s, file.path(), {}, 0});
            }
        } catch (const OutputError&) {
            throw;
        } catch (const std::exception& error) {
            reporter.report({input.file, std::nullopt, u"failed"_s, {}, errorDescription(error), 0});
        }
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw OutputError(u"无法写到标准输出。"_s);
    const int failed = reporter.count(u"failed"_s);
    if (failed == inputs.size())
        return ExitStatus::nothingDone;
    return failed > 0 ? ExitStatus::someFailed : ExitStatus::allRight;
}
