#include "Services/DetectorService.h"

#include "Models/NumberText.h"
#include "Models/PayloadDecoder.h"
#include "Models/Utf8Text.h"
#include "Services/AppRuntimeError.h"
#include "Services/LineSplitter.h"
#include "Services/ProcessLaunching.h"

#include <QProcess>
#include <QThreadPool>

#include <atomic>
#include <csignal>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// How soon a running request notices that it shall stop.
constexpr int stopPollMilliseconds = 50;
/// Requests wait for children instead of computing, so their number is not bound to that of the cores.
constexpr int mostBackgroundRequests = 64;

std::atomic<bool> stopRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

/// One run of the detector: its process, and what it has printed so far.
class DetectorRun final
{
public:
    DetectorRun(const RuntimeConfiguration& runtime, const DetectionRequest& request,
                const DetectorService::ProgressHandler& progress, DetectorService::Cancellation cancellation)
        : m_cancellation(std::move(cancellation))
        , m_lines([progress](const QByteArray& line) {
            const QString text = decodedUtf8OrEmpty(line).trimmed();
            if (progress && !text.isEmpty())
                progress(text);
        })
    {
        m_process.setProgram(runtime.pythonURL.path());
        m_process.setArguments(detectorArguments(runtime.detectorScriptURL, request));
        m_process.setWorkingDirectory(runtime.detectorScriptURL.deletingLastPathComponent().path());
        m_process.setProcessEnvironment(runtime.subprocessEnvironment());
        m_process.setInputChannelMode(QProcess::ForwardedInputChannel);
        // The terminal lets only its foreground group read, and the detector shares our standard input.
        if (m_leadsGroup)
            useOwnProcessGroup(m_process);
        QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &m_process, [this] { drainOutput(); });
        QObject::connect(&m_process, &QProcess::readyReadStandardError, &m_process, [this] { drainError(); });
    }

    /// The detector still runs only when there was no memory for what it printed.
    ~DetectorRun()
    {
        m_process.disconnect();
        m_process.closeReadChannel(QProcess::StandardOutput);
        m_process.closeReadChannel(QProcess::StandardError);
        signalProcessGroup(m_process, SIGKILL);
        m_process.waitForFinished(-1);
    }
    Q_DISABLE_COPY_MOVE(DetectorRun)

    void runToEnd()
    {
        startOrThrow(m_process);
        const qint64 group = m_leadsGroup ? m_process.processId() : 0;
        while (!m_process.waitForFinished(stopPollMilliseconds) && m_process.state() != QProcess::NotRunning) {
            if (stopRequested || (m_cancellation && *m_cancellation))
                stop();
        }
        drainOutput();
        drainError();
        m_lines.finish();
        killRestOfGroup(group);
    }

    [[nodiscard]] bool succeeded() const
    {
        return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
    }
    [[nodiscard]] QString outputText() const { return decodedUtf8OrEmpty(m_output); }
    [[nodiscard]] QString errorText() const { return decodedUtf8OrEmpty(m_error); }

private:
    void drainOutput() { m_output += m_process.readAllStandardOutput(); }

    void drainError()
    {
        const QByteArray chunk = m_process.readAllStandardError();
        m_error += chunk;
        m_lines.append(chunk);
    }

    void stop()
    {
        signalProcessGroup(m_process, SIGTERM);
        if (m_process.waitForFinished(terminationGraceMilliseconds))
            return;
        signalProcessGroup(m_process, SIGKILL);
        m_process.waitForFinished(-1);
    }

    const bool m_leadsGroup = ::isatty(STDIN_FILENO) == 0;
    const DetectorService::Cancellation m_cancellation;
    QByteArray m_output;
    QByteArray m_error;
    LineSplitter m_lines;
    QProcess m_process; // last: its signals reach the buffers
};

DetectorPayload decodeOutput(const QString& output)
{
    try {
        return decodePayload(output.toUtf8());
    } catch (const PayloadDecodingError& error) {
        throw AppRuntimeError::invalidDetectorOutput(u"无法解析检测脚本输出："_s + error.description());
    }
}

QThreadPool& requestPool()
{
    static QThreadPool pool;
    pool.setMaxThreadCount(mostBackgroundRequests);
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
    DetectorRun run(m_runtime, request, progress, cancellation);
    run.runToEnd();
    if (!run.succeeded()) {
        const QString errorText = run.errorText().trimmed();
        throw AppRuntimeError::detectorFailed(u"解析失败："_s +
                                              (errorText.isEmpty() ? run.outputText().trimmed() : errorText));
    }
    return decodeOutput(run.outputText());
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
