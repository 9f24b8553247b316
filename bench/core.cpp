#include "Models/PayloadDecoder.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

using Work = std::function<void()>;

double milliseconds(const Work& work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

struct Comparison
{
    double ours;
    double theirs;
};

/// Medians in milliseconds of two works done in turns, so that both meet the same machine.
Comparison alternate(int rounds, const Work& ours, const Work& theirs)
{
    std::vector<double> ourTimes;
    std::vector<double> theirTimes;
    ours();
    theirs();
    for (int round = 0; round < rounds; ++round) {
        ourTimes.push_back(milliseconds(ours));
        theirTimes.push_back(milliseconds(theirs));
    }
    return {median(ourTimes), median(theirTimes)};
}

void runQuietly(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForFinished(-1) || process.exitCode() != 0)
        qFatal("%s failed", qPrintable(program));
}

void compareSelfTest()
{
    const auto times = alternate(
        41, [] { runQuietly(QStringLiteral(KESTREL_EXECUTABLE), {u"--self-test"_s}); },
        [] { runQuietly(QStringLiteral(MINIMAL_EXECUTABLE), {}); });
    std::printf("self-test: %.2f ms, minimal program %.2f ms, ratio %.2f (at most 1.5)\n", times.ours, times.theirs,
                times.ours / times.theirs);
}

/// The detector keeps its measures of a video, so both sides meet a warm cache after the first round.
void compareDetectSummary(const QString& directory)
{
    qputenv("XDG_CACHE_HOME", directory.toUtf8());
    const QString video = directory + u"/video.mp4"_s;
    runQuietly(u"ffmpeg"_s, {u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc2=size=640x360:rate=25:duration=60"_s, video});
    QProcess selfTest;
    selfTest.start(QStringLiteral(KESTREL_EXECUTABLE), {u"--self-test"_s});
    selfTest.waitForFinished(-1);
    const QStringList tools = QString::fromUtf8(selfTest.readAllStandardOutput()).split(u'\n');
    const QString python = tools.at(0).mid(7);
    const QString script = tools.at(1).mid(7);
    const auto times = alternate(
        15,
        [&] {
            runQuietly(QStringLiteral(KESTREL_EXECUTABLE), {u"--detect-summary"_s, video});
        },
        [&] {
            runQuietly(python, {script, video, u"--skip-start-seconds"_s, u"0.0"_s, u"--fade-removal-profile"_s,
                                u"aggressive"_s, u"--fade-left-padding-seconds"_s, u"0.12"_s,
                                u"--fade-right-padding-seconds"_s, u"0.24"_s, u"--json"_s});
        });
    const double added = times.ours - times.theirs;
    std::printf("detect-summary: %.1f ms, the script by hand %.1f ms, added %.1f ms (at most 30 ms + 2 %% = %.1f)\n",
                times.ours, times.theirs, added, 30 + 0.02 * times.theirs);
}

QByteArray payloadOf(int count)
{
    QByteArray events;
    QByteArray segments;
    for (int i = 0; i < count; ++i) {
        const QByteArray number = QByteArray::number(i);
        const QByteArray separator = i > 0 ? ", " : "";
        events += separator + R"({"index": )" + number + R"(, "type": "fade", "start": )" + number +
                  R"(.125, "end": )" + number + R"(.625, "duration": 0.5, "score": 0.93, "source": "亮度"})";
        segments += separator + R"({"index": )" + number + R"(, "start": )" + number + R"(.625, "end": )" + number +
                    R"(.999, "duration": 0.374})";
    }
    return R"({"video": "v.mp4", "fps": 25.0, "duration": 1e6, "aggressive": true, "events": [)" + events +
           R"(], "keep_segments": [)" + segments + "]}";
}

void measureDecoding()
{
    const QByteArray half = payloadOf(50000);
    const QByteArray whole = payloadOf(100000);
    const auto decode = [](const QByteArray& json) {
        const DetectorPayload payload = decodePayload(json);
        Q_UNUSED(payload)
    };
    const auto times = alternate(
        7, [&] { decode(whole); }, [&] { decode(half); });
    std::printf("decoding 100,000 events and segments: %.0f ms (under 500), against half of them %.2f times "
                "(linear is 2)\n",
                times.ours, times.ours / times.theirs);
}

} // namespace

/// Compares the command line with the least that is possible, and measures the decoder.
int main()
{
    const QTemporaryDir directory;
    compareSelfTest();
    compareDetectSummary(directory.path());
    measureDecoding();
    return 0;
}
