#include "AppMain/CommandLineTool.h"

#include "Services/AppRuntimeError.h"
#include "Services/DetectorService.h"
#include "Services/RuntimeResolver.h"

#include <QCoreApplication>
#include <QFile>

#include <csignal>
#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

constexpr int failureStatus = 2;

volatile std::sig_atomic_t receivedSignal = 0;

void noteSignal(int signal)
{
    receivedSignal = signal;
    DetectorService::stopAll();
}

/// While it lives, a signal to end reaches the detector first and then this process.
class DetectorEndsWithUs final
{
public:
    DetectorEndsWithUs() { setHandlers(noteSignal); }
    ~DetectorEndsWithUs()
    {
        setHandlers(SIG_DFL);
        if (receivedSignal != 0)
            std::raise(receivedSignal);
    }
    Q_DISABLE_COPY_MOVE(DetectorEndsWithUs)

private:
    static void setHandlers(void (*handler)(int))
    {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            if (std::signal(signal, handler) == SIG_IGN && signal == SIGHUP) // as nohup wants it
                std::signal(signal, SIG_IGN);
        }
    }
};

void printLine(const char* key, const QByteArray& value)
{
    std::fprintf(stdout, "%s=%s\n", key, value.constData());
}

/// What could not be written must not pass for a success.
void flushOutput()
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw OutputError(u"无法写到标准输出。"_s);
}

void selfTest()
{
    const RuntimeConfiguration runtime = RuntimeResolver::resolve();
    printLine("python", QFile::encodeName(runtime.pythonURL.path()));
    printLine("script", QFile::encodeName(runtime.detectorScriptURL.path()));
    printLine("ffmpeg", QFile::encodeName(runtime.ffmpegURL.path()));
}

void detectSummary(const QByteArrayList& arguments)
{
    if (arguments.size() < 2)
        throw AppRuntimeError::invalidDetectorOutput(u"用法: --detect-summary <video-path>"_s);
    DetectionRequest request;
    request.videoURL = FileURL::fromUserPath(QFile::decodeName(arguments[1]));
    const DetectorService service(RuntimeResolver::resolve());

    // A child process needs an application object; it gets no arguments to interpret and nobody's warnings to print.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    QByteArray programName = "kestrel";
    int argumentCount = 1;
    char* argumentVector[] = {programName.data(), nullptr};
    const QCoreApplication application(argumentCount, argumentVector);

    const DetectorEndsWithUs detectorEndsWithUs;
    const DetectorPayload payload = service.detectSync(request);
    printLine("events", QByteArray::number(payload.events.size()));
    printLine("keep_segments", QByteArray::number(payload.keepSegments.size()));
}

[[noreturn]] void fail(const std::exception& error)
{
    const QByteArray message = errorDescription(error).toUtf8() + '\n';
    std::fwrite(message.constData(), 1, static_cast<std::size_t>(message.size()), stderr);
    std::exit(failureStatus);
}

} // namespace

bool CommandLineTool::runIfNeeded(const QByteArrayList& arguments)
{
    if (arguments.isEmpty())
        return false;
    try {
        if (arguments.first() == "--self-test") {
            selfTest();
            flushOutput();
            return true;
        }
        if (arguments.first() == "--detect-summary") {
            detectSummary(arguments);
            flushOutput();
            return true;
        }
    } catch (const std::exception& error) {
        fail(error);
    }
    return false;
}
