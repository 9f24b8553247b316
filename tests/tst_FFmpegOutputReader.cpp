#include "Models/FFmpegOutputReader.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QByteArray banner = "ffmpeg stats and -progress period set to 0.5.\n"
                          "Input #0, mov,mp4,m4a,3gp,3g2,mj2, from 'error 9 fps.mp4':\n"
                          "  Metadata:\n"
                          "    title           : Duration: failed\n"
                          "  Duration: 01:00:02.50, start: 0.000000, bitrate: 673 kb/s\n"
                          "  Stream #0:0[0x1](und): Video: h264 (High), yuv420p, 640x360, 670 kb/s, 50 fps, 50 tbr\n"
                          "[libx264 @ 0x556104971e40] profile High, level 3.0, 4:2:0, 8-bit\n"
                          "Output #0, mp4, to '/a/o.mp4':\n"
                          "  Stream #0:0(und): Audio: aac (LC), 48000 Hz, mono, fltp, 69 kb/s\n"
                          "  Stream #0:1(und): Video: h264, yuv420p, 640x360, q=2-31, 29.97 fps, 12800 tbn\n";
const QByteArray firstBlock = "frame=   92 fps=0.0 q=28.0 size=  0kB time=00:00:01.72 speed=2.87x    \rframe=92\n"
                              "fps=0.00\nout_time_us=1720078\nspeed=2.87x\nprogress=continue\n";

FFmpegReport read(const QByteArray& output, qsizetype chunkSize)
{
    FFmpegOutputReader reader;
    for (qsizetype start = 0; start < output.size(); start += chunkSize)
        reader.append(output.mid(start, chunkSize));
    reader.finish();
    return reader.report();
}

} // namespace

class FFmpegOutputReaderTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void chunksMayBeCutAnywhere()
    {
        for (const qsizetype chunkSize : {1, 2, 3, 7, 64, 100'000}) {
            const FFmpegReport report = read(banner + firstBlock, chunkSize);
            QCOMPARE(report.sourceDuration, std::optional(3602.5));
            QCOMPARE(report.frameRate, std::optional(30000.0 / 1001));
            QVERIFY(report.hasSound);
            QCOMPARE(report.frames, std::optional<qint64>(92));
            QCOMPARE(report.outTime, std::optional(1.720078));
            QCOMPARE(report.speed, std::optional(2.87));
            QCOMPARE(report.length(), std::optional(92 / (30000.0 / 1001)));
            QCOMPARE(report.lastError, QString());
        }
    }

    void frameRates_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QByteArray>("clip");
        QTest::addColumn<std::optional<double>>("rate");
        using Rate = std::optional<double>;
        QTest::newRow("film on television")
            << QByteArray("23.98 fps, 23.98 tbr") << QByteArray("23.98 fps") << Rate(24000.0 / 1001);
        QTest::newRow("whole") << QByteArray("5 fps, 5 tbr") << QByteArray("5 fps") << Rate(5);
        QTest::newRow("odd") << QByteArray("12.50 fps, 12.50 tbr") << QByteArray("12.50 fps") << Rate(12.5);
        QTest::newRow("varying") << QByteArray("15.17 fps, 25 tbr") << QByteArray("25 fps") << Rate();
        QTest::newRow("none") << QByteArray("90k tbr") << QByteArray("q=2-31") << Rate();
    }

    void frameRates()
    {
        QFETCH(QByteArray, source);
        QFETCH(QByteArray, clip);
        const FFmpegReport report =
            read("Input #0, mpeg, from 'a':\n  Stream #0:0[0x1e0]: Video: h264, " + source +
                     ", 90k tbn\nOutput #0, mp4, to 'o':\n  Stream #0:0: Video: h264, " + clip + ", 90k tbn\n",
                 100);
        QTEST(report.frameRate, "rate");
        QVERIFY(!report.hasSound);
    }

    void soundDecodersNeedAFrameToFindTheirFeet()
    {
        const QByteArray input = "Input #0, mpeg, from 'a':\n  Stream #0:1[0x1c0]: Audio: mp2, 44100 Hz\n";
        const QByteArray output = "Output #0, mpeg, to 'o':\n  Stream #0:1: Audio: mp2, 44100 Hz\n";
        for (const auto& [line, isFaultBeforeOutput] :
             {std::pair("Error while decoding stream #0:1: Invalid data found when processing input\n", false),
              {"[aist#0:1/mp2 @ 0x55d1] Error submitting packet to decoder: Invalid data found\n", false},
              {"Error while decoding stream #0:10: Invalid data found when processing input\n", true},
              {"[h264 @ 0x55ce] error while decoding MB 33 19, bytestream -27\n", true}}) {
            QVERIFY2(!read(input + line + output, 50).fault.isEmpty() == isFaultBeforeOutput, line);
            QVERIFY2(!read(input + output + line, 50).fault.isEmpty(), line);
        }
    }

    void progress_data()
    {
        QTest::addColumn<QByteArray>("block");
        QTest::addColumn<std::optional<qint64>>("frames");
        QTest::addColumn<std::optional<double>>("outTime");
        QTest::addColumn<std::optional<double>>("speed");
        using Frames = std::optional<qint64>;
        using Number = std::optional<double>;
        QTest::newRow("nothing known yet") << QByteArray("frame=0\nout_time_us=N/A\nspeed=N/A\nprogress=continue\n")
                                           << Frames(0) << Number() << Number();
        QTest::newRow("before zero") << QByteArray("frame=1\nout_time_us=-23220\nspeed=   0x\nprogress=continue\n")
                                     << Frames(1) << Number(0) << Number(0);
        QTest::newRow("sound alone") << QByteArray("out_time_us=500000\nspeed=1e+03x\nprogress=end\n") << Frames()
                                     << Number(0.5) << Number(1000);
        QTest::newRow("a block that is not whole does not count")
            << QByteArray("frame=3\nout_time_us=1000000\nspeed=1x\nprogress=continue\nframe=9\nout_time_us=9000000\n")
            << Frames(3) << Number(1) << Number(1);
        QTest::newRow("Windows line ends") << QByteArray("frame=3\r\nout_time_us=7\r\nspeed=2x\r\nprogress=end\r\n")
                                           << Frames(3) << Number(7e-6) << Number(2);
    }

    void progress()
    {
        QFETCH(QByteArray, block);
        const FFmpegReport report = read(block, 5);
        QTEST(report.frames, "frames");
        QTEST(report.outTime, "outTime");
        QTEST(report.speed, "speed");
    }

    void theLastWordsAreTheReasonWithoutAnError()
    {
        QCOMPARE(read(banner + "/a/o.mp4: Is a directory\nConversion failed!\n", 7).reason(),
                 u"/a/o.mp4: Is a directory"_s);
        QCOMPARE(read(banner, 7).reason(), QString());
        QCOMPARE(read(banner + firstBlock, 7).reason(), QString());
    }

    void theReasonIsNamedBeforeItsConsequences_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QString>("reason");
        QTest::newRow("release 5") << QByteArray("[Parsed_crop_0 @ 0x5] Invalid too big size for width '9999'\n"
                                                 "Error reinitializing filters!\n"
                                                 "Failed to inject frame into filter network: Invalid argument\n"
                                                 "Error while processing the decoded data for stream #0:0\n"
                                                 "Conversion failed!\n")
                                   << u"Invalid too big size for width '9999'"_s;
        QTest::newRow("release 7") << QByteArray("[NULL @ 0x5] Unable to choose an output format for 'o.xyz'\n"
                                                 "[out#0 @ 0x5] Error initializing the muxer: Invalid argument\n"
                                                 "Error opening output file o.xyz.\n"
                                                 "Error opening output files: Invalid argument\n")
                                   << u"Unable to choose an output format for 'o.xyz'"_s;
        QTest::newRow("not what a decoder met before")
            << QByteArray("[h264 @ 0x5] error while decoding MB 3 1\n[h264 @ 0x5] co located POCs unavailable, error\n"
                          "av_interleaved_write_frame(): No space left on device\n")
            << u"av_interleaved_write_frame(): No space left on device"_s;
        QTest::newRow("a decoder's, when there is no other")
            << QByteArray("[h264 @ 0x5] error while decoding MB 3 1\n") << u"error while decoding MB 3 1"_s;
    }

    void theReasonIsNamedBeforeItsConsequences()
    {
        QFETCH(QByteArray, lines);
        QTEST(read(banner + lines, 13).reason(), "reason");
    }

    void sourcesThatLosePicturesBeforeAWholeOne()
    {
        for (const auto& [container, losesPictures] :
             {std::pair("mov,mp4,m4a,3gp,3g2,mj2", false), {"matroska,webm", false}, {"avi", true}, {"mpegts", true}})
            QCOMPARE(read("Input #0, " + QByteArray(container) + ", from 'a':\n", 9).startsAtKeyFrames, losesPictures);
        QCOMPARE(read("Input #0, a, from 'a':\n  Duration: N/A, start: -0.992000, bitrate: N/A\n", 9).sourceStart,
                 std::optional(-0.992));
    }

    void messages_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QString>("lastError");
        QTest::addColumn<bool>("isFault");
        QTest::newRow("missing source") << QByteArray("/a/片段.mp4: No such file or directory\n")
                                        << u"/a/片段.mp4: No such file or directory"_s << false;
        QTest::newRow("the reason, not its consequence")
            << QByteArray("Unknown encoder, cannot find it\nConversion failed!\n")
            << u"Unknown encoder, cannot find it"_s << false;
        QTest::newRow("no line end") << QByteArray("Exiting normally, received signal 15.")
                                     << u"Exiting normally, received signal 15."_s << false;
        QTest::newRow("damaged picture")
            << QByteArray("[h264 @ 0x55ce3a94d840] error while decoding MB 33 19, bytestream -27\n")
            << u"error while decoding MB 33 19, bytestream -27"_s << true;
        QTest::newRow("full disk") << QByteArray("Error writing trailer of o.mp4: No space left on device\n")
                                   << u"Error writing trailer of o.mp4: No space left on device"_s << true;
        QTest::newRow("harmless after a seek") << QByteArray("[h264 @ 0x5575a7226b00] mmco: unref short failure\n")
                                               << u"mmco: unref short failure"_s << false;
        QTest::newRow("speakers are left out")
            << QByteArray(
                   "[aist#0:1/mp2] [dec:mp2 @ 0x564647d03d80] Error submitting packet to decoder: Invalid data\n")
            << u"Error submitting packet to decoder: Invalid data"_s << true;
        QTest::newRow("a line that nobody reads to its end")
            << QByteArray("Error " + QByteArray(10'000'000, 'x') + '\n') << u"Error "_s + QString(294, u'x') + u'…'
            << false;
        QTest::newRow("statistics") << QByteArray("[libx264 @ 0x55] frame I:1     Avg QP:16.37  size:  9691\n"
                                                  "video:319kB audio:0kB muxing overhead: unknown\n")
                                    << QString() << false;
    }

    void messages()
    {
        QFETCH(QByteArray, lines);
        QFETCH(QString, lastError);
        QFETCH(bool, isFault);
        const FFmpegReport report = read(banner + lines, 11);
        QCOMPARE(report.lastError, lastError);
        QCOMPARE(report.fault, isFault ? lastError : QString());
    }
};

QTEST_APPLESS_MAIN(FFmpegOutputReaderTest)
#include "tst_FFmpegOutputReader.moc"
