#include "CutLists/CutListError.h"
#include "Frames/PictureNumbers.h"
#include "Models/FFmpegJob.h"
#include "NumberedVideo.h"
#include "Services/RuntimeResolver.h"

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

using namespace Qt::StringLiterals;

namespace {

/// A film whose pictures stand at their times, each rounded to a tick as a file has to.
FilmTimes filmOf(const FrameRate& rate, qint64 ticksPerSecond, int count, qint64 firstTicks = 0)
{
    FilmTimes film;
    film.clock = {1, ticksPerSecond, rate.numerator, rate.denominator};
    for (qint64 i = 0; i < count; ++i)
        film.frames.append(firstTicks + rescaled(i, ticksPerSecond * rate.denominator, rate.numerator));
    return film;
}

FilmTimes scanned(const QString& path)
{
    std::optional<FilmTimes> film;
    QString reason = u"no end"_s;
    RuntimeConfiguration runtime;
    runtime.ffmpegURL = RuntimeResolver::firstExecutable(RuntimeResolver::ffmpegCandidates()).value();
    FilmScan scan(FileURL(path), runtime, FilmScan::Extent::allFrames);
    scan.onEnd = [&](const auto& read, const QString& failure) {
        film = read;
        reason = failure;
    };
    scan.start();
    [&] { QTRY_VERIFY_WITH_TIMEOUT(reason != u"no end", 30'000); }();
    if (!film)
        qFatal("%s", qPrintable(reason));
    return *film;
}

} // namespace

class PictureNumbersTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// The times that are found for pictures cut just these, whatever the rate and however coarse the file's clock is.
    void thereAndBack()
    {
        std::mt19937 random(22);
        for (const FrameRate& rate : {FrameRate{24000, 1001}, FrameRate{24, 1}, FrameRate{25, 1},
                                      FrameRate{30000, 1001}, FrameRate{50, 1}, FrameRate{60000, 1001}}) {
            for (const qint64 ticks : {rate.numerator, qint64(1000), qint64(90'000)}) {
                const int count = 200'000;
                const FilmTimes film = filmOf(rate, ticks, count);
                QCOMPARE(constantRateOf(film), std::optional(rate));
                CutList list;
                qint64 first = 0;
                while (first + 4000 < count) {
                    const qint64 end = first + 1 + static_cast<qint64>(random() % 2000);
                    list.items.append({{}, 0, 0, true, {}, PictureRange{first, end}});
                    first = end + static_cast<qint64>(random() % 3);
                }
                CutList found = list;
                timePictures(found, film);
                for (CutListItem& item : found.items)
                    item.pictures.reset();
                numberPictures(found, film);
                for (qsizetype i = 0; i < list.items.size(); ++i)
                    QCOMPARE(found.items[i].pictures, list.items[i].pictures);
            }
        }
    }

    void constantRates()
    {
        FilmTimes film = filmOf({25, 1}, 1000, 1000);
        film.clock.rateNumerator = 50; // a file may tell its fields
        QCOMPARE(constantRateOf(film), std::optional(FrameRate{25, 1}));
        film.clock.startMicroseconds = -20'000;
        QVERIFY(!beginsAtZero(film));
        film.frames.removeAt(500);
        QCOMPARE(constantRateOf(film), std::nullopt);
        QCOMPARE(constantRateOf(FilmTimes()), std::nullopt);

        CutList list;
        list.items = {{{}, 0, 0, true, {}, PictureRange{990, 1000}}};
        QVERIFY_THROWS_EXCEPTION(CutListError, timePictures(list, film));
        list.items = {{{}, 50, 60, true, {}, {}}};
        QVERIFY_THROWS_EXCEPTION(CutListError, numberPictures(list, film));
    }

    void realFilms_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("rate");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("timecode");
        QTest::newRow("packets, numbers dropped")
            << u"a.mp4"_s << u"30000/1001"_s
            << QStringList{u"-timecode"_s, u"01:00:00;02"_s, u"-pix_fmt"_s, u"yuv420p"_s} << u"01:00:00;02"_s;
        QTest::newRow("milliseconds") << u"a.mkv"_s << u"24000/1001"_s << QStringList{u"-pix_fmt"_s, u"yuv420p"_s}
                                      << QString();
        QTest::newRow("decoded") << u"a.mov"_s << u"25"_s << QStringList{u"-c:v"_s, u"mpeg4"_s, u"-bf"_s, u"2"_s}
                                 << QString();
    }

    /// Every picture of a real file is found, and a clip that is really cut holds those that are told.
    void realFilms()
    {
        QFETCH(const QString, file);
        QFETCH(const QString, rate);
        QFETCH(const QStringList, options);
        QFETCH(const QString, timecode);
        const QTemporaryDir folder;
        const QString path = folder.filePath(file);
        QVERIFY(NumberedVideo::make(path, rate, 300, options));
        const FilmTimes film = scanned(path);
        QCOMPARE(film.frames.size(), 300);
        QCOMPARE(QString::fromLatin1(film.startTimecode), timecode);
        CutList list;
        describeFilm(list, film);
        const QStringList fraction = (rate + u"/1"_s).split(u'/');
        QCOMPARE(list.rate, std::optional(FrameRate{fraction[0].toLongLong(), fraction[1].toLongLong()}));
        QCOMPARE(list.startTimecode.has_value(), !timecode.isEmpty());

        list.items = {{{}, 3.21, 5.43, true, {}, {}}};
        numberPictures(list, film);
        const PictureRange range = *list.items[0].pictures;
        const FileURL clip(folder.filePath(u"clip."_s + FileURL(path).pathExtension()));
        const FFmpegJob job{1, FileURL(path), clip, 3.21, 5.43 - 3.21, {}};
        QCOMPARE(QProcess::execute(u"ffmpeg"_s, QStringList{u"-v"_s, u"error"_s, u"-nostdin"_s} + job.arguments()), 0);
        QList<int> expected(range.count());
        std::iota(expected.begin(), expected.end(), static_cast<int>(range.first));
        QList<int> shown = NumberedVideo::numbers(clip.path());
        shown.erase(std::unique(shown.begin(), shown.end()), shown.end()); // ffmpeg may repeat the first
        QCOMPARE(shown, expected);
    }
};

QTEST_GUILESS_MAIN(PictureNumbersTest)
#include "tst_PictureNumbers.moc"
