#include "Services/DetectorService.h"

#include "Models/LineSplitter.h"
#include "Models/NumberText.h"
#include "Models/PayloadDecoder.h"
#include "Models/Utf8Text.h"
#include "Services/AppRuntimeError.h"
#include "Services/ChildProcess.h"
#include "Services/OutputEnds.h"

#include <QFile>
#include <QThreadPool>

#include <atomic>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

/// How soon a running request notices that it shall stop.
constexpr int stopPollMilliseconds = 50;
/// Requests wait for children instead of computing, so their number is not bound to that of the cores.
constexpr int mostBackgroundRequests = 64;
/// Of one line of progress, so that a detector that ends none fills no memory.
constexpr qsizetype longestLine = qsizetype(64) * 1024;

std::atomic<bool> stopRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

/// Reading these would wait for somebody who writes, perhaps for ever.
void refuseWhatIsNoFile(const FileURL& video)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(video.path()).constData(), &status) != 0)
        return; // the detector's to tell
    if (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || S_ISCHR(status.st_mode))
        throw AppRuntimeError::detectorFailed(u"解析失败：视频路径是管道、套接字或字符设备，不是文件。"_s);
}

ChildCommand detectorCommand(const RuntimeConfiguration& runtime, const DetectionRequest& request)
{
    return {.program = runtime.pythonURL.path(),
            .arguments = detectorArguments(runtime.detectorScriptURL, request),
            .workingDirectory = runtime.detectorScriptURL.deletingLastPathComponent().path(),
            .environment = runtime.subprocessEnvironment(),
            .sharesInput = true};
}

QString decodedLine(const QByteArray& line)
{
    const bool mayBeCut = line.size() == longestLine; // within a character
    return (mayBeCut ? QString::fromUtf8(line) : decodedUtf8OrEmpty(line)).trimmed();
}

/// What a detector that failed has said about it: on standard error, else on standard output, else how it ended.
QString reasonOfFailure(const OutputEnds& error, const OutputEnds& output, const QString& end)
{
    const QString errorText = error.text();
    const QString text = errorText.isEmpty() ? output.text() : errorText;
    if (!text.isEmpty())
        return text;
    return error.isUtf8() && output.isUtf8() ? u"检测脚本没有说明原因（%1）。"_s.arg(end)
                                             : u"检测脚本的说明不是 UTF-8 文本（%1）。"_s.arg(end);
}

/// The document that the detector prints. Throws AppRuntimeError when it fails.
QByteArray runDetector(const ChildCommand& command, const DetectorService::ProgressHandler& progress,
                       const DetectorService::Cancellation& cancellation)
{
    QByteArray document;
    OutputEnds output;
    OutputEnds error;
    LineSplitter lines(
        [&progress](const QByteArray& line) {
            const QString text = decodedLine(line);
            if (progress && !text.isEmpty())
                progress(text);
        },
        longestLine);
    ChildProcess detector(command);
    detector.onOutput = [&](const QByteArray& chunk) {
        output.append(chunk);
        document.append(chunk);
    };
    detector.onErrorOutput = [&](const QByteArray& chunk) {
        error.append(chunk);
        lines.append(chunk);
    };
    detector.start();
    while (!detector.waitForEnd(stopPollMilliseconds)) {
        if (stopRequested || (cancellation && *cancellation))
            detector.stop();
    }
    lines.finish();
    if (!detector.succeeded())
        throw AppRuntimeError::detectorFailed(u"解析失败："_s +
                                              reasonOfFailure(error, output, detector.endDescription()));
    return document;
}

[[noreturn]] void refuseOutput(const QString& reason)
{
    throw AppRuntimeError::invalidDetectorOutput(u"无法解析检测脚本输出："_s + reason);
}

DetectorPayload decodeDocument(const QByteArray& document)
{
    if (!document.isValidUtf8())
        refuseOutput(u"输出不是 UTF-8 文本。"_s);
    try {
        return decodePayload(document);
    } catch (const PayloadDecodingError& error) {
        refuseOutput(error.description());
    }
}

/// The requests in the background. A program that leaves by exit() ends their detectors here.
struct RequestPool : QThreadPool
{
    RequestPool() { setMaxThreadCount(mostBackgroundRequests); }
    ~RequestPool() override { DetectorService::stopAll(); } // and QThreadPool waits for them
    Q_DISABLE_COPY_MOVE(RequestPool)
};

QThreadPool& requestPool()
{
    static RequestPool pool;
    return pool;
}

} // namespace

QStringList detectorArguments(const FileURL& detectorScriptURL, const DetectionRequest& request)
{
    return {detectorScriptURL.path(),
            request.videoURL.path(),
            u"--skip-start-seconds"_s,
            formatRoundTrip(request.skipStartSeconds),
            u"--fade-removal-profile"_s,
            request.fadeRemovalStrategy.pythonArgument(),
            u"--fade-left-padding-seconds"_s,
            formatRoundTrip(request.fadePadding.leftSeconds),
            u"--fade-right-padding-seconds"_s,
            formatRoundTrip(request.fadePadding.rightSeconds),
            u"--json"_s};
}

DetectorPayload DetectorService::detectSync(const DetectionRequest& request, const ProgressHandler& progress,
                                            const Cancellation& cancellation) const
{
    if (stopRequested)
        throw AppRuntimeError::detectorFailed(u"解析失败：程序正在退出。"_s);
    refuseWhatIsNoFile(request.videoURL);
    return decodeDocument(runDetector(detectorCommand(m_runtime, request), progress, cancellation));
}

void DetectorService::detect(const DetectionRequest& request, const ProgressHandler& progress,
                             const CompletionHandler& completion, const Cancellation& cancellation) const
{
    requestPool().start([service = *this, request, progress, completion, cancellation] {
        DetectionResult result = std::exception_ptr();
        try {
            result = service.detectSync(request, progress, cancellation);
        } catch (...) {
            result = std::current_exception();
        }
        completion(result);
    });
}

void DetectorService::stopAll() noexcept
{
    stopRequested = true;
}

void DetectorService::waitForAll()
{
    requestPool().waitForDone();
}
