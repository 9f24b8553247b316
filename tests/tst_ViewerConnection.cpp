#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentTableModel.h"
#include "MainWindowController/ViewerConnection.h"
#include "Viewer/ViewerWindow.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

using namespace Qt::StringLiterals;

using Kind = ViewerSubject::Kind;

/// The main window with a result, and the viewer tied to it. No pictures are fetched: the viewer has no video.
class ViewerConnectionTest final : public QObject
{
    Q_OBJECT

    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<ViewerConnection> m_connection;

    [[nodiscard]] const EditableSegment& segment(int row) const { return m_window->segmentList->segments().at(row); }
    [[nodiscard]] bool isOpen() const { return m_connection->viewer()->isVisible(); }
    [[nodiscard]] ViewerSubject subject() const { return m_connection->viewer()->subject(); }

    void openFor(QTableView* table, int row)
    {
        table->setFocus();
        table->setCurrentIndex(table->model()->index(row, 0));
        QTest::keyClick(table, Qt::Key_Space);
    }

private Q_SLOTS:
    void init()
    {
        DetectorPayload payload;
        payload.events = {{1, u"cut"_s, 20, 22, 2, 1, {}}, {2, u"fade"_s, 60, 62, 2, 1, {}}};
        m_window = std::make_unique<MainWindow>();
        m_connection = std::make_unique<ViewerConnection>(*m_window, [this] {
            ViewerContent content;
            content.duration = 100;
            content.events = m_window->segmentList->list().events();
            content.segments = m_window->segmentList->segments();
            return content;
        });
        m_window->segmentList->replace(
            {{}, payload, {{1, true, 0, 20, false}, {2, true, 22, 60, false}, {3, true, 62, 100, false}}});
        m_window->show();
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    }

    void cleanup() { m_connection.reset(); }

    void keysAndTheMenuOpenAndClose()
    {
        QTableView* segments = m_window->segmentTableView;
        for (QTableView* table : {m_window->eventTableView, segments}) {
            for (const auto closing : {Qt::Key_Escape, Qt::Key_Space}) {
                openFor(table, 0);
                QVERIFY(isOpen() && table->hasFocus());
                QTest::keyClick(table, closing);
                QVERIFY(!isOpen());
            }
        }
        QVERIFY(segment(0).isEnabled); // the box was not meant

        QTest::mouseClick(segments->viewport(), Qt::LeftButton, {},
                          segments->visualRect(segments->model()->index(0, 1)).center());
        QTest::keyClick(segments->findChild<QLineEdit*>(), Qt::Key_Space); // not in a time either
        QVERIFY(isOpen() && segments->hasFocus());
        QCOMPARE(segment(0).start, 0.0);
        QTest::keyClick(segments, Qt::Key_Space);

        segments->setCurrentIndex(segments->model()->index(1, 1));
        segments->actions().first()->trigger();
        QVERIFY(isOpen());
        QCOMPARE(subject(), (ViewerSubject{Kind::segment, 1}));
    }

    void itFollowsBothTablesAndKeepsItsPlace()
    {
        QTableView* segments = m_window->segmentTableView;
        openFor(m_window->eventTableView, 0);
        QCOMPARE(subject(), (ViewerSubject{Kind::transition, 0}));
        const auto* title = m_connection->viewer()->findChild<QLabel*>(u"titleLabel"_s);
        QCOMPARE(title->text(), u"换场 1　cut　00:00:20.000 – 00:00:22.000"_s);
        QVERIFY(!m_window->segmentList->edit({}, [](SegmentList& list) {
            list.segments[0].end = 60;
            return std::nullopt;
        }));
        QTRY_VERIFY(title->text().endsWith(u"　（已否决）"_s));
        m_connection->viewer()->setGeometry(2, 80, 780, 300);
        QTest::keyClick(m_connection->viewer(), Qt::Key_Space);
        QTest::keyClick(m_window->eventTableView, Qt::Key_Space);
        QTRY_COMPARE(m_connection->viewer()->geometry(), QRect(2, 80, 780, 300));
        QTest::keyClick(m_window->eventTableView, Qt::Key_Down);
        QTRY_COMPARE(subject(), (ViewerSubject{Kind::transition, 1}));
        QTest::mouseClick(segments->viewport(), Qt::LeftButton, {},
                          segments->visualRect(segments->model()->index(2, 2)).center());
        QTRY_COMPARE(subject(), (ViewerSubject{Kind::segment, 2}));
        m_window->segmentList->replace({});
        QTRY_COMPARE(subject(), ViewerSubject());
    }

