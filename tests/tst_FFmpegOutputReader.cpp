#include "Models/FFmpegOutputReader.h"

#include <QTest>

#include <tuple>

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

    void frameRates()
    {
        for (const auto& [source, clip, rate] :
             {std::tuple("23.98 fps, 23.98 tbr", "23.98 fps", std::optional(24000.0 / 1001)),
              {"5 fps, 5 tbr", "5 fps", 5},
              {"12.50 fps, 12.50 tbr", "12.50 fps", 12.5},
              {"15.17 fps, 25 tbr", "25 fps", std::nullopt}, // it varies
              {"90k tbr", "q=2-31", std::nullopt}}) {
            const FFmpegReport report =
                read("Input #0, mpeg, from 'a':\n  Stream #0:0[0x1e0]: Video: h264, " + QByteArray(source) +
                         ", 90k tbn\nOutput #0, mp4, to 'o':\n  Stream #0:0: Video: h264, " + clip + ", 90k tbn\n",
                     100);
            QCOMPARE(report.frameRate, rate);
            QVERIFY(!report.hasSound);
        }
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

    void progress()
    {
        using Number = std::optional<double>;
        using Rows = QList<std::tuple<QByteArray, std::optional<qint64>, Number, Number>>;
        for (const auto& [block, frames, outTime, speed] : Rows{
                 {"frame=0\nout_time_us=N/A\nspeed=N/A\nprogress=continue\n", 0, {}, {}},
                 {"frame=1\nout_time_us=-23220\nspeed=   0x\nprogress=continue\n", 1, 0, 0}, // before zero
                 {"out_time_us=500000\nspeed=1e+03x\nprogress=end\n", {}, 0.5, 1000},        // sound alone
                 {"frame=3\nout_time_us=1000000\nspeed=1x\nprogress=continue\nframe=9\nout_time_us=9000000\n", 3, 1, 1},
                 {"frame=3\r\nout_time_us=7\r\nspeed=2x\r\nprogress=end\r\n", 3, 7e-6, 2}}) {
            const FFmpegReport report = read(block, 5);
            QCOMPARE(report.frames, frames);
            QCOMPARE(report.outTime, outTime);
            QCOMPARE(report.speed, speed);
        }
    }

    void theReasonIsNamedBeforeItsConsequences()
    {
        for (const auto& [lines, reason] :
             {std::pair("[Parsed_crop_0 @ 0x5] Invalid too big size for width '9999'\n"
                        "Error reinitializing filters!\n"
                        "Failed to inject frame into filter network: Invalid argument\n"
                        "Error while processing the decoded data for stream #0:0\n"
                        "Conversion failed!\n",
                        u"Invalid too big size for width '9999'"_s),
              {"[NULL @ 0x5] Unable to choose an output format for 'o.xyz'\n"
               "[out#0 @ 0x5] Error initializing the muxer: Invalid argument\n"
               "Error opening output file o.xyz.\n"
               "Error opening output files: Invalid argument\n",
               u"Unable to choose an output format for 'o.xyz'"_s},
              // Not what a decoder met before, unless there is nothing else.
              {"[h264 @ 0x5] error while decoding MB 3 1\n[h264 @ 0x5] co located POCs unavailable, error\n"
               "av_interleaved_write_frame(): No space left on device\n",
               u"av_interleaved_write_frame(): No space left on device"_s},
              {"[h264 @ 0x5] error while decoding MB 3 1\n", u"error while decoding MB 3 1"_s},
              {"/a/o.mp4: Is a directory\nConversion failed!\n", u"/a/o.mp4: Is a directory"_s}, // the last words
              {"", QString()},
              {firstBlock.constData(), QString()}})
            QCOMPARE(read(banner + lines, 13).reason(), reason);
    }

    void sourcesThatLosePicturesBeforeAWholeOne()
    {
        for (const auto& [container, losesPictures] :
             {std::pair("mov,mp4,m4a,3gp,3g2,mj2", false), {"matroska,webm", false}, {"avi", true}, {"mpegts", true}})
            QCOMPARE(read("Input #0, " + QByteArray(container) + ", from 'a':\n", 9).startsAtKeyFrames, losesPictures);
        QCOMPARE(read("Input #0, a, from 'a':\n  Duration: N/A, start: -0.992000, bitrate: N/A\n", 9).sourceStart,
                 std::optional(-0.992));
    }

    void messages()
    {
        for (const auto& [lines, lastError, isFault] :
             {std::tuple(QByteArray("/a/片段.mp4: No such file or directory\n"),
                         u"/a/片段.mp4: No such file or directory"_s, false),
              {"Exiting normally, received signal 15.", u"Exiting normally, received signal 15."_s, false},
              {"[h264 @ 0x55ce3a94d840] error while decoding MB 33 19, bytestream -27\n",
               u"error while decoding MB 33 19, bytestream -27"_s, true},
              {"Error writing trailer of o.mp4: No space left on device\n",
               u"Error writing trailer of o.mp4: No space left on device"_s, true},
              {"[h264 @ 0x5575a7226b00] mmco: unref short failure\n", u"mmco: unref short failure"_s, false},
              {"[aist#0:1/mp2] [dec:mp2 @ 0x564647d03d80] Error submitting packet to decoder: Invalid data\n",
               u"Error submitting packet to decoder: Invalid data"_s, true},
              {"Error " + QByteArray(10'000'000, 'x') + '\n', u"Error "_s + QString(294, u'x') + u'…', false},
              {"[libx264 @ 0x55] frame I:1     Avg QP:16.37  size:  9691\n", QString(), false}}) {
            const FFmpegReport report = read(banner + lines, 11);
            QCOMPARE(report.lastError, lastError);
            QCOMPARE(report.fault, isFault ? lastError : QString());
        }
    }
};

QTEST_APPLESS_MAIN(FFmpegOutputReaderTest)
#include "tst_FFmpegOutputReader.moc"
