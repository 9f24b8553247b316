#include "MainWindowController/EventTableModel.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentTableModel.h"
#include "MainWindowController/ViewerConnection.h"
#include "Viewer/ViewerWindow.h"

#include <QAction>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

using namespace Qt::StringLiterals;

using Kind = ViewerSubject::Kind;

/// The main window with a result, and the viewer tied to it. No pictures are fetched: the viewer has no video.
class tst_ViewerConnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_window = std::make_unique<MainWindow>();
        m_connection = std::make_unique<ViewerConnection>(*m_window, [this] {
            ViewerContent content;
            content.duration = 100;
            content.events = {{1, u"cut"_s, 20, 22, 2, 1, {}}, {2, u"fade"_s, 60, 62, 2, 1, {}}};
            content.segments = m_window->segmentTableModel->segments();
            return content;
        });
        m_window->eventTableModel->setEvents({{1, u"cut"_s, 20, 22, 2, 1, {}}, {2, u"fade"_s, 60, 62, 2, 1, {}}});
        m_window->segmentTableModel->setSegments(
            {{1, true, 0, 20, false}, {2, true, 22, 60, false}, {3, true, 62, 100, false}});
        m_window->show();
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    }

    void cleanup()
    {
        m_connection.reset();
        m_window.reset();
    }

    void spaceOpensAndCloses()
    {
        for (QTableView* table : {m_window->eventTableView, m_window->segmentTableView}) {
            table->setFocus();
            table->setCurrentIndex(table->model()->index(0, 0));
            QTest::keyClick(table, Qt::Key_Space);
            QVERIFY(m_connection->viewer()->isVisible());
            QVERIFY(table->hasFocus());
            QTest::keyClick(table, Qt::Key_Escape);
            QVERIFY(!m_connection->viewer()->isVisible());
            QTest::keyClick(table, Qt::Key_Space);
            QTest::keyClick(table, Qt::Key_Space);
            QVERIFY(!m_connection->viewer()->isVisible());
        }
        QVERIFY(m_window->segmentTableModel->segments().first().isEnabled); // the box was not meant
        QTest::keyClick(m_window->segmentTableView, Qt::Key_Space, Qt::ShiftModifier);
        QVERIFY(!m_window->segmentTableModel->segments().first().isEnabled);
        QVERIFY(!m_connection->viewer()->isVisible());
    }

    void theContextMenuOpens()
    {
        QTableView* table = m_window->segmentTableView;
        QCOMPARE(table->contextMenuPolicy(), Qt::ActionsContextMenu);
        QCOMPARE(table->actions().size(), 1);
        QCOMPARE(table->actions().first()->text(), u"查看画面"_s);
        table->setCurrentIndex(table->model()->index(1, 1));
        table->actions().first()->trigger();
        QVERIFY(m_connection->viewer()->isVisible());
        QCOMPARE(m_connection->viewer()->subject(), (ViewerSubject{Kind::segment, 1}));
    }

    void itFollowsBothTables()
    {
        QTableView* events = m_window->eventTableView;
        QTableView* segments = m_window->segmentTableView;
        events->setFocus();
        events->setCurrentIndex(events->model()->index(0, 0));
        QTest::keyClick(events, Qt::Key_Space);
        QCOMPARE(m_connection->viewer()->subject(), (ViewerSubject{Kind::transition, 0}));
        QTest::keyClick(events, Qt::Key_Down);
        QTRY_COMPARE(m_connection->viewer()->subject(), (ViewerSubject{Kind::transition, 1}));
        QTest::mouseClick(segments->viewport(), Qt::LeftButton, {},
                          segments->visualRect(segments->model()->index(2, 2)).center());
        QTRY_COMPARE(m_connection->viewer()->subject(), (ViewerSubject{Kind::segment, 2}));
        m_window->segmentTableModel->setSegments({});
        QTRY_COMPARE(m_connection->viewer()->subject(), ViewerSubject());
    }

    void keysInTheTableReachIt()
    {
        QTableView* table = m_window->segmentTableView;
        const QSignalSpy edits(m_window->segmentTableModel, &SegmentTableModel::segmentsEdited);
        const QSignalSpy refusals(m_window->segmentTableModel, &SegmentTableModel::editRefused);
        table->setFocus();
        table->setCurrentIndex(table->model()->index(1, 1));
        QTest::keyClick(table, Qt::Key_Space);
        QTest::keyClick(table, Qt::Key_Right, Qt::ShiftModifier);
        QCOMPARE(m_window->segmentTableModel->segments()[1].start, 23.0);
        QTest::keyClick(table, Qt::Key_Tab);
        QVERIFY(table->hasFocus());
        QTest::keyClick(table, Qt::Key_Left, Qt::ShiftModifier);
        QCOMPARE(m_window->segmentTableModel->segments()[1].end, 59.0);
        QCOMPARE(edits.count(), 2);

        m_window->segmentTableModel->setSegments({{1, true, 5, 5.5, false}});
        table->setCurrentIndex(table->model()->index(0, 1));
        QTRY_COMPARE(m_connection->viewer()->subject(), (ViewerSubject{Kind::segment, 0}));
        QTest::keyClick(table, Qt::Key_Left, Qt::ShiftModifier); // the end would come before the start
        QCOMPARE(refusals.count(), 1);
    }

    void doubleClicksOnTheLineSelectRows()
    {
        QTableView* events = m_window->eventTableView;
        events->setFocus();
        events->setCurrentIndex(events->model()->index(0, 0));
        QTest::keyClick(events, Qt::Key_Space);
        auto* line = m_connection->viewer()->findChild<QWidget*>(u"timelineView"_s);
        const auto pointAt = [line](double seconds) {
            return QPoint(6 + int(seconds / 100 * (line->width() - 12)), 10);
        };
        QTest::mouseDClick(line, Qt::LeftButton, {}, pointAt(61));
        QTRY_COMPARE(m_connection->viewer()->subject(), (ViewerSubject{Kind::transition, 1}));
        QCOMPARE(events->currentIndex().row(), 1);
        QTest::mouseDClick(line, Qt::LeftButton, {}, pointAt(40));
        QTRY_COMPARE(m_connection->viewer()->subject(), (ViewerSubject{Kind::segment, 1}));
        QCOMPARE(m_window->segmentTableView->currentIndex().row(), 1);
    }

    void itKeepsItsPlaceAndSize()
    {
        QTableView* table = m_window->eventTableView;
        table->setFocus();
        table->setCurrentIndex(table->model()->index(0, 0));
        QTest::keyClick(table, Qt::Key_Space);
        ViewerWindow* viewer = m_connection->viewer();
        viewer->setGeometry(70, 80, 900, 300);
        QTest::keyClick(viewer, Qt::Key_Space);
        QTest::keyClick(table, Qt::Key_Space);
        QTRY_COMPARE(viewer->geometry(), QRect(70, 80, 900, 300));
    }

private:
    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<ViewerConnection> m_connection;
};

QTEST_MAIN(tst_ViewerConnection)
#include "tst_ViewerConnection.moc"
