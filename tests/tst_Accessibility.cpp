#include "MainWindowController/EventTableModel.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentTableModel.h"
#include "WorkerWindowController/WorkerWindowController.h"

#include <QAccessible>
#include <QTableView>
#include <QTest>

using namespace Qt::StringLiterals;

/// What a screen reader finds.
class TestAccessibility final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesEverythingInTheMainWindow();
    void namesEverythingInAWorkerWindow();
    void tellsTheCellsOfTheSegments();
};

namespace {

/// What only holds or decorates other things needs no name.
bool isStructure(const QAccessibleInterface& part)
{
    static const QList<QAccessible::Role> structures = {
        QAccessible::Client,   QAccessible::Pane,      QAccessible::LayeredPane,
        QAccessible::Grouping, QAccessible::ScrollBar, QAccessible::Separator,
        QAccessible::Border,   QAccessible::Splitter,  QAccessible::Whitespace};
    return structures.contains(part.role());
}

/// Every visible part that a screen reader comes to and finds no name for.
void findNameless(QAccessibleInterface* part, QStringList& nameless, int& count)
{
    if (!part || part->state().invisible)
        return;
    ++count;
    if (!isStructure(*part) && part->text(QAccessible::Name).trimmed().isEmpty()) {
        const QString objectName = part->object() ? part->object()->objectName() : QString();
        nameless += u"%1 \"%2\" (role %3)"_s.arg(
            QString::fromLatin1(part->object() ? part->object()->metaObject()->className() : "cell"), objectName,
            QString::number(part->role(), 16));
    }
    for (int i = 0; i < part->childCount(); ++i)
        findNameless(part->child(i), nameless, count);
}

void verifyNames(QWidget& window, int atLeast)
{
    QStringList nameless;
    int count = 0;
    findNameless(QAccessible::queryAccessibleInterface(&window), nameless, count);
    QVERIFY2(nameless.isEmpty(), qPrintable(nameless.join(u'\n')));
    QVERIFY2(count >= atLeast, qPrintable(u"only %1 parts were found"_s.arg(count)));
}

void fill(MainWindow& window)
{
    window.eventTableModel->setEvents({{1, u"fade"_s, 3, 4, 1, 0.9, u"亮度"_s}});
    window.segmentTableModel->setSegments({{1, true, 0, 3, false}, {2, false, 4, 9, false}, {3, true, 5, 6, true}});
}

} // namespace

void TestAccessibility::namesEverythingInTheMainWindow()
{
    MainWindow window;
    window.show();
    fill(window);
    verifyNames(window, 70);
}

void TestAccessibility::namesEverythingInAWorkerWindow()
{
    WorkerWindowController controller(1, 3);
    controller.prepareForDisplay();
    QWidget* window = QApplication::topLevelWidgets().value(0);
    QVERIFY(window);
    verifyNames(*window, 4);
}

void TestAccessibility::tellsTheCellsOfTheSegments()
{
    MainWindow window;
    window.show();
    fill(window);
    QAccessibleInterface* table = QAccessible::queryAccessibleInterface(window.segmentTableView);
    QVERIFY(table && table->tableInterface());
    const auto cell = [&](int row, int column) { return table->tableInterface()->cellAt(row, column); };
    QCOMPARE(cell(0, 0)->text(QAccessible::Name), u"已启用"_s);
    QCOMPARE(cell(1, 0)->text(QAccessible::Name), u"未启用"_s);
    QVERIFY(cell(0, 0)->state().checked && !cell(1, 0)->state().checked);
    QCOMPARE(cell(2, 1)->text(QAccessible::Name), u"00:00:05.000"_s);
    QVERIFY(cell(0, 2)->text(QAccessible::Description).isEmpty());
    QCOMPARE(cell(2, 2)->text(QAccessible::Description), u"手工片段，按 Delete 键删除"_s);
    QCOMPARE(table->tableInterface()->columnDescription(1), u"开始时间"_s);
}

QTEST_MAIN(TestAccessibility)
#include "tst_Accessibility.moc"
