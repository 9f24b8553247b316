// Long use in one process: soak PARSES SPLITS
// A window is parsed and split again and again. Memory, descriptors and threads must stay what they were after the
// first tenth. Linux only.

#include "BenchApplication.h"
#include "Controls/DroppablePathField.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/MainWindowController.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <utility>
#include <vector>

#ifdef __GLIBC__
#include <malloc.h>
#endif

using namespace Qt::StringLiterals;

namespace {

constexpr double mostGrowthKilobytes = 2048;

/// Prints three segments at once, in place of Python.
constexpr auto interpreter = R"(#!/bin/sh
echo '50 %' >&2
echo '{"video":"v","fps":10,"duration":1,"aggressive":true,"events":[
{"index":0,"type":"cut","start":0.3,"end":0.4,"duration":0.1,"score":1,"source":"s"}],"keep_segments":[
{"index":0,"start":0,"end":0.3,"duration":0.3},{"index":1,"start":0.4,"end":0.6,"duration":0.2},
{"index":2,"start":0.6,"end":0.9,"duration":0.3}]}'
)";

struct Sample
{
    double residentKilobytes; ///< without files, whose pages the system drops and reads again as it likes
    double heapKilobytes;
    int descriptors;
    int threads;
};

int numberAfter(const QByteArray& text, const QByteArray& label)
{
    const qsizetype start = text.indexOf(label);
    return start < 0 ? 0 : text.mid(start + label.size()).trimmed().split('\n').first().split(' ').first().toInt();
}

Sample currentSample()
{
    QFile file(u"/proc/self/status"_s);
    const QByteArray status = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    file.close();
    double heap = 0;
#ifdef __GLIBC__
    const auto information = ::mallinfo2();
    heap = static_cast<double>(information.uordblks + information.hblkhd) / 1024;
#endif
    const auto descriptors = static_cast<int>(
        QDir(u"/proc/self/fd"_s).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size());
    return {double(numberAfter(status, "\nRssAnon:")), heap, descriptors, numberAfter(status, "\nThreads:")};
}

/// Least squares: what `value` gains from one sample to the next.
double slope(const std::vector<Sample>& samples, double Sample::*value)
{
    const auto count = static_cast<double>(samples.size());
    double sumX = 0;
    double sumY = 0;
    double sumXY = 0;
    double sumXX = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto x = static_cast<double>(i);
        const double y = samples[i].*value;
        sumX += x;
        sumY += y;
        sumXY += x * y;
        sumXX += x * x;
    }
    return (count * sumXY - sumX * sumY) / (count * sumXX - sumX * sumX);
}

/// The least and the most of it in the samples from `first` on.
std::pair<int, int> range(const std::vector<Sample>& samples, int Sample::*value, std::size_t first = 0)
{
    std::pair<int, int> result(samples[first].*value, samples[first].*value);
    for (std::size_t i = first; i < samples.size(); ++i)
        result = {std::min(result.first, samples[i].*value), std::max(result.second, samples[i].*value)};
    return result;
}

void waitForStatus(const QLabel* label, const QString& beginning)
{
    while (!label->text().startsWith(beginning)) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (QApplication::activeModalWidget()) // an alert
            qFatal("%s", qUtf8Printable(label->text()));
    }
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void closeWorkerWindows()
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->windowTitle().startsWith(u"分解任务"_s))
            window->close();
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/// Does `round` so many times; prints what was gained after the first tenth. False when something grew.
bool soak(const char* name, int rounds, const std::function<void()>& round)
{
    QElapsedTimer time;
    time.start();
    std::vector<Sample> samples;
    for (int number = 0; number < rounds; ++number) {
        round();
        if (number >= rounds / 10)
            samples.push_back(currentSample());
    }
    if (samples.size() < 2)
        return true;
    const double resident = slope(samples, &Sample::residentKilobytes);
    const double heap = slope(samples, &Sample::heapKilobytes);
    const auto later = static_cast<double>(samples.size());
    const auto descriptors = range(samples, &Sample::descriptors);
    const auto threads = range(samples, &Sample::threads);
    std::printf("%d %s in %.0f s\n"
                "  after the first tenth: resident %.1f MB, then %+.3f KB each; heap %+.3f KB each\n"
                "  descriptors %d to %d, threads %d to %d\n",
                rounds, name, static_cast<double>(time.elapsed()) / 1000, samples.front().residentKilobytes / 1024,
                resident, heap, descriptors.first, descriptors.second, threads.first, threads.second);
    std::fflush(stdout);
    return resident * later < mostGrowthKilobytes && heap * later < mostGrowthKilobytes &&
           descriptors.second <= samples.front().descriptors && threads.second <= samples.front().threads;
}

void prepareFolder(const QTemporaryDir& folder)
{
    QDir::setCurrent(folder.path());
    QDir().mkpath(u".venv/bin"_s);
    QFile python(u".venv/bin/python"_s);
    if (!python.open(QIODevice::WriteOnly) || python.write(interpreter) < 0)
        qFatal("cannot write %s", qUtf8Printable(python.fileName()));
    python.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    if (QProcess::execute(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s,
                                        u"testsrc=d=1:s=32x32:r=10"_s, u"tiny.mp4"_s}) != 0)
        qFatal("ffmpeg makes no video");
}

} // namespace

int main(int argc, char* argv[])
{
    const BenchApplication application(argc, argv);
    if (argc != 3)
        qFatal("usage: %s PARSES SPLITS", argv[0]);
    const QTemporaryDir folder;
    prepareFolder(folder);

    MainWindowController controller;
    const MainWindow& window = *controller.window();
    controller.window()->show();
    window.videoPathField->setFocus();
    window.videoPathField->insert(folder.filePath(u"tiny.mp4"_s));
    window.prefixField->insert(u"clip"_s);

    const bool parsesStayFlat = soak("parses", QByteArray(argv[1]).toInt(), [&] {
        window.parseButton->click();
        waitForStatus(window.statusLabel, u"解析完成：1 个换场，3 个保留片段"_s);
    });
    const bool splitsStayFlat = soak("splits of three clips", QByteArray(argv[2]).toInt(), [&] {
        window.splitButton->click();
        waitForStatus(window.statusLabel, u"分解完成：成功 3 / 3，失败 0。"_s);
        closeWorkerWindows();
    });
    std::puts(parsesStayFlat && splitsStayFlat ? "nothing grew" : "SOMETHING GREW");
    return parsesStayFlat && splitsStayFlat ? 0 : 1;
}
