#include "Services/DetectorService.h"

#include "Models/NumberText.h"
#include "Models/PayloadDecoder.h"
#include "Models/Utf8Text.h"
#include "Services/AppRuntimeError.h"
#include "Services/ChildProcess.h"
#include "Services/LineSplitter.h"

#include <QThreadPool>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

/// How soon a running request notices that it shall stop.
constexpr int stopPollMilliseconds = 50;
/// Requests wait for children instead of computing, so their number is not bound to that of the cores.
constexpr int mostBackgroundRequests = 64;

std::atomic<bool> stopRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

ChildCommand detectorCommand(const RuntimeConfiguration& runtime, const DetectionRequest& request)
{
    ChildCommand command;
    command.program = runtime.pythonURL.path();
    command.arguments = detectorArguments(runtime.detectorScriptURL, request);
    command.workingDirectory = runtime.detectorScriptURL.deletingLastPathComponent().path();
    command.environment = runtime.subprocessEnvironment();
    command.sharesInput = true;
    return command;
}

/// What a detector that has ended has printed.
struct DetectorOutput
{
    QByteArray output;
    QByteArray error;
    bool succeeded = false;
};

DetectorOutput runDetector(const ChildCommand& command, const DetectorService::ProgressHandler& progress,
                           const DetectorService::Cancellation& cancellation)
{
    DetectorOutput printed;
    LineSplitter lines([&progress](const QByteArray& line) {
        const QString text = decodedUtf8OrEmpty(line).trimmed();
        if (progress && !text.isEmpty())
            progress(text);
    });
    ChildProcess detector(command);
    detector.onOutput = [&](const QByteArray& chunk) { printed.output += chunk; };
    detector.onErrorOutput = [&](const QByteArray& chunk) {
        printed.error += chunk;
        lines.append(chunk);
    };
    detector.start();
    while (!detector.waitForEnd(stopPollMilliseconds)) {
        if (stopRequested || (cancellation && *cancellation))
            detector.stop();
    }
    lines.finish();
    printed.succeeded = detector.succeeded();
    return printed;
}

DetectorPayload decodeOutput(const QString& output)
{
    try {
        return decodePayload(output.toUtf8());
    } catch (const PayloadDecodingError& error) {
        throw AppRuntimeError::invalidDetectorOutput(u"无法解析检测脚本输出："_s + error.description());
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
        throw AppRuntimeError::detectorFailed(u"解析失败："_s);
    const DetectorOutput printed = runDetector(detectorCommand(m_runtime, request), progress, cancellation);
    if (!printed.succeeded) {
        const QString errorText = decodedUtf8OrEmpty(printed.error).trimmed();
        throw AppRuntimeError::detectorFailed(
            u"解析失败："_s + (errorText.isEmpty() ? decodedUtf8OrEmpty(printed.output).trimmed() : errorText));
    }
    return decodeOutput(decodedUtf8OrEmpty(printed.output));
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
