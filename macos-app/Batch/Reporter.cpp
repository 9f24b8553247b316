#include "Batch/Reporter.h"

#include "Batch/UsersLanguage.h"
#include "Models/NumberText.h"
#include "Models/TimeText.h"
#include "Services/MessageError.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <cmath>
#include <cstdio>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int progressMilliseconds = 500;

void writeTo(std::FILE* stream, const QByteArray& text)
{
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stream);
    std::fflush(stream);
}

/// What people are told of an event.
QString sentenceOf(const BatchEvent& event)
{
    const FileURL file(event.output.isEmpty() ? event.video.path() : event.output);
    const QString name = printable(file.lastPathComponent());
    if (event.state == u"completed")
        return u"%1：完成（%2 秒）"_s.arg(name, formatFixed(event.seconds, 1));
    if (event.state == u"doubtful")
        return u"%1：存疑：%2"_s.arg(name, printable(event.reason));
    if (event.state == u"failed")
        return u"%1：失败：%2"_s.arg(name, printable(event.reason));
    if (event.state == u"stored")
        return u"%1：列表已存储"_s.arg(name);
    if (event.state == u"present" && !event.job)
        return u"%1：列表已有，没有改动"_s.arg(name);
    return {};
}

} // namespace

Reporter::Reporter(bool isQuiet, int lanes, qsizetype videos)
    : m_isQuiet(isQuiet)
    , m_isOnTerminal(::isatty(STDERR_FILENO) == 1)
    , m_videos(videos)
    , m_remaining({}, lanes, QThread::idealThreadCount())
{
    m_clock.start();
    m_timer.setInterval(progressMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, &Reporter::showProgress);
    if (m_isOnTerminal && !m_isQuiet)
        m_timer.start();
}

Reporter::~Reporter()
{
    clearProgress();
}

void Reporter::report(const BatchEvent& event)
{
    ++m_counts[event.state];
    const QString sentence = sentenceOf(event);
    const bool isGood = event.state == u"completed" || event.state == u"present";
    if (!sentence.isEmpty() && !(isGood && m_isOnTerminal))
        tell(sentence);
    if (!writesEvents)
        return;
    const QJsonObject object{{u"video"_s, event.video.path()},
                             {u"job"_s, event.job ? QJsonValue(*event.job) : QJsonValue()},
                             {u"state"_s, event.state},
                             {u"output"_s, event.output},
                             {u"reason"_s, inUsersLanguage(event.reason)},
                             {u"seconds"_s, std::round(event.seconds * 1000) / 1000}};
    if (m_isOnTerminal)
        clearProgress();
    writeTo(stdout, QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
    if (std::ferror(stdout) != 0)
        throw OutputError(u"无法写到标准输出。"_s);
}

void Reporter::tell(const QString& sentence)
{
    if (m_isQuiet)
        return;
    clearProgress();
    writeTo(stderr, inUsersLanguage(sentence).toUtf8() + '\n');
}

void Reporter::summarize(const QString& sentence)
{
    m_timer.stop();
    tell(sentence);
}

int Reporter::addClip(double duration)
{
    m_remaining.add(duration);
    return static_cast<int>(m_clips++);
}

void Reporter::launched(int clip)
{
    m_remaining.launch(clip, now());
}

void Reporter::progressed(int clip, double length)
{
    m_remaining.progress(clip, length, now());
}

void Reporter::ended(int clip, bool isComplete, double processorTime)
{
    ++m_endedClips;
    m_remaining.end(clip, isComplete, processorTime, now());
}

double Reporter::now() const
{
    return static_cast<double>(m_clock.elapsed()) / 1000;
}

/// Of videos that nobody has opened yet nothing is known, so that the time left is the least.
void Reporter::showProgress()
{
    const auto seconds = m_remaining.update(now());
    const QString form = m_openedVideos < m_videos ? u"剩余至少 %1"_s : u"剩余约 %1"_s;
    const QString left = seconds ? form.arg(formatHMS(*seconds).left(8)) : u"正在估计剩余时间…"_s;
    const auto of = [](qsizetype part, qsizetype whole) { return u"%1/%2"_s.arg(part).arg(whole); };
    const int failed = count(u"failed"_s);
    const QString tail = failed > 0 ? u"失败 %1 · %2"_s.arg(QString::number(failed), left) : left;
    const QString text = u"片段 %1 · 视频 %2 · %3"_s.arg(of(m_endedClips, m_clips), of(m_openedVideos, m_videos), tail);
    writeTo(stderr, "\r\x1b[K" + inUsersLanguage(text).toUtf8());
    m_showsProgress = true;
}

void Reporter::clearProgress()
{
    if (std::exchange(m_showsProgress, false))
        writeTo(stderr, "\r\x1b[K");
}
