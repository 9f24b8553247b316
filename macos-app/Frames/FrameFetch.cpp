#include "Frames/FrameFetch.h"

#include "Services/ProcessLaunching.h"

#include <QFileInfo>

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// Below every clip that a split writes, and below the window itself.
constexpr int niceness = 10;

} // namespace

FrameFetch::FrameFetch(const FrameQuery& query, const FileURL& videoURL, const RuntimeConfiguration& runtime,
                       Completion completion)
    : m_videoURL(videoURL)
    , m_reader(query)
    , m_lines([this](const QByteArray& line) { m_reader.readLine(line); })
    , m_completion(std::move(completion))
{
    m_process.setProgram(runtime.ffmpegURL.path());
    m_process.setArguments(query.arguments(videoURL.path()));
    m_process.setProcessEnvironment(runtime.subprocessEnvironment());
    m_process.setStandardInputFile(QProcess::nullDevice());
    m_process.setChildProcessModifier([] {
        ::setpgid(0, 0);
        ::setpriority(PRIO_PROCESS, 0, niceness);
    });
    connect(&m_process, &QProcess::readyReadStandardOutput, this,
            [this] { m_reader.readPictures(m_process.readAllStandardOutput()); });
    connect(&m_process, &QProcess::readyReadStandardError, this,
            [this] { m_lines.append(m_process.readAllStandardError()); });
    connect(&m_process, &QProcess::finished, this, &FrameFetch::finish);
    connect(&m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) // finished() does not follow
            finish();
    });
}

FrameFetch::~FrameFetch()
{
    m_process.disconnect(this);
    stop();
    m_process.waitForFinished(-1); // a killed reader is gone at once
}

void FrameFetch::start()
{
    m_process.start(QIODevice::ReadOnly);
}

void FrameFetch::stop()
{
    m_completion = nullptr;
    signalProcessGroup(m_process, SIGKILL);
}

void FrameFetch::finish()
{
    m_reader.readPictures(m_process.readAllStandardOutput());
    m_lines.append(m_process.readAllStandardError());
    m_lines.finish();
    const auto completion = std::exchange(m_completion, nullptr);
    const auto end = onEnd;
    if (completion) {
        const QString reason = failure();
        completion(reason.isEmpty() ? m_reader.reply() : std::nullopt, reason);
    }
    if (end)
        end();
}

/// Why there is no reply, in words; empty when there is one.
QString FrameFetch::failure() const
{
    if (m_process.error() == QProcess::FailedToStart)
        return u"无法启动 ffmpeg：%1"_s.arg(m_process.errorString());
    const bool succeeded = m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
    if (succeeded && m_reader.reply())
        return {};
    if (!QFileInfo::exists(m_videoURL.path()))
        return u"找不到视频文件。"_s;
    if (m_process.exitStatus() == QProcess::CrashExit)
        return u"ffmpeg 意外结束，没有取到画面。"_s;
    if (succeeded)
        return u"视频中没有可以显示的画面。"_s;
    QString reason = QString::fromUtf8(m_reader.lastWords());
    reason.remove(m_videoURL.path() + u": "_s); // there is little room
    return u"无法读取画面：%1"_s.arg(reason);
}
