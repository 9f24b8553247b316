#include "WorkerWindowController/WorkerWindowController.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QPointer>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>

using namespace Qt::StringLiterals;

namespace {

QLabel* label(const WorkerWindowController& controller, const QString& name)
{
    return controller.window()->findChild<QLabel*>(name);
}

QPlainTextEdit* logOf(const WorkerWindowController& controller)
{
    return controller.window()->findChild<QPlainTextEdit*>(u"textView"_s);
}

} // namespace

class WorkerWindowTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void opensWithItsFixedShape()
    {
        WorkerWindowController second(2, 3);
        WorkerWindowController third(3, 3);
        QVERIFY(!second.window()->isVisible());
        QCOMPARE(label(second, u"statusLabel"_s)->text(), u"等待任务"_s);
        second.prepareForDisplay();
        third.prepareForDisplay();
        QCOMPARE(second.window()->windowTitle(), u"分解任务 2/3"_s);
        QCOMPARE(second.window()->size(), QSize(760, 420));
        QCOMPARE(second.window()->pos(), third.window()->pos());
        QCOMPARE(label(second, u"statusLabel"_s)->pos(), QPoint(16, 16));
        QCOMPARE(logOf(second)->geometry().bottomRight(), QPoint(760 - 16 - 1, 420 - 16 - 1));
    }

    void saysWhatTheWorkerDoes()
    {
        WorkerWindowController controller(1, 1);
        const auto shows = [&](const QString& status, const QString& detail) {
            return label(controller, u"statusLabel"_s)->text() == status &&
                   label(controller, u"detailLabel"_s)->text() == detail;
        };
        controller.setIdle();
        QVERIFY(shows(u"空闲"_s, u"等待分配任务"_s));
        const FFmpegJob job{2, FileURL(u"/in.mp4"_s), FileURL(u"/out/%1-02.mp4"_s), 0, 1, std::nullopt};
        controller.setRunning(job, 2, 5);
        QVERIFY(shows(u"运行中"_s, u"第 2/5 段 -> %1-02.mp4"_s));
        QCOMPARE(logOf(controller)->toPlainText(),
                 u">>> ffmpeg -y -hide_banner -ss 0 -i /in.mp4 -t 1 -strict -2 \"/out/%1-02.mp4\"\n"_s);
        controller.setFinished(true, u"a"_s);
        QVERIFY(shows(u"完成"_s, u"a"_s));
        controller.setFinished(false, u"<b>"_s);
        QVERIFY(shows(u"失败"_s, u"<b>"_s));
    }

    void appendingLeavesTheSelectionAlone_data()
    {
        QTest::addColumn<QKeySequence>("keys");
        QTest::addColumn<qsizetype>("length");
        QTest::newRow("nothing") << QKeySequence() << qsizetype(0);
        QTest::newRow("a caret at the end") << QKeySequence(QKeySequence::MoveToEndOfDocument) << qsizetype(0);
        QTest::newRow("a line") << QKeySequence(QKeySequence::SelectNextLine) << qsizetype(7);
        QTest::newRow("everything, up to the end") << QKeySequence(QKeySequence::SelectAll) << qsizetype(200 * 7);
    }

    void appendingLeavesTheSelectionAlone()
    {
        QFETCH(QKeySequence, keys);
        QFETCH(qsizetype, length);
        WorkerWindowController controller(1, 1);
        controller.prepareForDisplay();
        QPlainTextEdit* log = logOf(controller);
        for (int line = 0; line < 200; ++line)
            controller.appendLog(u"a line\n"_s);
        controller.completeLog();
        QTest::keySequence(log, keys);
        const QString selected = log->textCursor().selectedText();
        QCOMPARE(selected.size(), length);

        log->verticalScrollBar()->setValue(0);
        controller.appendLog({});
        QCOMPARE(log->verticalScrollBar()->value(), 0);
        controller.appendLog(u"one more"_s);
        controller.completeLog();
        QCOMPARE(log->textCursor().selectedText(), selected);
        QCOMPARE(log->verticalScrollBar()->value(), log->verticalScrollBar()->maximum());
    }

    void longLinesAndNamesNeitherScrollNorWiden()
    {
        WorkerWindowController controller(1, 1);
        controller.prepareForDisplay();
        controller.setIdle(QString(2000, u'长'));
        controller.appendLog(QString(20000, u'x'));
        QCoreApplication::processEvents();
        QCOMPARE(controller.window()->size(), QSize(760, 420));
        QVERIFY(!logOf(controller)->horizontalScrollBar()->isVisible());
        QVERIFY(logOf(controller)->verticalScrollBar()->maximum() > 0); // the line wraps
    }

    void manyLinesBehaveAsLines()
    {
        WorkerWindowController controller(1, 1);
        controller.prepareForDisplay();
        QString lines;
        for (int number = 1000; number < 5000; ++number)
            lines += u"line %1\n"_s.arg(number);
        controller.appendLog(lines);
        controller.completeLog();
        QPlainTextEdit* log = logOf(controller);
        QCOMPARE(log->toPlainText(), lines);
        QScrollBar* bar = log->verticalScrollBar();
        QCOMPARE(bar->maximum() + bar->pageStep(), 4001);

        bar->setValue(500);
        const QPoint firstLine(log->viewport()->rect().left() + 20, 1 + log->fontMetrics().ascent());
        const auto selectLineAtTop = [&] {
            QTest::mouseDClick(log->viewport(), Qt::LeftButton, {}, firstLine);
            QTest::mouseClick(log->viewport(), Qt::LeftButton, {}, firstLine);
            log->copy();
            return QGuiApplication::clipboard()->text();
        };
        QCOMPARE(selectLineAtTop(), u"line 1500\n"_s);
        controller.window()->resize(600, 500);
        QCOMPARE(bar->maximum() + bar->pageStep(), 4001);
        QCOMPARE(selectLineAtTop(), u"line 1500\n"_s);
        bar->setValue(bar->maximum());
        controller.window()->resize(700, 600);
        QCOMPARE(bar->value(), bar->maximum());
        controller.window()->resize(700, 420);
        QCOMPARE(bar->value(), bar->maximum());
    }

    void pointerSelectsWholeLinesOnlyAfterTheThirdClick()
    {
        WorkerWindowController controller(1, 1);
        controller.prepareForDisplay();
        controller.appendLog(u"first\nsecond\nthird\n"_s);
        controller.completeLog();
        QPlainTextEdit* log = logOf(controller);
        const QPoint firstLine(20, 1 + log->fontMetrics().ascent());
        const auto moveTo = [&](const QPoint& position) {
            QMouseEvent move(QEvent::MouseMove, position, log->viewport()->mapToGlobal(position), Qt::NoButton,
                             Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(log->viewport(), &move);
            log->copy();
            return QGuiApplication::clipboard()->text();
        };
        log->selectAll();
        QTest::mouseClick(log->viewport(), Qt::RightButton, {}, firstLine);
        QCOMPARE(log->textCursor().selectedText().size(), 19);
        QTest::mouseDClick(log->viewport(), Qt::LeftButton, {}, firstLine);
        QTest::mousePress(log->viewport(), Qt::LeftButton, {}, firstLine);
        QCOMPARE(moveTo(firstLine + QPoint(1, 0)), u"first\n"_s);
        QCOMPARE(moveTo(firstLine + QPoint(0, log->fontMetrics().lineSpacing())), u"first\nsecond\n"_s);
        QTest::mouseRelease(log->viewport(), Qt::LeftButton, {}, firstLine);
    }

    void keepsGlyphsOnlyOfTheLastLines()
    {
        WorkerWindowController controller(1, 1);
        for (int i = 0; i < 20; ++i) {
            controller.appendLog(u"a line\n"_s.repeated(200));
            controller.completeLog();
        }
        int blocks = 0;
        for (QTextBlock block = logOf(controller)->document()->begin(); block.isValid(); block = block.next())
            blocks += block.layout()->cacheEnabled();
        QVERIFY(blocks > 0 && blocks < 10);
    }

    void openWindowOutlivesItsController()
    {
        auto controller = std::make_unique<WorkerWindowController>(1, 1);
        controller->prepareForDisplay();
        const QPointer<QWidget> window = controller->window();
        controller.reset();
        QVERIFY(window && window->isVisible());
        window->close();
        QTRY_VERIFY(!window);
    }

    void windowClosedByHandGoesWithItsController()
    {
        auto controller = std::make_unique<WorkerWindowController>(1, 1);
        controller->prepareForDisplay();
        const QPointer<QWidget> window = controller->window();
        window->close();
        QCoreApplication::processEvents();
        controller->appendLog(u"the job goes on\n"_s);
        QVERIFY(window && !window->isVisible());
        controller.reset();
        QVERIFY(!window);
    }
};

QTEST_MAIN(WorkerWindowTest)
#include "tst_WorkerWindow.moc"
