#include "BenchApplication.h"
#include "Controls/DroppablePathField.h"
#include "CutLists/KestrelList.h"
#include "MainWindowController/ListFiles.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/MainWindowController.h"
#include "MainWindowController/SegmentTableModel.h"
#include "Models/SegmentJoining.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

#ifdef __GLIBC__
#include <malloc.h>
#endif

using namespace Qt::StringLiterals;

namespace {

constexpr int fullSize = 10000;
constexpr double frameMilliseconds = 16.7;

QList<TransitionEvent> someEvents(int count)
{
    QList<TransitionEvent> events;
    for (int i = 0; i < count; ++i)
        events.append({i, u"fade"_s, i * 7.25, i * 7.25 + 0.4, 0.4, 0.93, u"luma+content"_s});
    return events;
}

QList<EditableSegment> someSegments(int count)
{
    QList<EditableSegment> segments;
    for (int i = 0; i < count; ++i)
        segments.append({i, true, i * 7.25 + 0.4, i * 7.25 + 7.25, i % 10 == 9});
    return segments;
}

double milliseconds(const std::function<void()>& work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

struct Spread
{
    double median;
    double most; // of 99 in 100
};

Spread spreadOf(int rounds, const std::function<void(int round)>& prepare, const std::function<void(int round)>& work)
{
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round) {
        prepare(round);
        times.push_back(milliseconds([&] { work(round); }));
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times[times.size() * 99 / 100]};
}

void nothing(int /*round*/) {}

/// Does the work and waits until the widget was painted after it.
class PaintWatch final : public QObject
{
public:
    void untilPainted(QWidget* widget, const std::function<void()>& work)
    {
        m_isPainted = false;
        widget->installEventFilter(this);
        work();
        const QDeadlineTimer deadline(10'000);
        while (!m_isPainted) {
            if (deadline.hasExpired())
                qFatal("what should change the picture did not");
            QCoreApplication::processEvents(QEventLoop::AllEvents, 100);
        }
        widget->removeEventFilter(this);
    }

    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        m_isPainted |= event->type() == QEvent::Paint;
        return false;
    }

private:
    bool m_isPainted = false;
};

void untilPainted(QWidget* widget, const std::function<void()>& work)
{
    PaintWatch().untilPainted(widget, work);
}

void press(QWidget* widget, int key, const QString& text = QString(), Qt::KeyboardModifiers modifiers = {})
{
    QKeyEvent down(QEvent::KeyPress, key, modifiers, text);
    QCoreApplication::sendEvent(widget, &down);
    QKeyEvent up(QEvent::KeyRelease, key, modifiers, text);
    QCoreApplication::sendEvent(widget, &up);
}

void measureShowing(MainWindow& window)
{
    const auto show = [&](int count) {
        DetectorPayload payload;
        payload.events = someEvents(count);
        const SegmentList list{window.segmentList->list().videoURL, payload, someSegments(count), {}};
        const auto showAll = [&](int) {
            untilPainted(window.segmentTableView->viewport(), [&] { window.segmentList->replace(list); });
        };
        const auto showNothing = [&](int) { // the same list again would be no step
            window.segmentList->replace({list.videoURL, {}, {}, {}});
            QCoreApplication::processEvents();
        };
        return spreadOf(15, showNothing, showAll).median;
    };
    const double half = show(fullSize / 2);
    const double whole = show(fullSize);
    std::printf("showing 10,000 events and segments: %.1f ms (at most 200), half of them %.1f ms\n", whole, half);
}

void measureEditing(MainWindow& window)
{
    QTableView* table = window.segmentTableView;
    QWidget* viewport = table->viewport();
    const auto goTo = [&](int round, int column) {
        untilPainted(viewport, [&] { table->setCurrentIndex(window.segmentTableModel->index(round % 12, column)); });
    };
    table->setFocus();
    const Spread time = spreadOf(
        101,
        [&](int round) {
            goTo(round, SegmentTableModel::endColumn);
            untilPainted(viewport, [&] { press(table, Qt::Key_F2); });
            qobject_cast<QLineEdit*>(QApplication::focusWidget())->setText(u"9:00:"_s + QString::number(round % 60));
        },
        [&](int) {
            untilPainted(viewport, [&] { press(QApplication::focusWidget(), Qt::Key_Return); });
            if (QApplication::focusWidget() != table)
                qFatal("painted before the edit was done");
        });
    const Spread check = spreadOf(
        101, [&](int round) { goTo(round, SegmentTableModel::enabledColumn); },
        [&](int) { untilPainted(viewport, [&] { press(table, Qt::Key_Space, u" "_s, Qt::ShiftModifier); }); });
    window.prefixField->setFocus();
    const Spread letter = spreadOf(101, nothing, [&](int) {
        untilPainted(window.prefixField, [&] { press(window.prefixField, Qt::Key_A, u"a"_s); });
    });
    std::printf("an edit, from key to painted (median, at most %.1f ms): time %.2f ms, check box %.2f ms, "
                "prefix letter %.2f ms\n",
                frameMilliseconds, time.median, check.median, letter.median);
}

void measureScrolling(const char* name, QTableView* table)
{
    QScrollBar* bar = table->verticalScrollBar();
    const int step = bar->maximum() / 400;
    const Spread frame = spreadOf(400, nothing, [&](int round) {
        untilPainted(table->viewport(), [&] { bar->setValue(round * step + round % 7 + 1); });
    });
    std::printf("scrolling the %s: a frame %.2f ms, 99 of 100 within %.2f ms (at most %.1f)\n", name, frame.median,
                frame.most, frameMilliseconds);
}

/// What the user waits for when a list is stored or opened, and the longest that the window stands still meanwhile.
void measureLists(MainWindow& window)
{
    const QTemporaryDir folder;
    const FileURL file(folder.filePath(u"a.kestrel.json"_s));
    const FileURL video(folder.filePath(u"a.mp4"_s));
    if (QProcess::execute(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=d=10:s=1280x720"_s,
                                        video.path()}) != 0)
        qFatal("no video was made");
    KestrelList document;
    document.list = {video, DetectorPayload{}, someSegments(fullSize), {}};
    document.list.payload->events = someEvents(fullSize);
    document.list.payload->duration = 10;
    document.video = {video.path(), QFileInfo(video.path()).size(), 10};
    const Spread storing = spreadOf(21, nothing, [&](int) { writeListFile(file, encodeKestrelList(document)); });
    double longestTurn = 0;
    const auto empty = [&](int) { window.segmentList->replace({video, {}, {}, {}}); };
    const auto open = [&](int) {
        longestTurn = std::max(longestTurn, milliseconds([&] { Q_EMIT window.listDropped(file); }));
        while (window.segmentList->segments().isEmpty())
            longestTurn = std::max(longestTurn, milliseconds([] { QCoreApplication::processEvents(); }));
    };
    const Spread opening = spreadOf(21, empty, open);
    std::printf("storing 10,000 segments: %.1f ms, worst %.1f ms; opening: %.1f ms, worst %.1f ms (each at most 200); "
                "longest turn of the window while opening: %.1f ms (at most 100)\n",
                storing.median, storing.most, opening.median, opening.most, longestTurn);
}

