#include "Controls/Appearance.h"
#include "Controls/HoverAwareTableRowView.h"
#include "Controls/SegmentTimeField.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentTableDelegate.h"
#include "MainWindowController/SegmentTableModel.h"
#include "MainWindowController/ToolTips.h"
#include "Models/JobBuilder.h"

#include <QAbstractItemModelTester>
#include <QMessageBox>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

#include <tuple>

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

    std::unique_ptr<MainWindow> m_window;

    [[nodiscard]] QModelIndex cell(int row, int column) const { return model()->index(row, column); }
    [[nodiscard]] SegmentTableModel* model() const { return m_window->segmentTableModel; }
    [[nodiscard]] SegmentListEditor* list() const { return m_window->segmentList; }
    [[nodiscard]] QTableView* table() const { return m_window->segmentTableView; }
    [[nodiscard]] QWidget* viewport() const { return table()->viewport(); }
    [[nodiscard]] SegmentTimeField* openField() const { return viewport()->findChild<SegmentTimeField*>(); }
    [[nodiscard]] QRect deleteRect(int row) const
    {
        return SegmentTableDelegate::deleteRect(table()->visualRect(cell(row, SegmentTableModel::endColumn)));
    }
    void click(const QPoint& position) const { QTest::mouseClick(viewport(), Qt::LeftButton, {}, position); }
    void clickCell(int row, int column) const { click(table()->visualRect(cell(row, column)).center()); }
    void movePointer(const QPoint& position) const
    {
        const QPoint global = viewport()->mapToGlobal(position);
        QMouseEvent move(QEvent::MouseMove, position, global, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(viewport(), &move);
    }

private Q_SLOTS:
    void init()
    {
        m_window = std::make_unique<MainWindow>();
        new QAbstractItemModelTester(model(), QAbstractItemModelTester::FailureReportingMode::QtTest, model());
        list()->replace({{}, {}, someSegments(30)});
        m_window->resize(1420, 760);
        m_window->show();
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    }

    void settingDataCommits()
    {
        using Rows = QList<std::tuple<int, QString, QString, QString>>;
        const QString malformed = u"时间格式应为 时:分:秒.毫秒，例如 00:01:23.456。"_s;
        for (const auto& [column, text, shown, refusal] :
             Rows{{1, u"0:0:12.25"_s, u"00:00:12.250"_s, {}},
                  {2, u" 00:00:30 "_s, u"00:00:30.000"_s, {}},
                  {1, u"12.5"_s, u"00:00:10.000"_s, malformed},
                  {1, u"00:00:15"_s, u"00:00:10.000"_s, u"开始时间必须小于结束时间。"_s},
                  {2, u"00:00:10"_s, u"00:00:15.000"_s, u"结束时间必须大于开始时间。"_s}}) {
            list()->replace({{}, {}, someSegments(30)});
            const QSignalSpy edited(list(), &SegmentListEditor::edited);
            QSignalSpy refused(model(), &SegmentTableModel::editRefused);
            QCOMPARE(model()->setData(cell(1, column), text, Qt::EditRole), refusal.isEmpty());
            QCOMPARE(cell(1, column).data().toString(), shown);
            QVERIFY(model()->setData(cell(1, column), shown, Qt::EditRole)); // as it is: no edit
            QCOMPARE(edited.size(), refusal.isEmpty() ? 1 : 0);
            QCOMPARE(refused.value(0).value(0).toString(), refusal);
        }
    }

    void opensTheField()
    {
        table()->setFocus();
        for (const auto key : {Qt::Key_unknown, Qt::Key_F2, Qt::Key_7}) {
            table()->setCurrentIndex(cell(1, 2));
            if (key == Qt::Key_unknown)
                clickCell(1, 2);
            else
                QTest::keyClick(table(), key);
            QVERIFY(openField());
            QCOMPARE(openField()->text(), key == Qt::Key_7 ? u"7"_s : u"00:00:15.000"_s);
            QVERIFY(openField()->kind == SegmentTimeField::Kind::end && openField()->segmentRow == 1);
            QVERIFY(!openField()->acceptDrops() && openField()->hasFocus());
            QVERIFY(!openField()->geometry().intersects(deleteRect(1)));
            QTest::keyClick(openField(), Qt::Key_Escape);
            QTRY_VERIFY(!openField());
        }
    }

    void endsAnEdit_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<QString>("typed");
        for (const auto& [name, key] : {std::pair("Enter", Qt::Key_Return),
                                        {"Tab", Qt::Key_Tab},
                                        {"Space", Qt::Key_Space},
                                        {"leaving the field", Qt::Key_unknown},
                                        {"Escape", Qt::Key_Escape}}) {
            QTest::addRow("%s", name) << key << u"0:0:11"_s;
            if (key != Qt::Key_Escape)
                QTest::addRow("%s after nonsense", name) << key << u"nonsense"_s;
        }
    }

    /// What cannot be committed is refused once, and by then the field shows the old time.
    void endsAnEdit()
    {
        QFETCH(const Qt::Key, key);
        QFETCH(const QString, typed);
        const QSignalSpy edited(list(), &SegmentListEditor::edited);
        QStringList textsAtRefusal;
        connect(model(), &SegmentTableModel::editRefused, this, [&](const QString& message) {
            textsAtRefusal += openField() ? openField()->text() : QString();
            auto* alert = new QMessageBox(QMessageBox::Warning, QString(), message, QMessageBox::Ok, m_window.get());
            alert->setAttribute(Qt::WA_DeleteOnClose);
            alert->open(); // takes the focus, so that the field is committed once more
        });
        clickCell(1, 1);
        QTest::keyClicks(openField(), typed);
        if (key == Qt::Key_unknown)
            table()->setFocus();
        else
            QTest::keyClick(openField(), key);
        if (typed == u"nonsense") {
            QTRY_COMPARE(textsAtRefusal, QStringList{u"00:00:10.000"_s});
            auto* alert = m_window->findChild<QMessageBox*>();
            QVERIFY(QTest::qWaitForWindowActive(alert));
            alert->close();
            QTRY_VERIFY(!m_window->findChild<QMessageBox*>());
            QCOMPARE(textsAtRefusal.size(), 1);
        } else {
            QTRY_VERIFY(!openField() || key == Qt::Key_Tab); // Tab goes on to the end
            QVERIFY(textsAtRefusal.isEmpty());
        }
        const bool isCommitted = typed == u"0:0:11" && key != Qt::Key_Escape;
        QTRY_COMPARE(cell(1, 1).data().toString(), isCommitted ? u"00:00:11.000"_s : u"00:00:10.000"_s);
        QCOMPARE(edited.size(), isCommitted ? 1 : 0);
    }

    void keepsFieldAndSelectionWhileOtherRowsChange()
    {
        clickCell(4, 1);
        QTest::keyClicks(openField(), u"0:0:41"_s);
        model()->setData(cell(2, 0), Qt::Unchecked, Qt::CheckStateRole);
        list()->setAllEnabled(false);
        list()->append();
        list()->remove(manualRow);
        QVERIFY(openField());
        QCOMPARE(openField()->text(), u"0:0:41"_s);
        QCOMPARE(table()->selectionModel()->selectedRows().value(0).row(), 3);
        QTest::keyClick(openField(), Qt::Key_Return);
        QTRY_COMPARE(list()->segments().at(3).start, 41.0); // the row moved up and took the field with it
    }

    void togglesRows()
    {
        const auto enabled = [this] {
            QString boxes;
            for (int row = 0; row < 4; ++row)
                boxes += list()->segments().at(row).isEnabled ? u'x' : u'-';
            return boxes;
        };
        clickCell(1, 0);
        QCOMPARE(enabled(), u"x-xx"_s);
        clickCell(2, 0);
        QTest::mouseDClick(viewport(), Qt::LeftButton, {}, table()->visualRect(cell(2, 0)).center());
        QTest::mouseRelease(viewport(), Qt::LeftButton, {}, table()->visualRect(cell(2, 0)).center());
        click(table()->visualRect(cell(1, 0)).topLeft() + QPoint(1, 1)); // beside the box
        QCOMPARE(enabled(), u"x-xx"_s);

        table()->setCurrentIndex(cell(1, 1));
        table()->selectionModel()->select(cell(2, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
        connect(list(), &SegmentListEditor::edited, table(), &QTableView::clearSelection); // as its window may do
        for (const QString& boxes : {u"xxxx"_s, u"x--x"_s}) {
            QTest::keyClick(table(), Qt::Key_Space, Qt::ShiftModifier);
            QCOMPARE(enabled(), boxes);
            QCOMPARE(table()->selectionModel()->selectedRows().size(), 2);
        }
    }

    void tellsWhatBecomesOfARow()
    {
        const QList<EditableSegment> segments = {
            {1, true, 0, 1.5, false}, {2, false, 2, 5, false}, {3, true, 9, 7, false}, {4, true, 10, 24.62, true}};
        const auto tips = [&](const QList<FFmpegJob>& jobs) {
            QStringList texts;
            for (int row = 0; row < segments.size(); ++row)
                texts += segmentToolTip(segments, jobs, row);
            return texts;
        };
        const QStringList without = {u"不写文件：未启用。长 3.000 秒"_s, u"不写文件：结束时间不在开始时间之后。"_s};
        const auto jobs = buildJobs(segments, FileURL(u"/v/movie.mp4"_s), FileURL(u"/out"_s), {}, {});
        QCOMPARE(tips(jobs),
                 QStringList(u"→ movie-01.mp4，1.500 秒"_s) + without + QStringList(u"→ movie-02.mp4，14.620 秒"_s));
        QCOMPARE(tips({}).first(), u"不写文件：还没有视频。长 1.500 秒"_s);
        m_window->segmentTableModel->rowToolTip = [](int row) { return u"<%1>"_s.arg(row); };
        QVERIFY(cell(2, 1).data(Qt::ToolTipRole).toString().endsWith(u"&lt;2&gt;"_s)); // a name is no markup
    }

    void deletesManualRowsOnly()
    {
        QList<int> deleted;
        connect(m_window->segmentTableDelegate, &SegmentTableDelegate::deleteRequested, this, [&](int row) {
            deleted += row;
            list()->remove(row);
        });
        click(deleteRect(manualRow).center() + QPoint(-16, 0)); // the field ends left of it
        QVERIFY(openField());
        click(deleteRect(manualRow - 1).center());
        QTest::mouseClick(viewport(), Qt::RightButton, {}, deleteRect(manualRow).center());
        QVERIFY(deleted.isEmpty());
        click(deleteRect(manualRow).center());
        QCOMPARE(deleted, QList{manualRow});
        QTRY_VERIFY(!openField());

        list()->append();
        const int appended = model()->rowCount() - 1;
        click(deleteRect(appended).center() + QPoint(-16, 0));
        QVERIFY(openField());
        table()->setFocus(); // which closes the field, as a real press beside it does
        click(deleteRect(appended).center());
        QCOMPARE(deleted, QList({manualRow, appended}));
        list()->append();
        const int last = model()->rowCount() - 1;
        for (const int row : {last - 1, last, last - 1}) { // of these, only the last one of all is a manual row
            table()->setCurrentIndex(cell(row, 0));
            QTest::keyClick(table(), Qt::Key_Delete);
        }
        QCOMPARE(deleted, QList({manualRow, appended, last}));
    }

    void showsManualRows()
    {
        const auto mark = [this](int row) { return viewport()->grab(deleteRect(row)).toImage(); };
        const QImage manualBare = mark(manualRow);
        const QImage detectedBare = mark(manualRow + 2);
        m_window->segmentTableDelegate->setHoveredRow(manualRow);
        QVERIFY(mark(manualRow) != manualBare);
        m_window->segmentTableDelegate->setHoveredRow(manualRow + 2);
        QCOMPARE(mark(manualRow), manualBare);
        QCOMPARE(mark(manualRow + 2), detectedBare);

        QPalette dark(QColor(45, 45, 45));
        dark.setColor(QPalette::Base, QColor(30, 30, 30));
        dark.setColor(QPalette::AlternateBase, QColor(38, 38, 38));
        dark.setColor(QPalette::Text, Qt::white);
        for (const QPalette& palette : {m_window->palette(), dark}) {
            m_window->setPalette(palette);
            for (int column = 0; column < model()->columnCount(); ++column) {
                const QImage drawn = viewport()->grab(table()->visualRect(cell(manualRow, column))).toImage();
                for (const QPoint inset : {QPoint(1, 1), QPoint(6, 7)}) { // the cell, and the field in it
                    const QColor tinted = drawn.pixelColor(inset);
                    QVERIFY(tinted.green() > tinted.red() + 10);
                    QVERIFY(contrastRatio(palette.color(QPalette::Text), tinted) >= 4.5);
                }
            }
        }
    }

    void tellsTheRowUnderThePointer()
    {
        HoverAwareTableRowView* hover = m_window->segmentRowHover;
        QStringList reports;
        hover->hoverChanged = [&](int row, bool entered) {
            reports += (entered ? u"+"_s : u"-"_s) + QString::number(row);
        };
        const auto taken = [&] { return std::exchange(reports, {}).join(u' '); };

        movePointer(QPoint(300, rowHeight * 2 + 5)); // right of the last column it is the row, too
        movePointer(QPoint(10, rowHeight * 2 + 9));
        movePointer(QPoint(10, rowHeight * 4));
        QCOMPARE(taken(), u"+2 -2 +4"_s);
        table()->verticalScrollBar()->setValue(rowHeight);
        QCOMPARE(taken(), u"-4 +5"_s);
        list()->remove(manualRow); // another row comes to the same place
        QCoreApplication::processEvents();
        QCOMPARE(taken(), u"-5 +5"_s);
        clickCell(6, 1);
        QEnterEvent overField(QPointF(3, 3), QPointF(), openField()->mapToGlobal(QPointF(3, 3)));
        QCoreApplication::sendEvent(openField(), &overField);
        QCOMPARE(taken(), u"-5 +6"_s);
        QEvent leave(QEvent::Leave);
        QCoreApplication::sendEvent(viewport(), &leave);
        QCOMPARE(taken(), u"-6"_s);
    }
};

QTEST_MAIN(TestSegmentTable)
#include "tst_SegmentTable.moc"
