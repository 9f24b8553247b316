// How long the window for checking transitions takes, on a film like that of bench/review_film.py, which is parsed
// first:
//
//   first row        from opening until all pictures of the first row are painted, nothing on disk
//   next row         the same from a key press, stepping once a second, after the first three rows
//   arrow held       60 rows at 30 rows a second, then from the last key until that row is painted
//   main thread      stretches that the event loop was busy without waiting
//   all rows         processor time of every ffmpeg until each row has its pictures, against one decoding of the film
//   second look      from opening until the first row is painted, the pictures on disk
//   10,000 events    from opening until the window is painted
//
//   memory           the most that the program has had
//
//   bench_review VIDEO

#include "BenchApplication.h"
#include "Models/PayloadDecoder.h"
#include "Review/ReviewTable.h"
#include "Review/ReviewWindow.h"
#include "Services/RuntimeResolver.h"

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QKeyEvent>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

const FileURL ffmpeg(u"/usr/bin/ffmpeg"_s);
constexpr int stepMilliseconds = 1000;
constexpr int repeatMilliseconds = 33;
constexpr int patience = 60'000;

/// Every stretch that the event loop works between two waits, in milliseconds.
class BusyMeter final : public QObject
{
public:
    BusyMeter()
    {
        const auto* dispatcher = QAbstractEventDispatcher::instance();
        connect(dispatcher, &QAbstractEventDispatcher::awake, this, [this] { m_timer.start(); });
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, [this] {
            if (m_timer.isValid())
                stretches.append(double(m_timer.nsecsElapsed()) / 1e6);
            m_timer.invalidate();
        });
    }

    QList<double> stretches;

private:
    QElapsedTimer m_timer;
};

void print(const char* name, QList<double> milliseconds)
{
    std::sort(milliseconds.begin(), milliseconds.end());
    const auto at = [&](double part) { return milliseconds[qsizetype(part * double(milliseconds.size() - 1))]; };
    std::printf("%-14s median %7.1f ms   p95 %7.1f ms   p99 %7.1f ms   longest %7.1f ms   (%lld)\n", name, at(0.5),
                at(0.95), at(0.99), milliseconds.last(), static_cast<long long>(milliseconds.size()));
}

void rest(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

double childrenSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

/// A window with its list. Keys come by the event loop, so that what they cost counts as its work.
class Session final : public QObject
{
public:
    explicit Session(const SegmentList& list)
        : m_table(m_review.findChild<QTableView*>(u"reviewTableView"_s))
    {
        m_table->viewport()->installEventFilter(this);
        m_timer.start();
        m_review.setRuntime(RuntimeConfiguration{{}, {}, ffmpeg});
        m_review.show();
        m_review.setContent(list, ViewerContent::of(list));
    }

    void press(int key)
    {
        m_timer.start();
        m_isPressed = false;
        m_isPainted = m_isComplete = false;
        const auto send = [this, key] {
            QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
            QCoreApplication::sendEvent(m_table, &event);
            m_isPressed = true;
        };
        QMetaObject::invokeMethod(this, send, Qt::QueuedConnection);
    }

    /// Milliseconds from the last key, or from opening, until the current row is painted with all its pictures.
    double untilComplete() { return waitFor(m_isComplete); }
    /// The same with whatever pictures there are.
    double untilPainted() { return waitFor(m_isPainted); }

    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        if (event->type() == QEvent::Paint && m_isPressed) {
            m_isPainted = true;
            m_isComplete = m_review.pictures().isComplete(m_review.currentEvent());
        }
        return false;
    }

private:
    double waitFor(const bool& condition) const
    {
        while (!condition && m_timer.elapsed() < patience)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return double(m_timer.nsecsElapsed()) / 1e6;
    }

    ReviewWindow m_review{nullptr};
    QTableView* m_table;
    QElapsedTimer m_timer;
    bool m_isPressed = true; ///< or was opened
    bool m_isPainted = false;
    bool m_isComplete = false;
};

void walk(const SegmentList& list)
{
    const BusyMeter meter;
    Session session(list);
    std::printf("%-14s %.1f ms\n", "first row", session.untilComplete());
    QList<double> steps;
    for (int i = 0; i < 40; ++i) {
        rest(stepMilliseconds);
        session.press(Qt::Key_Down);
        const double took = session.untilComplete();
        if (i >= 3)
            steps.append(took);
    }
    print("next row", steps);
    for (int i = 0; i < 60; ++i) {
        session.press(Qt::Key_Down);
        rest(repeatMilliseconds);
    }
    std::printf("%-14s %.1f ms\n", "arrow held", session.untilComplete());
    print("main thread", meter.stretches);
}

void compareWithDecoding(const SegmentList& list)
{
    const double before = childrenSeconds();
    {
        Session session(list);
        for (qsizetype row = 0; row < list.events().size(); ++row) {
            session.untilComplete();
            session.press(Qt::Key_Down);
        }
    }
    const double pictures = childrenSeconds() - before;
    QProcess::execute(ffmpeg.path(), {u"-v"_s, u"error"_s, u"-i"_s, list.videoURL->path(), u"-map"_s, u"0:v:0"_s,
                                      u"-f"_s, u"null"_s, u"-"_s});
    const double decoding = childrenSeconds() - before - pictures;
    std::printf("%-14s %.1f s of ffmpeg, one decoding %.1f s, ratio %.2f\n", "all rows", pictures, decoding,
                pictures / decoding);
}

void openMany(const FileURL& video)
{
    SegmentList list;
    list.videoURL = video;
    list.payload = DetectorPayload{video.path(), 25, 10'001, false, {}, {}, {}};
    for (int i = 0; i <= 10'000; ++i) {
        if (i > 0)
            list.payload->events.append({i, u"cut"_s, double(i), double(i), 0, double(i % 97), u"t"_s});
        list.payload->keepSegments.append({i, double(i), i + 1.0, 1});
    }
    list.segments = buildEditableSegments(*list.payload);
    std::printf("%-14s %.1f ms\n", "10,000 events", Session(list).untilPainted());
}

/// What the detector makes of the film; it remembers films by itself.
SegmentList parsed(const FileURL& video)
{
    const RuntimeConfiguration runtime = RuntimeResolver::resolve();
    QProcess detector;
    detector.start(runtime.pythonURL.path(), {runtime.detectorScriptURL.path(), video.path(), u"--json"_s});
    detector.waitForFinished(-1);
    SegmentList list;
    list.videoURL = video;
    list.payload = decodePayload(detector.readAllStandardOutput());
    list.segments = buildEditableSegments(*list.payload);
    return list;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 2)
        qFatal("bench_review VIDEO");
    const BenchApplication application(argc, argv);
    const SegmentList list = parsed(FileURL::fromUserPath(QString::fromLocal8Bit(argv[1])));
    const QTemporaryDir cache;
    qputenv("XDG_CACHE_HOME", QFile::encodeName(cache.path()));
    std::printf("%lld transitions\n", static_cast<long long>(list.events().size()));
    walk(list);
    std::printf("%-14s %.1f ms\n", "second look", Session(list).untilComplete());
    qputenv("XDG_CACHE_HOME", QFile::encodeName(cache.filePath(u"other"_s)));
    compareWithDecoding(list);
    openMany(*list.videoURL);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%-14s %.0f MB\n", "memory", double(usage.ru_maxrss) / 1024);
    return 0;
}
