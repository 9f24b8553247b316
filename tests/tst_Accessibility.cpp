#include "Controls/SegmentTimeField.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentTableDelegate.h"
#include "MainWindowController/SegmentTableModel.h"
#include "WorkerWindowController/WorkerWindowController.h"

#include <QAccessible>
#include <QCheckBox>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// Every visible part that a screen reader comes to and finds no name for; what only holds or decorates needs none.
void findNameless(QAccessibleInterface* part, QStringList& nameless, int& count)
{
    static const QList<QAccessible::Role> structures = {
        QAccessible::Client,   QAccessible::Pane,      QAccessible::LayeredPane,
        QAccessible::Grouping, QAccessible::ScrollBar, QAccessible::Separator,
        QAccessible::Border,   QAccessible::Splitter,  QAccessible::Whitespace};
    if (!part || part->state().invisible)
        return;
    ++count;
    if (!structures.contains(part->role()) && part->text(QAccessible::Name).trimmed().isEmpty())
        nameless += part->object() ? QDebug::toString(part->object()) : u"cell, role %1"_s.arg(part->role(), 0, 16);
    for (int i = 0; i < part->childCount(); ++i)
        findNameless(part->child(i), nameless, count);
}

void act(QAccessibleInterface* part, const QString& action)
{
    part->actionInterface()->doAction(action);
}

} // namespace

/// What a screen reader finds.
class TestAccessibility final : public QObject
{
    Q_OBJECT

    std::unique_ptr<MainWindow> m_window;

    [[nodiscard]] QAccessibleInterface* spokenTable() const
    {
        return QAccessible::queryAccessibleInterface(m_window->segmentTableView);
    }
    [[nodiscard]] QAccessibleInterface* cell(int row, int column) const
    {
        return spokenTable()->tableInterface()->cellAt(row, column);
    }

private Q_SLOTS:
    void init()
    {
        m_window = std::make_unique<MainWindow>();
        m_window->show();
        DetectorPayload payload;
        payload.events = {{1, u"fade"_s, 3, 4, 1, 0.9, u"亮度"_s}};
        m_window->segmentList->replace(
            {{}, payload, {{1, true, 0, 3, false}, {2, false, 4, 9, false}, {3, true, 5, 6, true}}});
    }

    void namesEverything()
    {
        WorkerWindowController worker(1, 3);
        worker.prepareForDisplay();
        for (QWidget* window : {static_cast<QWidget*>(m_window.get()), worker.window()}) {
            QStringList nameless;
            int count = 0;
            findNameless(QAccessible::queryAccessibleInterface(window), nameless, count);
            QVERIFY2(nameless.isEmpty(), qPrintable(nameless.join(u'\n')));
            QVERIFY(count >= (window == m_window.get() ? 70 : 4));
        }
    }

    void togglesAsAClickDoes()
    {
        m_window->segmentMasterCheckbox->setCheckState(Qt::PartiallyChecked);
        for (QAbstractButton* button : {static_cast<QAbstractButton*>(m_window->segmentMasterCheckbox),
                                        static_cast<QAbstractButton*>(m_window->fadeStrategyRows.front().button)}) {
            QSignalSpy clicked(button, &QAbstractButton::clicked);
            QAccessibleInterface* toggle = QAccessible::queryAccessibleInterface(button);
            QCOMPARE(toggle->state().checkStateMixed, button == m_window->segmentMasterCheckbox);
            act(toggle, QAccessibleActionInterface::toggleAction());
            QCOMPARE(clicked.size(), 1);
            QVERIFY(toggle->state().checked && !toggle->state().checkStateMixed);
            button->setEnabled(false);
            QVERIFY(toggle->actionInterface()->actionNames().isEmpty());
        }
    }