// The history

/// As a detector gives them, with every tenth row a manual one.
SegmentList wholeList()
{
    SegmentList list;
    list.videoURL = FileURL(QCoreApplication::applicationFilePath());
    list.payload.emplace();
    list.payload->events = someEvents(fullSize);
    list.segments = someSegments(fullSize);
    for (const EditableSegment& segment : std::as_const(list.segments)) {
        if (!segment.isManual)
            list.payload->keepSegments.append({segment.index, segment.start, segment.end, segment.duration()});
    }
    return list;
}

struct KindOfStep
{
    const char* name;
    std::function<void(SegmentListEditor& editor, int step)> make;
};

void edit(SegmentListEditor& editor, const SegmentListEditor::Edit& change)
{
    if (const auto refusal = editor.edit(u"x"_s, change))
        qFatal("%s", qPrintable(*refusal));
}

/// Every step changes one of the first rows, so that it is seen.
QList<KindOfStep> kindsOfSteps()
{
    const SegmentList list = wholeList();
    return {
        {"a box",
         [](auto& editor, int step) { editor.setEnabled({step % 8}, !editor.segments()[step % 8].isEnabled); }},
        {"all boxes", [](auto& editor, int step) { editor.setAllEnabled(step % 2 == 1); }},
        {"a time",
         [](auto& editor, int step) {
             std::ignore = editor.retime(step % 8, SegmentEdge::end, u"9:00:00."_s + QString::number(100 + step % 900));
         }},
        {"a rejection and back",
         [](auto& editor, int step) {
             edit(editor, [step](SegmentList& edited) {
                 const TransitionEvent event = edited.payload->events[1 + step / 2 % 7];
                 return step % 2 == 0
                            ? rejectEvent(event, edited.segments, edited.endsBeforeJoin)
                            : restoreEvent(event, edited.segments, edited.endsBeforeJoin, edited.payload->keepSegments);
             });
         }},
        {"cut and join",
         [](auto& editor, int step) {
             edit(editor, [step](SegmentList& edited) {
                 return step % 2 == 0 ? splitSegment(edited, 1, 9) : joinSegments(edited, {1, 2});
             });
         }},
        {"first and last row at once",
         [](auto& editor, int step) {
             edit(editor, [step](SegmentList& edited) {
                 edited.segments.first().start = edited.segments.last().start = step / 1e6;
                 return std::nullopt;
             });
         }},
        {"a parse of three kinds after a change",
         [list](auto& editor, int step) {
             SegmentList parsed = list;
             parsed.payload->events = someEvents(fullSize - step % 3);
             for (KeepSegment& segment : parsed.payload->keepSegments)
                 segment.end -= step % 3;
             parsed.segments = buildEditableSegments(*parsed.payload);
             if (step % 2 == 0)
                 editor.replace(parsed);
             else
                 editor.setEnabled({step % 8}, false);
         }},
    };
}

