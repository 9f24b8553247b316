#include "Jobs/ClipVerification.h"
#include "Models/EventSummary.h"
#include "Models/FadeRemovalStrategy.h"
#include "Models/JobBuilder.h"

#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const FileURL video(u"/v/long film.mp4"_s);
const FileURL folder(u"/out"_s);

QStringList fileNames(const QList<FFmpegJob>& jobs)
{
    QStringList names;
    for (const FFmpegJob& job : jobs)
        names << job.outputURL.lastPathComponent();
    return names;
}

} // namespace

class Jobs final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlyEnabledSegmentsWithALengthAreNumbered()
    {
        DetectorPayload payload;
        payload.keepSegments = {{5, 0, 2, 99}, {6, 3, 3, 1}, {7, 9, 4, 1}, {8, 4, 6, 2}, {9, 7, 8, 1}};
        QList<EditableSegment> segments = buildEditableSegments(payload);
        QCOMPARE(segments.size(), 5);
        QCOMPARE(segments[2], (EditableSegment{7, true, 9, 4, false}));
        QCOMPARE(segments[2].duration(), 0.0);
        segments[3].isEnabled = false;

        const auto jobs = buildJobs(segments, video, folder, u"a/b"_s, CropParameters{2, 4, 0, 1});
        QCOMPARE(fileNames(jobs), QStringList({u"a-b-01.mp4"_s, u"a-b-02.mp4"_s}));
        QCOMPARE(jobs[1], (FFmpegJob{2, video, FileURL(u"/out/a-b-02.mp4"_s), 7, 1, CropParameters{2, 4, 0, 1}}));
        QVERIFY(buildJobs({}, video, folder, u"x"_s, std::nullopt).isEmpty());
    }

    void namesFollowTheVideo()
    {
        const QList<EditableSegment> one = {{0, true, 0, 1, false}};
        QCOMPARE(fileNames(buildJobs(one, video, folder, u" "_s, std::nullopt)), QStringList(u"long film-01.mp4"_s));
        QCOMPARE(fileNames(buildJobs(one, FileURL(u"/v/film"_s), folder, u"/"_s, std::nullopt)),
                 QStringList(u"film-01"_s));
        QCOMPARE(fileNames(buildJobs(one, FileURL(u"/v/.x"_s), folder, u""_s, std::nullopt)), QStringList(u".x-01"_s));
    }

    void argumentsInTheirOrder()
    {
        FFmpegJob job = {1, video, FileURL(u"/out/c-01.mp4"_s), 12.5, 30, CropParameters{1280, 720, 0, 40}};
        QCOMPARE(job.executionArguments().join(u'|'), u"-y|-hide_banner|-nostdin|-stats_period|0.5|-progress|pipe:2|-"
                                                      u"ss|12.5|-i|/v/long film.mp4|-t|30|-strict|-2|"
                                                      "-vf|crop=1280:720:0:40|/out/c-01.mp4"_s);
        QCOMPARE(job.commandPreview(), u"ffmpeg -y -hide_banner -ss 12.5 -i \"/v/long film.mp4\" -t 30 -strict -2 -vf "
                                       "\"crop=1280:720:0:40\" /out/c-01.mp4"_s);
        job.crop.reset();
        job.start = -3;
        QCOMPARE(job.arguments().join(u'|'),
                 u"-y|-hide_banner|-ss|0|-i|/v/long film.mp4|-t|30|-strict|-2|/out/c-01.mp4"_s);
    }

    void doubtsAboutClips_data()
    {
        QTest::addColumn<FFmpegReport>("report");
        QTest::addColumn<ClipContent>("content");
        QTest::addColumn<QString>("doubt"); // of a clip of 2 seconds

        FFmpegReport good;
        good.sourceDuration = 60;
        good.frameRate = 25;
        good.frames = 50;
        good.outTime = 2;
        good.hasSound = true;
        const auto row = [](const char* name, const FFmpegReport& report, const QString& doubt,
                            ClipContent content = ClipContent::playable) {
            QTest::newRow(name) << report << content << doubt;
        };
        row("whole", good, {});
        row("a container that nothing is known of", good, {}, ClipContent::unknown);
        row("nothing to play", good, u"片段无法播放"_s, ClipContent::broken);
        FFmpegReport report = good;
        report.frames = 0;
        row("no picture", report, u"没有写出任何画面"_s);
        report.frames = 49;
        row("one picture less", report, u"只写出 49 个画面，应为 50 个"_s);
        report.frameRate = 24000.0 / 1001;
        report.frames = 47;
        row("a rate that does not fill the piece", report, {});
        report = good;
        report.repeatedFrames = 1;
        row("one picture twice", report, u"只写出 49 个画面，应为 50 个"_s);
        report = good;
        report.frames = 30;
        row("a rate that varies under sound that does not", report, {});
        report.startsAtKeyFrames = true;
        row("pictures lost under sound", report, u"只写出 1.200s，应为 2.000s"_s);
        report = good;
        report.frames = 30;
        report.sourceStart = -0.8;
        row("pictures before zero", report, u"只写出 30 个画面，应为 50 个"_s);
        report = good;
        report.sourceDuration = 2;
        report.frames = 40;
        row("pictures that are over before the sound", report, {});
        report = good;
        report.outTime = 1;
        report.frames.reset();
        row("too short", report, u"只写出 1.000s，应为 2.000s"_s);
        report = good;
        report.fault = u"damaged"_s;
        row("damage", report, u"ffmpeg 报告了错误：damaged"_s);
    }

    void doubtsAboutClips()
    {
        QFETCH(FFmpegReport, report);
        QFETCH(ClipContent, content);
        const auto doubt = doubtAboutClip(FFmpegJob{1, {}, {}, 0, 2, {}}, report, 1000, content);
        QTEST(doubt.value_or(ClipDoubt()).text, "doubt");
        QVERIFY(doubtAboutClip({}, report, std::nullopt, content)->isWorthless);
        QCOMPARE(doubtAboutClip({}, report, 0, content)->text, u"输出文件是空的"_s);
    }

    void eventSummary()
    {
        DetectorPayload payload;
        payload.video = u"%1.mp4"_s;
        payload.keepSegments = {{}, {}};
        QCOMPARE(buildEventSummary(payload), u"视频: %1.mp4\n检测到换场: 0\n保留片段: 2\n\n未检测到换场。"_s);
        payload.events = {{7, u"fade"_s, 0.0625, 1e3, -0.5, 9, u"%2"_s}, {-1, u"cut"_s, 0, 0, 0, 0, u"s"_s}};
        QCOMPARE(buildEventSummary(payload), u"视频: %1.mp4\n检测到换场: 2\n保留片段: 2\n\n"
                                             "007 fade start=0.062 end=1000.000 duration=-0.500 source=%2\n"
                                             "-01 cut start=0.000 end=0.000 duration=0.000 source=s"_s);
    }

    void strategies()
    {
        for (const auto& unknown : {std::optional<QString>(), std::optional(u"Standard"_s)})
            QVERIFY(FadeRemovalStrategy::fromPythonArgument(unknown) == FadeRemovalStrategy::aggressive);
        for (const FadeRemovalStrategy strategy : FadeRemovalStrategy::allCases)
            QVERIFY(FadeRemovalStrategy::fromPythonArgument(strategy.rawValue()) == strategy);
    }
};

QTEST_GUILESS_MAIN(Jobs)
#include "tst_Jobs.moc"
