// What the campaign `lists` hands to other programs, by the program's own functions:
//   list_files timecodes NUMERATOR DENOMINATOR DROPS COUNT   the timecodes of COUNT pictures, a line each
//   list_files export VIDEO FOLDER COUNT SEED                random clips of a film as lists of all kinds
//   list_files read KIND VIDEO FILE                          what a list says to us: start, end and name of each clip

#include "CutLists/CutListKinds.h"
#include "CutLists/ListTimes.h"
#include "CutLists/Timecode.h"
#include "Frames/PictureNumbers.h"
#include "Models/JobBuilder.h"
#include "Services/RuntimeResolver.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>
#include <random>

using namespace Qt::StringLiterals;

namespace {

void printLine(const QString& text)
{
    std::printf("%s\n", qPrintable(text));
}

int writeTimecodes(const QStringList& words)
{
    const FrameRate rate{words.value(2).toLongLong(), words.value(3).toLongLong()};
    const auto counting = TimecodeCounting::of(rate, words.value(4) == u"1");
    for (qint64 picture = 0; picture < words.value(5).toLongLong(); ++picture)
        printLine(formatTimecode(picture, counting));
    return 0;
}

FilmTimes scanned(const FileURL& video)
{
    RuntimeConfiguration runtime;
    runtime.ffmpegURL = RuntimeResolver::firstExecutable(RuntimeResolver::ffmpegCandidates()).value();
    FilmScan scan(video, runtime, FilmScan::Extent::allFrames);
    QEventLoop loop;
    std::optional<FilmTimes> read;
    scan.onEnd = [&](const auto& film, const QString& failure) {
        if (!film)
            qFatal("%s", qPrintable(failure));
        read = film;
        loop.quit();
    };
    scan.start();
    loop.exec();
    return *read;
}

CutList described(const FileURL& video, const FilmTimes& film)
{
    CutList list;
    list.video = video;
    list.title = video.baseName();
    list.duration = film.duration.value_or(0);
    describeFilm(list, film);
    return list;
}

/// Clips in whole milliseconds, as the window's times are.
QList<EditableSegment> randomSegments(double duration, int count, unsigned seed)
{
    std::mt19937 random(seed);
    QList<EditableSegment> segments;
    const int room = static_cast<int>(duration * 1000) / count;
    for (int i = 0; i < count; ++i) {
        const int start = i * room + static_cast<int>(random() % static_cast<unsigned>(room / 3));
        const int length = 100 + static_cast<int>(random() % static_cast<unsigned>(room / 2));
        segments.append({i, true, start / 1000.0, (start + length) / 1000.0, false});
    }
    return segments;
}

QJsonArray described(const QList<FFmpegJob>& jobs, const CutList& list)
{
    QJsonArray clips;
    for (qsizetype i = 0; i < jobs.size(); ++i)
        clips.append(QJsonObject{{u"name"_s, list.items[i].name},
                                 {u"words"_s, QJsonArray::fromStringList(jobs[i].arguments())},
                                 {u"first"_s, list.items[i].pictures->first},
                                 {u"end"_s, list.items[i].pictures->end}});
    return clips;
}

bool write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

int exportAll(const QStringList& words)
{
    const FileURL video(words.value(2));
    const FileURL folder(words.value(3));
    const FilmTimes film = scanned(video);
    CutList list = described(video, film);
    const auto segments = randomSegments(list.duration, words.value(4).toInt(), words.value(5).toUInt());
    const QList<FFmpegJob> jobs = buildJobs(segments, video, folder, u"镜头, \"a\" = #1; 😀"_s, std::nullopt);
    for (qsizetype i = 0; i < jobs.size(); ++i)
        list.items.append(
            {jobs[i].outputURL.lastPathComponent(), segments[i].start, segments[i].end, true, u"fade"_s, {}});
    CutList counted = list;
    numberPictures(counted, film);
    bool isWritten = write(folder.path() + u"/clips.json"_s, QJsonDocument(described(jobs, counted)).toJson());
    for (const CutListKind& kind : cutListKinds()) {
        const bool counts =
            kind.pictures == PictureUse::needed || (kind.pictures == PictureUse::welcome && beginsAtZero(film));
        if (kind.pictures == PictureUse::needed && !counted.rate)
            continue;
        isWritten &=
            write(folder.path() + u'/' + kind.id + u'.' + kind.suffix, kind.write(counts ? counted : list).first());
    }
    return isWritten ? 0 : 1;
}

int readList(const QStringList& words)
{
    const auto& kinds = cutListKinds();
    const auto kind =
        std::find_if(kinds.begin(), kinds.end(), [&](const auto& each) { return each.id == words.value(2); });
    QFile file(words.value(4));
    if (kind == kinds.end() || !file.open(QIODevice::ReadOnly))
        return 2;
    const FileURL video(words.value(3));
    const FilmTimes film = scanned(video);
    CutList list = kind->read(file.readAll(), described(video, film));
    timePictures(list, film);
    for (CutListItem& item : list.items)
        std::tie(item.start, item.end) = wholeMilliseconds(item.start, item.end);
    numberPictures(list, film);
    QJsonArray clips;
    for (const CutListItem& item : list.items)
        clips.append(QJsonArray{item.pictures->first, item.pictures->end, item.name});
    printLine(QString::fromUtf8(QJsonDocument(clips).toJson(QJsonDocument::Compact)));
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList words = QCoreApplication::arguments();
    if (words.value(1) == u"timecodes")
        return writeTimecodes(words);
    return words.value(1) == u"export" ? exportAll(words) : readList(words);
}
