#include "AppMain/AppDelegate.h"
#include "BenchApplication.h"
#include "MainWindowController/MainWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr int rounds = 21;

/// The most memory that this process held at once, in KiB.
long peakMemory()
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QByteArrayList lines = status.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return 0;
}

/// Shows a window, and once it was painted prints the peak memory and leaves.
int showOnce(QWidget& window)
{
    window.show();
    while (!window.isVisible() || !window.testAttribute(Qt::WA_Mapped))
        QCoreApplication::processEvents();
    window.repaint();
    QCoreApplication::processEvents();
    std::printf("%ld\n", peakMemory());
    return 0;
}

struct Start
{
    double milliseconds;
    double kibibytes;
};

Start start(const QString& kind)
{
    QElapsedTimer timer;
    timer.start();
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(), {kind});
    if (!process.waitForFinished(-1) || process.exitCode() != 0)
        qFatal("%s did not start", qPrintable(kind));
    return {static_cast<double>(timer.nsecsElapsed()) / 1e6, process.readAllStandardOutput().trimmed().toDouble()};
}

Start median(std::vector<Start> starts)
{
    const auto middle = [&starts](auto member) {
        std::sort(starts.begin(), starts.end(),
                  [member](const Start& left, const Start& right) { return left.*member < right.*member; });
        return starts[starts.size() / 2].*member;
    };
    return {middle(&Start::milliseconds), middle(&Start::kibibytes)};
}

} // namespace

/// Compares the appearance of the main window with that of a window that holds one label.
int main(int argc, char* argv[])
{
    if (argc > 1) {
        const BenchApplication application(argc, argv);
        if (QByteArray(argv[1]) == "ours") {
            AppDelegate delegate;
            delegate.applicationDidFinishLaunching();
            const QWidgetList windows = QApplication::topLevelWidgets();
            const auto isMain = [](const QWidget* widget) {
                return qobject_cast<const MainWindow*>(widget) != nullptr;
            };
            return showOnce(**std::find_if(windows.begin(), windows.end(), isMain));
        }
        QLabel label(u"Kestrel 换场"_s);
        return showOnce(label);
    }
    const QCoreApplication application(argc, argv);
    std::vector<Start> ours;
    std::vector<Start> minimal;
    start(u"ours"_s);
    for (int round = 0; round < rounds; ++round) {
        ours.push_back(start(u"ours"_s));
        minimal.push_back(start(u"minimal"_s));
    }
    const Start our = median(ours);
    const Start least = median(minimal);
    std::printf("start to painted window: %.0f ms, minimal program %.0f ms, ratio %.2f (at most 3)\n", our.milliseconds,
                least.milliseconds, our.milliseconds / least.milliseconds);
    std::printf("peak memory: %.1f MiB, minimal program %.1f MiB, ratio %.2f (at most 2)\n", our.kibibytes / 1024,
                least.kibibytes / 1024, our.kibibytes / least.kibibytes);
    return 0;
}