double heapMegabytes()
{
#ifdef __GLIBC__
    const auto heap = ::mallinfo2();
    return static_cast<double>(heap.uordblks + heap.hblkhd) / 1e6;
#else
    return 0;
#endif
}

void measureUndo(MainWindow& window)
{
    SegmentListEditor& editor = *window.segmentList;
    const auto inFrame = [&](const std::function<void()>& work) {
        return [&window, work](int) { untilPainted(window.segmentTableView->viewport(), work); };
    };
    for (const KindOfStep& kind : kindsOfSteps()) {
        constexpr int steps = 303;
        untilPainted(window.segmentTableView->viewport(), [&] { editor.replace(wholeList()); });
        window.segmentTableView->scrollToTop();
        for (int step = 0; step < steps; ++step)
            kind.make(editor, step);
        QCoreApplication::processEvents();
        const Spread undo = spreadOf(steps - 3, nothing, inFrame([&] { editor.undo(); }));
        const Spread redo = spreadOf(steps - 3, nothing, inFrame([&] { editor.redo(); }));
        std::printf("undo of %s: %.2f ms, 99 of 100 within %.2f ms (at most %.1f); redo %.2f, %.2f ms\n", kind.name,
                    undo.median, undo.most, frameMilliseconds, redo.median, redo.most);
    }
}

void measureMemory()
{
    for (const KindOfStep& kind : kindsOfSteps()) {
        SegmentListEditor editor;
        editor.replace(wholeList());
        const double before = heapMegabytes();
        for (int step = 0; step < 1000; ++step)
            kind.make(editor, step);
        std::printf("1,000 steps, %s: %.1f MB (at most 100)\n", kind.name, heapMegabytes() - before);
    }
}

} // namespace

/// How fluid the main window is with 10,000 rows; with the word "lists", only how fast lists are stored and opened. An
/// edit includes all that follows from it, the new jobs above all. What is measured includes the few milliseconds for
/// which Qt gathers further changes before it paints.
int main(int argc, char* argv[])
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const BenchApplication application(argc, argv);
    const MainWindowController controller;
    MainWindow& window = *controller.window();
    window.videoPathField->setText(QString::fromLocal8Bit(argv[0])); // any file will do
    Q_EMIT window.videoPathField->textEdited(window.videoPathField->text());
    window.resize(1420, 900);
    untilPainted(window.segmentTableView->viewport(), [&] { window.show(); });
    window.activateWindow();
    if (QCoreApplication::arguments().value(1) == u"lists") {
        measureLists(window);
        return 0;
    }
    measureShowing(window);
    measureEditing(window);
    if (!window.splitButton->isEnabled())
        qFatal("no jobs were made");
    measureScrolling("events", window.eventTableView);
    measureScrolling("segments", window.segmentTableView);
    measureLists(window);
    measureUndo(window);
    measureMemory();
    return 0;
}
