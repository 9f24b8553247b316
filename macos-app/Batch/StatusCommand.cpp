#include "Batch/Commands.h"
#include "Batch/Manifest.h"
#include "Batch/UsersLanguage.h"

#include <QFileInfo>
#include <QJsonDocument>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

struct Counts
{
    qint64 videos = 0;
    qint64 completed = 0;
    qint64 doubtful = 0;
    qint64 failed = 0;
    qint64 missing = 0;

    void add(const QString& state)
    {
        ++(state == u"completed" ? completed : state == u"doubtful" ? doubtful : state == u"failed" ? failed : missing);
    }
};

void print(const QByteArray& text)
{
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
}

/// What is the case now: a clip that has gone, or is another file, is missing.
QString stateOf(const ClipRecord& clip, const FileURL& folder)
{
    const bool isWritten = clip.state == ClipState::completed || clip.state == ClipState::doubtful;
    if (clip.state == ClipState::planned ||
        (isWritten && !(clip.mark && clip.mark->holdsFor(folder.appendingPathComponent(clip.output)))))
        return u"missing"_s;
    return wordOf(clip.state);
}

QString sentenceOf(const QString& name, const QString& state, const QString& reason)
{
    if (state == u"missing")
        return u"%1：缺少"_s.arg(name);
    return (state == u"failed" ? u"%1：失败：%2"_s : u"%1：存疑：%2"_s).arg(name, reason);
}

/// Prints what is not as it should be, one thing after the other.
class Printer final
{
public:
    explicit Printer(bool isJson)
        : m_isJson(isJson)
    {
        if (m_isJson)
            print("{\"clips\":[");
    }

    void add(const VideoRecord& video, const QString& output, const QString& state, const QString& reason)
    {
        if (!m_isJson) {
            const QString name = output.isEmpty() ? video.video.path() : video.folder + u'/' + output;
            print(inUsersLanguage(sentenceOf(printable(name), state, reason)).toUtf8() + '\n');
            return;
        }
        const QJsonObject object{{u"video"_s, video.video.path()},
                                 {u"output"_s, output.isEmpty() ? QString() : video.folder + u'/' + output},
                                 {u"state"_s, state},
                                 {u"reason"_s, inUsersLanguage(reason)}};
        print(m_separator + QJsonDocument(object).toJson(QJsonDocument::Compact));
        m_separator = ",\n";
    }

    void end(const Counts& counts)
    {
        const auto text = [](qint64 number) { return QString::number(number); };
        if (!m_isJson) {
            print(inUsersLanguage(
                      u"%1 个已完成，%2 个存疑，%3 个失败，%4 个缺少。"_s.arg(
                          text(counts.completed), text(counts.doubtful), text(counts.failed), text(counts.missing)))
                      .toUtf8() +
                  '\n');
            return;
        }
        const QJsonObject object{{u"videos"_s, counts.videos},
                                 {u"completed"_s, counts.completed},
                                 {u"doubtful"_s, counts.doubtful},
                                 {u"failed"_s, counts.failed},
                                 {u"missing"_s, counts.missing}};
        print("]," + QJsonDocument(object).toJson(QJsonDocument::Compact).sliced(1) + '\n');
    }

private:
    const bool m_isJson;
    QByteArray m_separator = "\n";
};

} // namespace

int statusCommand(const CommandLine& line)
{
    const FileURL folder = FileURL::fromUserPath(line.operands.first());
    if (!QFileInfo::exists(BatchFolder::manifest(folder).path()) &&
        !QFileInfo::exists(BatchFolder::journal(folder).path()))
        throw UsageError(u"%1 里没有 kestrel-batch 的清单。"_s.arg(folder.path()));
    Manifest manifest(folder);
    Printer printer(line.json);
    Counts counts;
    for (const QString& name : manifest.videos()) {
        const auto video = manifest.record(name);
        if (!video)
            continue;
        ++counts.videos;
        if (!video->reason.isEmpty()) {
            counts.add(u"failed"_s);
            printer.add(*video, {}, u"failed"_s, video->reason);
        }
        for (const ClipRecord& clip : video->clips) {
            const QString state = stateOf(clip, folder.appendingPathComponent(name));
            counts.add(state);
            if (state != u"completed")
                printer.add(*video, clip.output, state, clip.reason);
        }
    }
    printer.end(counts);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw OutputError(u"无法写到标准输出。"_s);
    return counts.doubtful + counts.failed + counts.missing > 0 ? ExitStatus::someFailed : ExitStatus::allRight;
}
