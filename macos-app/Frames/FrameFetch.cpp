#include "Frames/FrameFetch.h"

#include <QFileInfo>

#include <utility>

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
    , m_process({runtime.ffmpegURL.path(),
                 query.arguments(videoURL.path()),
                 {},
                 runtime.subprocessEnvironment(),
                 false,
                 false,
                 niceness})
{
    m_process.onOutput = [this](const QByteArray& chunk) {
        m_reader.readPictures(chunk);
        tellProgress();
    };
    m_process.onErrorOutput = [this](const QByteArray& chunk) { m_lines.append(chunk); };
    m_process.onEnd = [this] {
        m_lines.finish();
        finish(failure());
    };
}

void FrameFetch::start()
{
    try {
        m_process.start();
    } catch (const ProcessLaunchError& error) {
        const QString reason = u"无法启动 ffmpeg：%1"_s.arg(error.message());
        QMetaObject::invokeMethod(
            this, [this, reason] { finish(reason); }, Qt::QueuedConnection);
    }
}

void FrameFetch::stop()
{
    m_completion = nullptr;
    m_process.kill();
}

void FrameFetch::tellProgress()
{
    if (!m_completion || !onProgress || m_reader.pictureCount() <= m_picturesTold)
        return;
    m_picturesTold = m_reader.pictureCount();
    if (const auto reply = soFar())
        onProgress(*reply);
}

void FrameFetch::finish(const QString& failure)
{
    const auto completion = std::exchange(m_completion, nullptr);
    const auto end = onEnd;
    if (completion)
        completion(failure.isEmpty() ? m_reader.reply() : std::nullopt, failure);
    if (end)
        end();
}

/// Why there is no reply, in words; empty when there is one.
QString FrameFetch::failure() const
{
    if (m_process.succeeded() && m_reader.reply())
        return {};
    if (!QFileInfo::exists(m_videoURL.path()))
        return u"找不到视频文件。"_s;
    if (m_process.wasKilled())
        return u"ffmpeg 意外结束，没有取到画面。"_s;
    if (m_process.succeeded())
        return u"视频中没有可以显示的画面。"_s;
    QString reason = QString::fromUtf8(m_reader.lastWords());
    reason.remove(m_videoURL.path() + u": "_s); // there is little room
    return u"无法读取画面：%1"_s.arg(reason);
}
