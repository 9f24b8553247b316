#include "Jobs/ClipVerification.h"
#include "Models/EventSummary.h"
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

    void doubtsAboutClips()
    {
        const FFmpegJob job{1, {}, {}, 0, 2, {}};
        FFmpegReport good;
        good.sourceDuration = 60;
        good.frameRate = 25;
        good.frames = 50;
        good.outTime = 2;
        good.hasSound = true;
        FFmpegReport report = good;
        const auto doubt = [&](ClipContent content = ClipContent::playable) {
            return doubtAboutClip(job, std::exchange(report, good), 1000, content).value_or(ClipDoubt()).text;
        };
        QCOMPARE(doubt(), QString());
        QCOMPARE(doubt(ClipContent::unknown), QString());
        QCOMPARE(doubt(ClipContent::broken), u"片段无法播放"_s);
        report.frames = 0;
        QCOMPARE(doubt(), u"没有写出任何画面"_s);
        report.frames = 49;
        QCOMPARE(doubt(), u"只写出 49 个画面，应为 50 个"_s);
        report.frames = 47;
        report.frameRate = 24000.0 / 1001; // does not fill the piece
        QCOMPARE(doubt(), QString());
        report.repeatedFrames = 1;
        QCOMPARE(doubt(), u"只写出 49 个画面，应为 50 个"_s);
        report.frames = 30; // a rate that varies under sound that does not
        QCOMPARE(doubt(), QString());
        report.frames = 30;
        report.startsAtKeyFrames = true; // pictures lost under sound
        QCOMPARE(doubt(), u"只写出 1.200s，应为 2.000s"_s);
        report.frames = 30;
        report.sourceStart = -0.8;
        QCOMPARE(doubt(), u"只写出 30 个画面，应为 50 个"_s);
        report.frames = 40;
        report.sourceDuration = 2; // pictures that are over before the sound
        QCOMPARE(doubt(), QString());
        report.frames.reset();
        report.outTime = 1;
        QCOMPARE(doubt(), u"只写出 1.000s，应为 2.000s"_s);
        report.fault = u"damaged"_s;
        QCOMPARE(doubt(), u"ffmpeg 报告了错误：damaged"_s);
        QVERIFY(doubtAboutClip(job, good, std::nullopt, ClipContent::playable)->isWorthless);
        QCOMPARE(doubtAboutClip(job, good, 0, ClipContent::playable)->text, u"输出文件是空的"_s);
    }

    void eventSummary()
    {
        DetectorPayload payload;
        payload.video = u"%1.mp4"_s;
        payload.keepSegments = {{}, {}};
        payload.events = {{7, u"fade"_s, 0.0625, 1e3, -0.5, 9, u"%2"_s}, {-1, u"cut"_s, 0, 0, 0, 0, u"s"_s}};
        QCOMPARE(buildEventSummary(payload), u"视频: %1.mp4\n检测到换场: 2\n保留片段: 2\n\n"
                                             "007 fade start=0.062 end=1000.000 duration=-0.500 source=%2\n"
                                             "-01 cut start=0.000 end=0.000 duration=0.000 source=s"_s);
    }
};

QTEST_GUILESS_MAIN(Jobs)
#include "tst_Jobs.moc"