    void keysInTheTableReachIt()
    {
        QTableView* table = m_window->segmentTableView;
        const QSignalSpy refusals(m_window->segmentTableModel, &SegmentTableModel::editRefused);
        openFor(table, 1);
        QTest::keyClick(table, Qt::Key_Right, Qt::ShiftModifier);
        QCOMPARE(segment(1).start, 23.0);
        QTest::keyClick(table, Qt::Key_Tab);
        QVERIFY(table->hasFocus());
        QTest::keyClick(table, Qt::Key_Left, Qt::ShiftModifier);
        QCOMPARE(segment(1).end, 59.0);

        m_window->segmentList->replace({{}, {}, {{1, true, 5, 5.5, false}}});
        table->setCurrentIndex(table->model()->index(0, 1));
        QTRY_COMPARE(subject(), (ViewerSubject{Kind::segment, 0}));
        QTest::keyClick(table, Qt::Key_Left, Qt::ShiftModifier); // the end would come before the start
        QCOMPARE(refusals.count(), 1);
        Q_EMIT m_connection->viewer()->splitRequested(0, 5.2);
        QVERIFY(segment(0).end == 5.2 && segment(1).start == 5.2 && segment(1).end == 5.5);
    }

    void doubleClicksOnTheLineSelectRows()
    {
        openFor(m_window->eventTableView, 0);
        auto* line = m_connection->viewer()->findChild<QWidget*>(u"timelineView"_s);
        const auto placeOf = [line](double seconds) {
            return QPoint(6 + int(seconds / 100 * (line->width() - 12)), 10);
        };
        const auto doubleClickAt = [&](double seconds) {
            QTest::mouseDClick(line, Qt::LeftButton, {}, placeOf(seconds));
        };
        doubleClickAt(61);
        QTRY_COMPARE(subject(), (ViewerSubject{Kind::transition, 1}));
        QCOMPARE(m_window->eventTableView->currentIndex().row(), 1);
        doubleClickAt(40);
        QTRY_COMPARE(subject(), (ViewerSubject{Kind::segment, 1}));
        QCOMPARE(m_window->segmentTableView->currentIndex().row(), 1);

        // The wheel zooms around the pointer and scrolls with Shift; what was beside the transition then is in it.
        const auto wheel = [&](int steps, Qt::KeyboardModifiers modifiers) {
            QWheelEvent event(placeOf(61), line->mapToGlobal(placeOf(61)), {}, {0, 120 * steps}, {}, modifiers,
                              Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(line, &event);
        };
        auto* wholeVideo = m_connection->viewer()->findChild<QAction*>(u"wholeVideoAction"_s);
        QVERIFY(!wholeVideo->isEnabled());
        wheel(10, Qt::NoModifier);
        QVERIFY(wholeVideo->isEnabled());
        doubleClickAt(66); // 61.5 s
        QTRY_COMPARE(subject(), (ViewerSubject{Kind::transition, 1}));
        wheel(5, Qt::ShiftModifier); // a whole part back
        doubleClickAt(61);
        QTRY_COMPARE(subject(), (ViewerSubject{Kind::segment, 1}));
        wholeVideo->trigger();
        QVERIFY(!wholeVideo->isEnabled());
    }
};

QTEST_MAIN(ViewerConnectionTest)
#include "tst_ViewerConnection.moc"
