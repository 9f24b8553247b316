#include "Controls/Appearance.h"
#include "Controls/HoverAwareTableRowView.h"
#include "Controls/SegmentTimeField.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentTableDelegate.h"
#include "MainWindowController/SegmentTableModel.h"

#include <QAbstractItemModelTester>
#include <QMessageBox>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int manualRow = 3;
constexpr int rowHeight = 34;

/// Row n lasts from 10n to 10n + 5 seconds.
QList<EditableSegment> someSegments(int count)
{
    QList<EditableSegment> segments;
    for (int row = 0; row < count; ++row)
        segments.append({row, true, row * 10.0, row * 10.0 + 5, row == manualRow});
    return segments;
}

} // namespace

/// The table as the main window has it, driven by mouse and keys.
class TestSegmentTable final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void settingDataCommits_data();
    void settingDataCommits();
    void opensTheField_data();
    void opensTheField();
    void commits_data();
    void commits();
    void refusesOnceAndShowsTheOldTime_data();
    void refusesOnceAndShowsTheOldTime();
    void keepsFieldAndSelectionWhileOtherRowsChange();
    void togglesRows();
    void deletesManualRowsOnly();
    void showsTheDeleteMarkOnTheHoveredManualRowOnly();
    void tintsManualRows();
    void tellsTheRowUnderThePointer();

private:
    [[nodiscard]] QModelIndex cell(int row, int column) const { return model()->index(row, column); }
    [[nodiscard]] SegmentTableModel* model() const { return m_window->segmentTableModel; }
    [[nodiscard]] QTableView* table() const { return m_window->segmentTableView; }
    [[nodiscard]] QWidget* viewport() const { return table()->viewport(); }
    [[nodiscard]] SegmentTimeField* openField() const { return viewport()->findChild<SegmentTimeField*>(); }
    [[nodiscard]] QRect deleteRect(int row) const
    {
        const QRect rect = table()->visualRect(cell(row, SegmentTableModel::endColumn));
        return QRect(rect.right() + 1 - 18, rect.top(), 16, rect.height());
    }
    void click(const QPoint& position) const { QTest::mouseClick(viewport(), Qt::LeftButton, {}, position); }
    void clickCell(int row, int column) const { click(table()->visualRect(cell(row, column)).center()); }
    void movePointer(const QPoint& position) const;

    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<QAbstractItemModelTester> m_modelTester;
};