    void tellsTheCellsOfTheSegments()
    {
        QAccessibleInterface* table = spokenTable();
        QCOMPARE(cell(0, 0)->text(QAccessible::Name), u"已启用"_s);
        QCOMPARE(cell(1, 0)->text(QAccessible::Name), u"未启用"_s);
        QVERIFY(cell(0, 0)->state().checked && !cell(1, 0)->state().checked && !cell(1, 1)->state().checkable);
        QVERIFY(!cell(2, 2)->text(QAccessible::Description).isEmpty());
        QCOMPARE(cell(2, 1)->tableCellInterface()->columnHeaderCells().value(0)->text(QAccessible::Name),
                 u"开始时间"_s);
        QCOMPARE(table->childCount(), 16); // with the headers
        for (int i = 0; i < table->childCount(); ++i)
            QCOMPARE(table->indexOfChild(table->child(i)), i);
        QVERIFY(!table->child(-1) && !table->child(16) && !cell(3, 0) && !cell(0, 3));

        QVERIFY(table->tableInterface()->selectRow(1) && cell(1, 0)->state().selected);
        m_window->segmentTableView->setCurrentIndex(m_window->segmentTableModel->index(2, 1));
        QCOMPARE(table->focusChild(), cell(2, 1));

        QAccessibleInterface* deleteMark = cell(2, 2)->child(0);
        QCOMPARE(deleteMark->role(), QAccessible::Button);
        const QPoint there = deleteMark->rect().center();
        QCOMPARE(table->childAt(there.x(), there.y()), cell(2, 2));
        QCOMPARE(cell(2, 2)->childAt(there.x(), there.y()), deleteMark);
        QVERIFY(!cell(2, 2)->childAt(there.x() - 16, there.y()));
    }

    void actsInTheCellsOfTheSegments()
    {
        SegmentListEditor& list = *m_window->segmentList;
        connect(m_window->segmentTableDelegate, &SegmentTableDelegate::deleteRequested, &list,
                &SegmentListEditor::remove);
        for (const bool enabled : {false, true}) {
            act(cell(0, 0), QAccessibleActionInterface::toggleAction());
            QCOMPARE(list.segments().at(0).isEnabled, enabled);
        }
        const auto openField = [&] { return m_window->segmentTableView->findChild<SegmentTimeField*>(); };
        act(cell(1, 1), QAccessibleActionInterface::setFocusAction());
        QCOMPARE(m_window->segmentTableView->currentIndex(), m_window->segmentTableModel->index(1, 1));
        QVERIFY(!openField());
        for (int times = 0; times < 2; ++times) // the second time it is open already
            act(cell(1, 1), QAccessibleActionInterface::pressAction());
        QCOMPARE(openField()->text(), u"00:00:04.000"_s);
        act(cell(2, 2)->child(0), QAccessibleActionInterface::pressAction());
        QTRY_COMPARE(list.segments().size(), 2);
        QCOMPARE(list.segments().last().index, 2);
    }

    void keepsCellsWithTheirRows()
    {
        m_window->segmentList->replace(
            {{}, {}, {{1, true, 0, 3, true}, {2, false, 4, 9, false}, {3, true, 5, 6, true}}});
        QAccessibleInterface* table = spokenTable();
        // What the view does when assistive technology is on.
        const auto tell = [&](QAccessibleTableModelChangeEvent::ModelChangeType type) {
            QAccessibleTableModelChangeEvent change(m_window->segmentTableView, type);
            table->tableInterface()->modelChange(&change);
        };
        QAccessibleInterface* removed = cell(0, 2);
        QAccessibleInterface* moved = cell(2, 2);
        const QList<QAccessible::Id> ids = {QAccessible::uniqueId(moved), QAccessible::uniqueId(moved->child(0)),
                                            QAccessible::uniqueId(table->child(12))}; // a row header
        m_window->segmentList->remove(0);
        QVERIFY(!removed->isValid() && moved->isValid());
        QCOMPARE(cell(1, 2), moved);
        const QAccessible::Id removedId = QAccessible::uniqueId(removed);
        tell(QAccessibleTableModelChangeEvent::RowsRemoved);
        QVERIFY(!QAccessible::accessibleInterface(removedId));
        QCOMPARE(QAccessible::accessibleInterface(ids.first()), moved);

        m_window->segmentList->replace({{}, {}, {{1, true, 7, 8, false}}});
        QVERIFY(!moved->isValid());
        tell(QAccessibleTableModelChangeEvent::ModelReset);
        for (const QAccessible::Id id : ids)
            QVERIFY(!QAccessible::accessibleInterface(id));
    }
};

QTEST_MAIN(TestAccessibility)
#include "tst_Accessibility.moc"
