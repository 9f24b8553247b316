#include "AppMain/AppDelegate.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentTableModel.h"

#include <QApplication>
#include <QLineEdit>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QTableView>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

/// The application as it stands after launching.
class TestAppDelegate final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_delegate = std::make_unique<AppDelegate>();
        m_delegate->applicationDidFinishLaunching();
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* window = qobject_cast<MainWindow*>(widget))
                m_window = window;
        }
        QVERIFY(m_window);
        QVERIFY(QTest::qWaitForWindowActive(m_window));
    }

    void cleanup() { m_delegate.reset(); }

    void opensTheWindowInTheMiddle()
    {
        QCOMPARE(m_window->centralWidget()->size(), QSize(860, 620));
        const QRect available = m_window->screen()->availableGeometry();
        const QRect frame(m_window->pos(), m_window->size());
        QCOMPARE(frame.left(), std::max(available.left(), available.left() + (available.width() - frame.width()) / 2));
        QCOMPARE(frame.top(), std::max(available.top(), available.top() + (available.height() - frame.height()) / 2));
    }

    void hasExactlyTheMenu()
    {
        QStringList lines;
        for (const QAction* top : m_window->menuBar()->actions()) {
            lines.append(top->text());
            for (const QAction* item : top->menu()->actions())
                lines.append(u"  "_s + item->text() + u' ' + item->shortcut().toString(QKeySequence::PortableText));
        }
        QCOMPARE(lines, (QStringList{u"Kestrel"_s, u"  退出 Kestrel Ctrl+Q"_s, u"编辑"_s, u"  撤销 Ctrl+Z"_s,
                                     u"  重做 Ctrl+Shift+Z"_s, u"   "_s, u"  剪切 Ctrl+X"_s, u"  复制 Ctrl+C"_s,
                                     u"  粘贴 Ctrl+V"_s, u"  全选 Ctrl+A"_s}));
    }

    void editsTheFocusedText_data()
    {
        QTest::addColumn<bool>("byKeys");
        QTest::newRow("by keys") << true;
        QTest::newRow("by menu") << false;
    }

    void editsTheFocusedText()
    {
        QFETCH(const bool, byKeys);
        const auto choose = [&](const QString& title, const QKeySequence& keys) {
            if (byKeys) {
                QTest::keySequence(QApplication::focusWidget(), keys);
                return;
            }
            for (QAction* item : m_window->menuBar()->actions().at(1)->menu()->actions()) {
                if (item->text() == title)
                    item->trigger();
            }
        };
        QLineEdit* field = m_window->prefixField;
        field->setFocus();
        QTest::keyClicks(field, u"ab"_s);
        choose(u"撤销"_s, u"Ctrl+Z"_s);
        QCOMPARE(field->text(), QString());
        choose(u"重做"_s, u"Ctrl+Shift+Z"_s);
        QCOMPARE(field->text(), u"ab"_s);
        choose(u"全选"_s, u"Ctrl+A"_s);
        QCOMPARE(field->selectedText(), u"ab"_s);
        choose(u"剪切"_s, u"Ctrl+X"_s);
        QCOMPARE(field->text(), QString());
        m_window->cropField->setFocus();
        choose(u"粘贴"_s, u"Ctrl+V"_s);
        QCOMPARE(m_window->cropField->text(), u"ab"_s);

        m_window->parseButton->setFocus(); // no text: nothing happens
        choose(u"剪切"_s, u"Ctrl+X"_s);
        QPlainTextEdit log(u"log"_s); // a window of its own, as the workers' are
        log.setReadOnly(true);
        log.show();
        QVERIFY(QTest::qWaitForWindowActive(&log));
        log.setFocus();
        choose(u"全选"_s, u"Ctrl+A"_s);
        choose(u"复制"_s, u"Ctrl+C"_s);
        QCOMPARE(log.textCursor().selectedText(), u"log"_s);
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window));
        field->setFocus();
        choose(u"粘贴"_s, u"Ctrl+V"_s);
        QCOMPARE(field->text(), u"log"_s);
    }

    void editsTheOpenCell()
    {
        QTest::mouseClick(m_window->addSegmentButton, Qt::LeftButton);
        QTableView* table = m_window->segmentTableView;
        table->setFocus();
        table->setCurrentIndex(table->model()->index(0, SegmentTableModel::endColumn));
        QTest::keyClick(table, Qt::Key_F2);
        auto* field = qobject_cast<QLineEdit*>(QApplication::focusWidget());
        QVERIFY(field);
        const QString before = field->text();
        QTest::keySequence(field, u"Ctrl+A"_s);
        QTest::keySequence(field, u"Ctrl+X"_s);
        QCOMPARE(field->text(), QString());
        QTest::keySequence(field, u"Ctrl+Z"_s);
        QCOMPARE(field->text(), before);
    }

    void quits_data()
    {
        QTest::addColumn<bool>("byClosing");
        QTest::newRow("by its shortcut") << false;
        QTest::newRow("by closing the last window") << true;
    }

    void quits()
    {
        QFETCH(const bool, byClosing);
        QTimer::singleShot(0, m_window, [&] {
            if (byClosing)
                m_window->close();
            else
                QTest::keySequence(m_window, u"Ctrl+Q"_s);
        });
        QTimer::singleShot(5000, this, [] { QCoreApplication::exit(1); });
        QCOMPARE(QApplication::exec(), 0);
    }

private:
    std::unique_ptr<AppDelegate> m_delegate;
    QPointer<MainWindow> m_window;
};

QTEST_MAIN(TestAppDelegate)
#include "tst_AppDelegate.moc"
