#include "CutLists/ChapterLists.h"
#include "CutLists/CsvText.h"
#include "CutLists/CutListError.h"
#include "CutLists/CutListKinds.h"
#include "CutLists/KestrelList.h"
#include "CutLists/ListTimes.h"
#include "CutLists/Timecode.h"
#include "Models/EventRejection.h"
#include "Models/JsonObjectReader.h"

#include <QtTest>

#include <algorithm>
#include <random>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

const QList<FrameRate> rates = {{24000, 1001}, {24, 1}, {25, 1},       {30000, 1001},
                                {30, 1},       {50, 1}, {60000, 1001}, {10, 1}};

double secondsAt(qint64 picture, const FrameRate& rate)
{
    return static_cast<double>(picture) * static_cast<double>(rate.denominator) / static_cast<double>(rate.numerator);
}

/// A list of random clips, now and then with a name that some format has to guard.
CutList randomList(std::mt19937& random, const FrameRate& rate, unsigned mostClips)
{
    const QStringList names = {u"a,b"_s,      u"\"q\" ;x"_s, u"中文 名字"_s, u"😀.mp4"_s, u"tab\there"_s,
                               u"= # \\ ;"_s, u"<&>"_s,      u"new\nline"_s, u"plain"_s};
    CutList list;
    list.title = u"A film"_s;
    list.video = FileURL(u"/films/100% #1 电影.mkv"_s);
    list.rate = rate;
    list.pictureCount = 6'000'000;
    list.duration = secondsAt(list.pictureCount, rate);
    if (random() % 2 == 0)
        list.startTimecode = StartTimecode{static_cast<qint64>(random() % 100'000), random() % 2 == 0};
    qint64 picture = 0;
    const unsigned longest = mostClips > 100 ? 400 : 3000; // an EDL tells 24 hours apart
    const auto count = 1 + random() % mostClips;
    for (unsigned i = 0; i < count; ++i) {
        const qint64 first = picture + static_cast<qint64>(random() % 50);
        picture = first + 1 + static_cast<qint64>(random() % longest);
        list.items.append({names[static_cast<qsizetype>(random() % static_cast<unsigned>(names.size()))],
                           secondsAt(first, rate),
                           secondsAt(picture, rate),
                           true,
                           {},
                           PictureRange{first, picture}});
    }
    return list;
}

/// The pictures that an item stands for: its own numbers, else those whose times lie in it.
PictureRange picturesIn(const CutListItem& item, const FrameRate& rate)
{
    const auto numberFrom = [&](double seconds) {
        return static_cast<qint64>(std::ceil(seconds * rate.perSecond() - 0.05));
    };
    return item.pictures.value_or(PictureRange{numberFrom(item.start), numberFrom(item.end)});
}

QString messageOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const CutListError& error) {
        return QString::fromUtf8(error.what());
    }
    return u"nothing thrown"_s;
}

} // namespace

class CutListsTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void timecodes()
    {
        const FrameRate ntsc{30000, 1001};
        using Rows = QList<std::tuple<FrameRate, bool, qint64, QString>>;
        for (const auto& [rate, drops, picture, text] :
             Rows{{{24000, 1001}, true, 86'400, u"01:00:00:00"_s}, // nothing is dropped at 23.976
                  {ntsc, true, 1799, u"00:00:59;29"_s},
                  {ntsc, true, 1800, u"00:01:00;02"_s},
                  {ntsc, true, 17'982, u"00:10:00;00"_s},
                  {ntsc, false, 108'000, u"01:00:00:00"_s},
                  {{60000, 1001}, true, 3600, u"00:01:00;04"_s}}) {
            QCOMPARE(formatTimecode(picture, TimecodeCounting::of(rate, drops)), text);
        }
        const auto counting = TimecodeCounting::of(ntsc, true);
        for (const QString& text : {u"00:01:00;00"_s, u"00:00:60;00"_s, u"00:00:00;30"_s, u"00:00:00"_s, u"x"_s})
            QVERIFY2(!parseTimecode(text, counting), qPrintable(text));
        for (const FrameRate& rate : rates) {
            for (const bool drops : {false, true}) {
                const auto all = TimecodeCounting::of(rate, drops);
                for (qint64 picture = 0; picture < 40'000; ++picture) {
                    if (parseTimecode(formatTimecode(picture, all), all) != picture)
                        QFAIL(qPrintable(formatTimecode(picture, all)));
                }
            }
        }
    }

    /// Every kind tells the same pictures again, at every rate, whatever the names are.
    void thereAndBack()
    {
        const int rounds = std::max(qEnvironmentVariableIntValue("KESTREL_LISTS"), 80);
        for (const CutListKind& kind : cutListKinds()) {
            std::mt19937 random(20261122);
            for (int round = 0; round < rounds; ++round) {
                const FrameRate rate = rates[round % rates.size()];
                const CutList list = randomList(random, rate, round < 80 ? 60 : 3000);
                CutList video = list;
                video.items.clear();
                QList<CutListItem> read;
                for (const QByteArray& written : kind.write(list))
                    read += readCutList(kind.suffix, written, video).items;
                QVERIFY2(read.size() == list.items.size(), qPrintable(kind.id));
                for (qsizetype i = 0; i < list.items.size(); ++i) {
                    QVERIFY2(picturesIn(read[i], rate) == *list.items[i].pictures, qPrintable(kind.id));
                    if (!QStringList({u"edl"_s, u"scenes"_s, u"mkvxml"_s}).contains(kind.id))
                        QVERIFY2(read[i].name == list.items[i].name, qPrintable(list.items[i].name));
                }
            }
        }
    }

    void longEdlIsSplit()
    {
        CutList list;
        list.rate = FrameRate{25, 1};
        for (qint64 i = 0; i < 2000; ++i)
            list.items.append({{}, 0, 0, true, {}, PictureRange{i * 10, i * 10 + 5}});
        const auto& edl = cutListKinds().at(1);
        const QList<QByteArray> files = edl.write(list);
        QCOMPARE(files.size(), 3);
        QVERIFY(files[1].startsWith("TITLE: KESTREL\nFCM: NON-DROP FRAME\n\n001  AX       V     C        00:06:39:15 "
                                    "00:06:39:20 01:00:00:00 01:00:00:05\n"));
        list.items.append({{}, 0, 0, true, {}, PictureRange{0, 25 * 86'400 + 1}});
        QVERIFY(messageOf([&] { edl.write(list); }).contains(u"24 小时"_s));
        list.rate.reset();
        QVERIFY(messageOf([&] { edl.write(list); }).contains(u"帧率是变化的"_s));

        CutList film; // past midnight
        film.rate = FrameRate{25, 1};
        film.startTimecode = StartTimecode{25 * 86'390, false};
        film.items = {{{}, 0, 0, true, {}, PictureRange{25, 500}}};
        QCOMPARE(edl.read(edl.write(film).first(), film).items.first().pictures, film.items.first().pictures);
    }

    /// A suffix, a text, and the starts and ends in turns.
    void foreignLists()
    {
        CutList video;
        video.rate = FrameRate{25, 1};
        video.duration = 100;
        using Rows = QList<std::tuple<QString, QByteArray, QList<double>>>;
        for (const auto& [suffix, text, times] :
             Rows{// byte order mark, semicolons, decimal commas
                  {u"csv"_s,
                   "\xef\xbb\xbf"
                   "1,5;2,5;a\r\n3;4,25;b\r\n",
                   {1.5, 2.5, 3, 4.25}},
                  {u"txt"_s, "\t0:00:02.5\n0:01:00\t\n", {0, 2.5, 60, 100}}, // open ends
                  {u"csv"_s, "1.0,2.0,a;b\n", {1, 2}},
                  {u"csv"_s, "名称,结束时间,开始时间\nx,2,1\n", {1, 2}},
                  {u"llc"_s,
                   "{ // x\n version: 1, cutSegments: [{start: .5, end: 2., name: 'it\\'s',}, {start: 3},], }",
                   {0.5, 2, 3, 100}},
                  // scenes without the first row
                  {u"csv"_s,
                   "Scene Number,Start Frame,Start Timecode,Start Time (seconds),End Frame,End Timecode,"
                   "End Time (seconds),Length (frames),Length (timecode),Length (seconds)\n"
                   "1,26,00:00:01.000,1.000,50,00:00:02.000,2.000,25,00:00:01.000,1.000\n",
                   {1, 2}},
                  // an editor's, with sound, a comment and a dissolve
                  {u"edl"_s,
                   "TITLE: X\r\n001  AX  AA C 00:00:01:00 00:00:02:00 01:00:00:00 01:00:01:00\r\n"
                   "002  AX  V  C 00:00:01:00 00:00:02:00 01:00:00:00 01:00:01:00\r\n* A COMMENT\r\n"
                   "003  AX  V  D 012 00:00:03:00 00:00:04:00 01:00:01:00 01:00:02:00\r\n",
                   {1, 2, 3, 4}},
                  {u"xml"_s,
                   "<Chapters><EditionEntry><ChapterAtom><ChapterTimeStart>00:00:01.5</ChapterTimeStart>"
                   "</ChapterAtom><ChapterAtom><ChapterTimeStart>00:00:03</ChapterTimeStart></ChapterAtom>"
                   "</EditionEntry></Chapters>",
                   {1.5, 3, 3, 100}},
                  {u"txt"_s,
                   ";FFMETADATA1\ntitle=x\n[CHAPTER]\nSTART=1000000000\nEND=2000000000\n[STREAM]\n",
                   {1, 2}}}) {
            QList<double> read;
            for (const CutListItem& item : readCutList(suffix, text, video).items) {
                const bool isNumbered = item.pictures.has_value();
                read << (isNumbered ? secondsAt(item.pictures->first, *video.rate) : item.start)
                     << (isNumbered ? secondsAt(item.pictures->end, *video.rate) : item.end);
            }
            QVERIFY2(read == times, text.constData());
        }
    }

    void refusedLists()
    {
        CutList video;
        video.rate = FrameRate{25, 1};
        const auto refusal = [&](const QString& suffix, const QByteArray& text) {
            return messageOf([&] { std::ignore = readCutList(suffix, text, video); });
        };
        QCOMPARE(refusal(u"csv"_s, "1,2,a\n3,x,b\n"), u"第 2 行：“x”不是时间。"_s);
        QCOMPARE(refusal(u"csv"_s, "start,end\n\"a\nb\",2\n"), u"第 2 行：“a\nb”不是时间。"_s);
        QCOMPARE(refusal(u"csv"_s, "2,1\n"), u"第 1 行：结束时间必须大于开始时间。"_s);
        QCOMPARE(refusal(u"edl"_s, "TITLE: x\n001 AX V C 00:00:01:25 00:00:02:00 01:00:00:00 01:00:01:00\n"),
                 u"第 2 行：时间码不符合这个视频的帧率。"_s);
        for (const QString& suffix : {u"csv"_s, u"edl"_s, u"otio"_s, u"llc"_s, u"xml"_s, u"ffmeta"_s, u"unknown"_s}) {
            for (const QByteArray& text : {QByteArray(), QByteArray("\xff\xfe"), QByteArray("{}"), QByteArray("<a>")})
                QVERIFY(refusal(suffix, text) != u"nothing thrown"_s);
        }
    }

    /// Clips that overlap or lie beyond the video are refused, unless the list was stored so.
    void irregularLists()
    {
        KestrelList document;
        document.video = {u"/a.mp4"_s, 7, 60};
        document.list.segments = {{1, true, 0, 10, false}, {2, false, 5, 20, false}, {3, true, 10, 60.01, true}};
        QByteArray stored = encodeKestrelList(document);
        QVERIFY(!stored.contains("irregular"));
        const auto refusal = [&](const QByteArray& from, const QByteArray& to) {
            try {
                return decodeKestrelList(QByteArray(stored).replace(from, to)).list.segments.isEmpty() ? u"lost"_s
                                                                                                       : QString();
            } catch (const PayloadDecodingError& error) {
                return error.description();
            }
        };
        QCOMPARE(refusal("x", "x"), QString());
        QCOMPARE(refusal("\"start\":10", "\"start\":9.5"), u"第 1 个和第 3 个片段在 00:00:09.500 处重叠。"_s);
        QCOMPARE(refusal("60.01", "75"),
                 u"第 3 个片段（00:00:10.000 至 00:01:15.000）超出了视频的时长 00:01:00.000。"_s);
        document.list.segments[2].start = 9;
        stored = encodeKestrelList(document);
        QCOMPARE(refusal("x", "x"), QString());
    }

    /// All events rejected and restored in random orders leave the list as the detector proposed it.
    void rejectedAndRestored()
    {
        constexpr int count = 300;
        DetectorPayload payload;
        for (int i = 0; i <= count; ++i)
            payload.keepSegments.append({i + 1, i * 10 + (i % 3 == 0 ? 0.0 : 0.5), i * 10 + 10.0, 0});
        for (int i = 0; i < count; ++i)
            payload.events.append({i, u"cut"_s, i * 10 + 10.0, payload.keepSegments[i + 1].start, 0, 1, {}});
        const QList<EditableSegment> detected = buildEditableSegments(payload);
        std::mt19937 random(7);
        for (int round = 0; round < 5; ++round) {
            QList<EditableSegment> segments = detected;
            segments[5].end = 59.75; // retimed by hand: comes back as it was
            const QList<EditableSegment> before = segments;
            EndsBeforeJoin ends;
            QList<TransitionEvent> events = payload.events;
            std::shuffle(events.begin(), events.end(), random);
            for (const TransitionEvent& event : events)
                QCOMPARE(rejectEvent(event, segments, ends), std::nullopt);
            QCOMPARE(std::count_if(segments.begin(), segments.end(), [](const auto& each) { return each.isEnabled; }),
                     1);
            std::shuffle(events.begin(), events.end(), random);
            for (const TransitionEvent& event : events) {
                QVERIFY(isRejected(event, segments, payload.keepSegments));
                QCOMPARE(restoreEvent(event, segments, ends, payload.keepSegments), std::nullopt);
                QVERIFY(!isRejected(event, segments, payload.keepSegments));
            }
            QCOMPARE(segments, before);
        }
        QList<EditableSegment> segments = detected;
        EndsBeforeJoin ends;
        segments[3].isEnabled = false;
        QCOMPARE(rejectEvent(payload.events[2], segments, ends), u"后面的片段已停用，没有合并。"_s);
    }
};

QTEST_GUILESS_MAIN(CutListsTest)
#include "tst_CutLists.moc"
