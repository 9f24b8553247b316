#include "WorkerWindowController/WorkerWindowController.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QScrollBar>
#include <QTest>

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
    /// Windows that are open outlive their controller.
    void cleanup()
    {
        QApplication::closeAllWindows();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void saysWhatTheWorkerDoes()
    {
        WorkerWindowController controller(2, 3);
        QVERIFY(!controller.window()->isVisible());
        controller.prepareForDisplay();
        QCOMPARE(controller.window()->windowTitle(), u"分解任务 2/3"_s);
        controller.setRunning({2, FileURL(u"/in.mp4"_s), FileURL(u"/out/%1-02.mp4"_s), 0, 1, std::nullopt}, 2, 5);
        QCOMPARE(label(controller, u"statusLabel"_s)->text(), u"运行中"_s);
        QCOMPARE(label(controller, u"detailLabel"_s)->text(), u"第 2/5 段 -> %1-02.mp4"_s);
    }

    void appendingLeavesTheSelectionAlone()
    {
        for (const auto& [keys, length] : {std::pair(QKeySequence(), 0),
                                           {QKeySequence(QKeySequence::MoveToEndOfDocument), 0},
                                           {QKeySequence(QKeySequence::SelectNextLine), 7},
                                           {QKeySequence(QKeySequence::SelectAll), 200 * 7}}) {
            WorkerWindowController controller(1, 1);
            controller.prepareForDisplay();
            QPlainTextEdit* log = logOf(controller);
            controller.appendLog(u"a line\n"_s.repeated(200));
            QTest::keySequence(log, keys);
            const QString selected = log->textCursor().selectedText();
            QCOMPARE(selected.size(), length);

            log->verticalScrollBar()->setValue(0);
            controller.appendLog({});
            QCOMPARE(log->verticalScrollBar()->value(), 0);
            controller.appendLog(u"one more"_s);
            QCOMPARE(log->textCursor().selectedText(), selected);
            QCOMPARE(log->verticalScrollBar()->value(), log->verticalScrollBar()->maximum());
        }
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

    void givesBackWhatWasAppended()
    {
        const auto numbered = [](const QString& line) {
            QString lines;
            for (int number = 0; number < 3000; ++number)
                lines += line.arg(number);
            return lines;
        };
        for (const QString& text :
             {numbered(u"frame=%1 fps=25\rframe=%1\nfps=25\n\n"_s), numbered(u"%1\r"_s) + u"\r"_s.repeated(100'000),
              numbered(u"%1\r\n"_s) + u"\n\r\n\r\r\n"_s, numbered(u"%1 长😀"_s), u'x' + u"😀"_s.repeated(50'000),
              // what Qt has a meaning of its own for, and words from right to left
              numbered(u"%1\u2028\u2028a\u2029b\ufdd0c\ufdd1d\ufffce\u00a0f\tg\v\f"_s) + QString(9, QChar(0)) + u"\n"_s,
              numbered(u"%1 مرحبا\n"_s)}) {
            WorkerWindowController controller(1, 1);
            controller.prepareForDisplay();
            for (qsizetype start = 0, length = 1; start < text.size(); start += length, length = length * 7 % 9973)
                controller.appendLog(text.mid(start, length));
            QPlainTextEdit* log = logOf(controller);
            const auto selected = [log](int from, int to) {
                QTextCursor cursor(log->document());
                cursor.setPosition(from);
                cursor.setPosition(to, QTextCursor::KeepAnchor);
                log->setTextCursor(cursor);
                log->copy();
                return QGuiApplication::clipboard()->text();
            };
            const auto everything = [&] { return selected(0, log->document()->characterCount() - 1); };
            QTRY_COMPARE(everything().size(), text.size());
            QCOMPARE(everything(), text);
            const int middle = log->document()->characterCount() / 2;
            QCOMPARE(selected(0, middle) + selected(middle, log->document()->characterCount() - 1), text);
            QVERIFY(log->document()->characterCount() <
                    text.size() + 20); // no break of its own in lines of usual length
        }
    }

    void manyLinesBehaveAsLines()
    {
        WorkerWindowController controller(1, 1);
        controller.prepareForDisplay();
        QString lines;
        for (int number = 1000; number < 5000; ++number)
            lines += u"line %1\n"_s.arg(number);
        controller.appendLog(lines);
        QPlainTextEdit* log = logOf(controller);
        QTRY_COMPARE(log->toPlainText(), lines);
        QScrollBar* bar = log->verticalScrollBar();
        QCOMPARE(bar->maximum() + bar->pageStep(), 4001);
        controller.window()->resize(600, 500);
        QCOMPARE(bar->maximum() + bar->pageStep(), 4001);
        QCOMPARE(bar->value(), bar->maximum());
        bar->setValue(500);
        QCOMPARE(log->cursorForPosition(QPoint(11, 5)).position(), lines.indexOf(u"line 1500"_s));
    }

    void openWindowOutlivesItsController()
    {
        for (const bool isOpen : {true, false}) {
            auto controller = std::make_unique<WorkerWindowController>(1, 1);
            controller->prepareForDisplay();
            const QPointer<QWidget> window = controller->window();
            if (!isOpen)
                window->close();
            QCoreApplication::processEvents();
            controller->appendLog(u"the job goes on\n"_s);
            QVERIFY(window && window->isVisible() == isOpen);
            controller.reset();
            QCOMPARE(!window.isNull(), isOpen);
            if (isOpen)
                window->close();
            QTRY_VERIFY(!window);
        }
    }
};

QTEST_MAIN(WorkerWindowTest)
#include "tst_WorkerWindow.moc"
