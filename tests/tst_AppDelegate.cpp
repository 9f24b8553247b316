#include "AppMain/AppDelegate.h"
#include "Controls/DroppablePathField.h"
#include "Controls/OnScreen.h"
#include "MainWindowController/MainWindow.h"
#include "TestFiles.h"

#include <QApplication>
#include <QFileOpenEvent>
#include <QLineEdit>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// The application as it stands after launching.
class TestAppDelegate final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_bus.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
        if (m_bus.waitForReadyRead())
            qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.readLine().trimmed());
    }

    void cleanupTestCase()
    {
        m_bus.terminate();
        m_bus.waitForFinished();
    }

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

    /// This screen is too narrow for it; and for another it is too small altogether.
    void opensWindowsWhollyOnTheScreen()
    {
        const QRect available = m_window->screen()->availableGeometry();
        QVERIFY(available.width() < 860 && available.contains(m_window->frameGeometry()));
        QVERIFY(QLineF(available.center(), m_window->frameGeometry().center()).length() < 30);

        QWidget large;
        large.setMinimumSize(available.size());
        large.setGeometry(available.translated(300, -40));
        keepOnScreen(&large); // with a frame that nobody knows yet
        QVERIFY(available.contains(large.geometry()) && large.y() < 40);
        large.show();
        large.grab();
        QCoreApplication::processEvents();
        QVERIFY(available.contains(large.frameGeometry()));
        large.move(300, 300); // from now on it is the user's
        large.grab();
        QCoreApplication::processEvents();
        QCOMPARE(large.pos(), QPoint(300, 300));
    }

    void opensWhatTheDesktopAsksFor()
    {
        const QTemporaryDir folder;
        const QStringList videos = {folder.filePath(u"一.mp4"_s), folder.filePath(u"二 %20.mp4"_s)};
        for (const QString& video : videos)
            writeFile(video, {});
        QFileOpenEvent event(videos.first());
        QCoreApplication::sendEvent(qApp, &event);
        QCOMPARE(m_window->videoPathField->text(), videos.first());
#ifdef KESTREL_DBUS
        if (m_bus.state() != QProcess::Running || QStandardPaths::findExecutable(u"gdbus"_s).isEmpty())
            QSKIP("no message bus to ask over");
        QProcess call;
        const QString uris = u"['%1', '%2']"_s.arg(QString::fromLatin1(QUrl::fromLocalFile(videos[1]).toEncoded()),
                                                   QString::fromLatin1(QUrl::fromLocalFile(folder.path()).toEncoded()));
        call.start(u"gdbus"_s,
                   {u"call"_s, u"--session"_s, u"--dest=org.kestrel.kestrel"_s, u"--object-path=/org/kestrel/kestrel"_s,
                    u"--method=org.freedesktop.Application.Open"_s, uris, u"{}"_s});
        QTRY_COMPARE(call.state(), QProcess::NotRunning);
        QCOMPARE(call.readAllStandardError(), QByteArray());
        QCOMPARE(m_window->videoPathField->text(), videos[1]);
#endif
    }

    void quitsFromAnyWindow()
    {
        QAction* quit = m_window->menuBar()->actions().first()->menu()->actions().first();
        QSignalSpy quitting(quit, &QAction::triggered);
        QWidget worker;
        worker.show();
        m_window->close();
        QVERIFY(QTest::qWaitForWindowActive(&worker));
        QTest::keyClick(&worker, Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(quitting.size(), 1);
    }

    void editsTheFocusedText()
    {
        const auto choose = [&](const QString& title) {
            for (QAction* item : m_window->menuBar()->actions().at(1)->menu()->actions()) {
                if (item->text() == title)
                    item->trigger();
            }
        };
        QLineEdit* field = m_window->prefixField;
        field->setText(u"ab"_s);
        field->setFocus();
        choose(u"全选"_s);
        choose(u"剪切"_s);
        QCOMPARE(field->text(), QString());
        m_window->cropField->setFocus();
        choose(u"粘贴"_s);
        QCOMPARE(m_window->cropField->text(), u"ab"_s);

        QPlainTextEdit log(u"log"_s); // a window of its own, as the workers' are
        log.setReadOnly(true);
        log.show();
        QVERIFY(QTest::qWaitForWindowActive(&log));
        log.setFocus();
        choose(u"全选"_s);
        choose(u"复制"_s);
        QCOMPARE(log.textCursor().selectedText(), u"log"_s);
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window));
        field->setFocus();
        choose(u"粘贴"_s);
        QCOMPARE(field->text(), u"log"_s);
    }

private:
    QProcess m_bus; ///< private to this test
    std::unique_ptr<AppDelegate> m_delegate;
    QPointer<MainWindow> m_window;
};

QTEST_MAIN(TestAppDelegate)
#include "tst_AppDelegate.moc"