void TestSegmentTable::init()
{
    m_window = std::make_unique<MainWindow>();
    m_modelTester =
        std::make_unique<QAbstractItemModelTester>(model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    model()->setSegments(someSegments(30));
    m_window->resize(1420, 760);
    m_window->show();
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
}

void TestSegmentTable::cleanup()
{
    m_modelTester.reset();
    m_window.reset();
}

void TestSegmentTable::movePointer(const QPoint& position) const
{
    const QPoint global = viewport()->mapToGlobal(position);
    QMouseEvent move(QEvent::MouseMove, position, global, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(viewport(), &move);
}

void TestSegmentTable::settingDataCommits_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<int>("edits");
    QTest::addColumn<QString>("refusal");
    const QString malformed = u"时间格式应为 时:分:秒.毫秒，例如 00:01:23.456。"_s;

    QTest::newRow("a new start") << 1 << u"0:0:12.25"_s << u"00:00:12.250"_s << 1 << QString();
    QTest::newRow("a new end") << 2 << u" 00:00:30 "_s << u"00:00:30.000"_s << 1 << QString();
    QTest::newRow("the text shown") << 1 << u"00:00:10.000"_s << u"00:00:10.000"_s << 0 << QString();
    QTest::newRow("no time") << 1 << u"12.5"_s << u"00:00:10.000"_s << 0 << malformed;
    QTest::newRow("nothing") << 2 << u""_s << u"00:00:15.000"_s << 0 << malformed;
    QTest::newRow("a start at the end") << 1 << u"00:00:15"_s << u"00:00:10.000"_s << 0
                                        << u"开始时间必须小于结束时间。"_s;
    QTest::newRow("an end at the start") << 2 << u"00:00:10"_s << u"00:00:15.000"_s << 0
                                         << u"结束时间必须大于开始时间。"_s;
}

void TestSegmentTable::settingDataCommits()
{
    QFETCH(const int, column);
    QFETCH(const QString, text);
    QFETCH(const QString, shown);
    QFETCH(const int, edits);
    QFETCH(const QString, refusal);

    QSignalSpy changed(model(), &SegmentTableModel::dataChanged);
    QSignalSpy edited(model(), &SegmentTableModel::segmentsEdited);
    QStringList refusals;
    connect(model(), &SegmentTableModel::editRefused, this, [&](const QString& message) { refusals += message; });
    QCOMPARE(model()->setData(cell(1, column), text, Qt::EditRole), refusal.isEmpty());
    QCOMPARE(cell(1, column).data().toString(), shown);
    QCOMPARE(edited.size(), edits);
    QCOMPARE(changed.size(), edits);
    QCOMPARE(refusals, refusal.isEmpty() ? QStringList() : QStringList(refusal));
}

void TestSegmentTable::opensTheField_data()
{
    QTest::addColumn<QString>("means");
    QTest::addColumn<QString>("text");
    QTest::newRow("a click") << u"click"_s << u"00:00:15.000"_s;
    QTest::newRow("F2") << u"F2"_s << u"00:00:15.000"_s;
    QTest::newRow("typing") << u"typing"_s << u"7"_s;
}

void TestSegmentTable::opensTheField()
{
    QFETCH(const QString, means);
    QFETCH(const QString, text);
    table()->setFocus();
    table()->setCurrentIndex(cell(1, 2));
    if (means == u"click")
        clickCell(1, 2);
    else if (means == u"F2")
        QTest::keyClick(table(), Qt::Key_F2);
    else
        QTest::keyClicks(table(), u"7"_s);
    QVERIFY(openField());
    QCOMPARE(openField()->text(), text);
    QCOMPARE(openField()->kind, SegmentTimeField::Kind::end);
    QCOMPARE(openField()->segmentRow, 1);
    QVERIFY(!openField()->acceptDrops());
    QCOMPARE(QApplication::focusWidget(), openField());
    QVERIFY(!openField()->geometry().intersects(deleteRect(1)));
}

void TestSegmentTable::commits_data()
{
    QTest::addColumn<Qt::Key>("key");
    QTest::addColumn<QString>("shown");
    QTest::newRow("Enter") << Qt::Key_Return << u"00:00:11.000"_s;
    QTest::newRow("Tab") << Qt::Key_Tab << u"00:00:11.000"_s;
    QTest::newRow("leaving the field") << Qt::Key_unknown << u"00:00:11.000"_s;
    QTest::newRow("Escape does not") << Qt::Key_Escape << u"00:00:10.000"_s;
}

void TestSegmentTable::commits()
{
    QFETCH(const Qt::Key, key);
    QFETCH(const QString, shown);
    QSignalSpy edited(model(), &SegmentTableModel::segmentsEdited);
    clickCell(1, 1);
    QTest::keyClicks(openField(), u"0:0:11"_s);
    if (key == Qt::Key_unknown)
        m_window->setFocus(), clickCell(5, 1);
    else
        QTest::keyClick(openField(), key);
    QTRY_COMPARE(cell(1, 1).data().toString(), shown);
    QCOMPARE(edited.size(), key == Qt::Key_Escape ? 0 : 1);
    QTRY_VERIFY(!openField() || openField()->segmentRow != 1 || key == Qt::Key_Tab); // Tab goes on to the end
}

void TestSegmentTable::refusesOnceAndShowsTheOldTime_data()
{
    QTest::addColumn<Qt::Key>("key");
    QTest::newRow("Enter") << Qt::Key_Return;
    QTest::newRow("Tab") << Qt::Key_Tab;
    QTest::newRow("leaving the field") << Qt::Key_unknown;
}

void TestSegmentTable::refusesOnceAndShowsTheOldTime()
{
    QFETCH(const Qt::Key, key);
    int refusals = 0;
    QString textAtRefusal;
    connect(model(), &SegmentTableModel::editRefused, this, [&](const QString& message) {
        ++refusals;
        textAtRefusal = openField() ? openField()->text() : QString();
        auto* alert = new QMessageBox(QMessageBox::Warning, QString(), message, QMessageBox::Ok, m_window.get());
        alert->setAttribute(Qt::WA_DeleteOnClose);
        alert->open(); // takes the focus, so that the field is committed once more
    });
    clickCell(1, 1);
    QTest::keyClicks(openField(), u"nonsense"_s);
    if (key == Qt::Key_unknown)
        table()->setFocus();
    else
        QTest::keyClick(openField(), key);
    QTRY_COMPARE(refusals, 1);
    QCOMPARE(textAtRefusal, u"00:00:10.000"_s);
    auto* alert = m_window->findChild<QMessageBox*>();
    QVERIFY(QTest::qWaitForWindowActive(alert));
    alert->close();
    QTRY_VERIFY(!m_window->findChild<QMessageBox*>());
    QCOMPARE(refusals, 1);
    QCOMPARE(cell(1, 1).data().toString(), u"00:00:10.000"_s);
}

void TestSegmentTable::keepsFieldAndSelectionWhileOtherRowsChange()
{
    clickCell(4, 1);
    QTest::keyClicks(openField(), u"0:0:41"_s);
    model()->setData(cell(2, 0), Qt::Unchecked, Qt::CheckStateRole);
    model()->setAllEnabled(false);
    model()->appendSegment({99, true, 1000, 1001, true});
    model()->removeSegment(manualRow);
    QVERIFY(openField());
    QCOMPARE(openField()->text(), u"0:0:41"_s);
    QCOMPARE(table()->selectionModel()->selectedRows().value(0).row(), 3);
    QTest::keyClick(openField(), Qt::Key_Return);
    QTRY_COMPARE(model()->segments().at(3).start, 41.0); // the row moved up and took the field with it
}

void TestSegmentTable::togglesRows()
{
    QSignalSpy edited(model(), &SegmentTableModel::segmentsEdited);
    clickCell(2, 0);
    QVERIFY(!model()->segments().at(2).isEnabled);
    QTest::keyClick(table(), Qt::Key_Space);
    QVERIFY(model()->segments().at(2).isEnabled);
    click(table()->visualRect(cell(2, 0)).topLeft() + QPoint(1, 1)); // beside the box
    QVERIFY(model()->segments().at(2).isEnabled);
    QCOMPARE(edited.size(), 2);
    table()->setCurrentIndex(cell(2, SegmentTableModel::startColumn));
    QTest::keyClick(table(), Qt::Key_Space, Qt::ShiftModifier);
    QVERIFY(!model()->segments().at(2).isEnabled);
    QVERIFY(!openField());
}

void TestSegmentTable::deletesManualRowsOnly()
{
    QList<int> deleted;
    connect(m_window->segmentTableDelegate, &SegmentTableDelegate::deleteRequested, this, [&](int row) {
        deleted += row;
        model()->removeSegment(row);
    });
    click(deleteRect(manualRow).center() + QPoint(-16, 0)); // the field ends left of it
    QVERIFY(openField());
    click(deleteRect(manualRow - 1).center());
    QTest::mouseClick(viewport(), Qt::RightButton, {}, deleteRect(manualRow).center());
    QVERIFY(deleted.isEmpty());
    click(deleteRect(manualRow).center());
    QCOMPARE(deleted, QList{manualRow});
    QTRY_VERIFY(!openField());

    model()->appendSegment({99, true, 1000, 1001, true});
    const int last = model()->rowCount() - 1;
    for (const int row : {last - 1, last, last - 1}) { // of these, only the last one of all is a manual row
        table()->setCurrentIndex(cell(row, 0));
        QTest::keyClick(table(), Qt::Key_Delete);
    }
    QCOMPARE(deleted, QList({manualRow, last}));
}

void TestSegmentTable::showsTheDeleteMarkOnTheHoveredManualRowOnly()
{
    const auto mark = [this](int row) { return viewport()->grab(deleteRect(row)).toImage(); };
    const QImage manualBare = mark(manualRow);
    const QImage detectedBare = mark(manualRow + 2);
    m_window->segmentTableDelegate->setHoveredRow(manualRow);
    QVERIFY(mark(manualRow) != manualBare);
    m_window->segmentTableDelegate->setHoveredRow(manualRow + 2);
    QCOMPARE(mark(manualRow), manualBare);
    QCOMPARE(mark(manualRow + 2), detectedBare);
}

void TestSegmentTable::tintsManualRows()
{
    const auto color = [this](int row, int column, QPoint inset) {
        const QRect rect = table()->visualRect(cell(row, column));
        return viewport()->grab(rect).toImage().pixelColor(inset);
    };
    QPalette dark(QColor(45, 45, 45));
    dark.setColor(QPalette::Base, QColor(30, 30, 30));
    dark.setColor(QPalette::AlternateBase, QColor(38, 38, 38));
    dark.setColor(QPalette::Text, Qt::white);
    for (const QPalette& palette : {m_window->palette(), dark}) {
        m_window->setPalette(palette);
        for (const QPoint inset : {QPoint(1, 1), QPoint(6, 7)}) { // the cell, and the field in it
            for (int column = 0; column < model()->columnCount(); ++column) {
                const QColor tinted = color(manualRow, column, inset);
                const QColor plain = color(manualRow + 2, column, inset); // the same shade of alternating rows
                QVERIFY(tinted.green() > tinted.red() + 10);
                QVERIFY(qAbs(tinted.red() - (plain.red() * 0.86 + 52 * 0.14)) <= 1);
                QVERIFY(contrastRatio(palette.color(QPalette::Text), tinted) >= 4.5);
            }
        }
    }
}

void TestSegmentTable::tellsTheRowUnderThePointer()
{
    HoverAwareTableRowView* hover = m_window->segmentRowHover;
    QCOMPARE(hover->rowIndex, -1);
    QStringList reports;
    hover->hoverChanged = [&](int row, bool entered) { reports += (entered ? u"+"_s : u"-"_s) + QString::number(row); };
    const auto taken = [&] { return std::exchange(reports, {}).join(u' '); };

    movePointer(QPoint(300, rowHeight * 2 + 5)); // right of the last column it is the row, too
    movePointer(QPoint(10, rowHeight * 2 + 9));
    movePointer(QPoint(10, rowHeight * 4));
    QCOMPARE(taken(), u"+2 -2 +4"_s);
    table()->verticalScrollBar()->setValue(rowHeight);
    QCOMPARE(taken(), u"-4 +5"_s);
    model()->removeSegment(0); // another row comes to the same place
    QCoreApplication::processEvents();
    QCOMPARE(taken(), u"-5 +5"_s);
    clickCell(6, 1);
    QEnterEvent overField(QPointF(3, 3), QPointF(), openField()->mapToGlobal(QPointF(3, 3)));
    QCoreApplication::sendEvent(openField(), &overField);
    QCOMPARE(taken(), u"-5 +6"_s);
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(viewport(), &leave);
    QCOMPARE(taken(), u"-6"_s);
    model()->setSegments({});
    QCoreApplication::processEvents();
    QCOMPARE(taken(), QString());
}

QTEST_MAIN(TestSegmentTable)
#include "tst_SegmentTable.moc"
