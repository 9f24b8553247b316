#include "Controls/Appearance.h"
#include "Controls/DroppablePathField.h"
#include "MainWindowController/EventTableModel.h"
#include "MainWindowController/MainWindow.h"

#include <QAbstractItemModelTester>
#include <QCheckBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSpinBox>
#include <QTableView>
#include <QTest>

using namespace Qt::StringLiterals;

class TestMainWindow final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasTheAgreedSizes()
    {
        MainWindow window;
        window.menuBar()->addMenu(u"Kestrel"_s);
        window.show();
        QCOMPARE(window.centralWidget()->size(), QSize(860, 620));
        window.resize(1, 1);
        QCOMPARE(window.centralWidget()->size(), QSize(760, 560));
    }

    void scrollsInsteadOfSqueezing()
    {
        MainWindow window;
        window.show();
        auto* scrollArea = window.findChild<QScrollArea*>();
        QCOMPARE(scrollArea->geometry(), window.centralWidget()->rect().adjusted(22, 22, -22, -22));
        const auto panel = [&](const QString& name) { return window.findChild<QWidget*>(name); };
        const auto check = [&](int stackWidth) {
            QCOMPARE(scrollArea->widget()->width(), stackWidth);
            QCOMPARE(panel(u"controlsPanel"_s)->width(), 420);
            QCOMPARE(panel(u"resultPanel"_s)->width(), 460);
            QCOMPARE(panel(u"scriptPanel"_s)->width(), 392);
            QCOMPARE(panel(u"resultPanel"_s)->x() - panel(u"controlsPanel"_s)->geometry().right(), 19);
            QCOMPARE(panel(u"scriptPanel"_s)->x() - panel(u"resultPanel"_s)->geometry().right(), 19);
            QVERIFY(panel(u"scriptPanel"_s)->height() >= 560);
            QCOMPARE(panel(u"controlsPanel"_s)->x(), 0);
        };
        check(1352);
        QVERIFY(scrollArea->horizontalScrollBar()->isVisible());
        window.resize(1600, 1000);
        check(1600 - 44);
        QTRY_VERIFY(!scrollArea->horizontalScrollBar()->isVisible());
        QVERIFY(!scrollArea->verticalScrollBar()->isVisible());
    }

    void startsWithTheAgreedTexts()
    {
        MainWindow window;
        window.resize(1420, 760);
        window.show();
        QStringList shown;
        const QList<QLabel*> labels = window.findChildren<QLabel*>();
        for (const QLabel* label : labels) {
            QVERIFY2(label->isVisible() && label->height() >= label->fontMetrics().height(), qPrintable(label->text()));
            shown += label->text();
        }
        const QStringList fadeRow = {u"左"_s, u"右"_s, u"秒"_s};
        QStringList expected = {u"Kestrel"_s,
                                u"识别换场，生成脚本，并按并发窗口执行分解。"_s,
                                u"输入与输出"_s,
                                u"视频文件"_s,
                                u"输出目录"_s,
                                u"输出前缀"_s,
                                u"输出文件名格式：前缀-01、前缀-02"_s,
                                u"画面裁剪"_s,
                                u"格式：宽:高:X:Y，留空表示不裁剪"_s,
                                u"跳过检测"_s,
                                u"从视频开头跳过多少秒后再开始检测"_s,
                                u"Fade 删除"_s,
                                u"左侧别太激进，右侧别太保守；秒数可直接手调"_s,
                                u"命名预览"_s,
                                u"未选择视频"_s,
                                u"并发窗口"_s,
                                u"默认 3 个子窗口并发执行"_s,
                                u"状态"_s,
                                u"请选择视频文件，或直接拖入。"_s,
                                u"换场结果"_s,
                                u"展示开始时间、结束时间、时长和换场类型。"_s,
                                u"等待解析"_s,
                                u"分解片段"_s,
                                u"显示启用、开始时间、结束时间；支持手动修改和禁用。"_s};
        expected += fadeRow + fadeRow + fadeRow + fadeRow;
        shown.sort();
        expected.sort();
        QCOMPARE(shown, expected);

        QStringList fadeTexts;
        for (const FadeStrategyRow& row : window.fadeStrategyRows) {
            fadeTexts += row.button->text() + (row.button->isChecked() ? u"*"_s : QString());
            fadeTexts += {row.leftField->text(), row.rightField->text()};
        }
        QCOMPARE(fadeTexts.join(u' '), u"保守 0.04 0.12 标准 0.08 0.18 激进* 0.12 0.24 极激进 0.16 0.32"_s);
        QCOMPARE(window.concurrencyField->text(), u"3"_s);
        QCOMPARE(window.concurrencyField->width(), 92);
        QCOMPARE(window.concurrencyStepper->value(), 3);
        QCOMPARE(window.skipStartField->text(), u"0"_s);
    }

    void canBeDrivenByName()
    {
        MainWindow window;
        const QStringList names = {u"videoPathField"_s,
                                   u"selectVideoButton"_s,
                                   u"outputDirectoryField"_s,
                                   u"selectOutputDirectoryButton"_s,
                                   u"resetOutputDirectoryButton"_s,
                                   u"prefixField"_s,
                                   u"cropField"_s,
                                   u"skipStartField"_s,
                                   u"fadeStrategyButton.conservative"_s,
                                   u"fadeLeftField.standard"_s,
                                   u"fadeRightField.extreme"_s,
                                   u"namingPreviewLabel"_s,
                                   u"concurrencyField"_s,
                                   u"concurrencyStepper"_s,
                                   u"statusLabel"_s,
                                   u"parseButton"_s,
                                   u"splitButton"_s,
                                   u"summaryLabel"_s,
                                   u"eventTableView"_s,
                                   u"segmentMasterCheckbox"_s,
                                   u"addSegmentButton"_s,
                                   u"segmentTableView"_s};
        for (const QString& name : names) {
            const QList<QWidget*> found = window.findChildren<QWidget*>(name);
            QVERIFY2(found.size() == 1 && !found.first()->accessibleName().isEmpty(), qPrintable(name));
        }
        const QList<QLineEdit*> fields = window.findChildren<QLineEdit*>();
        for (const QLineEdit* field : fields) // dropped text would bypass what typing does
            QCOMPARE(field->acceptDrops(),
                     field->objectName() == u"videoPathField"_s || field->objectName() == u"outputDirectoryField"_s);
    }

    void longTextsLeaveTheWidthsAlone()
    {
        MainWindow window;
        window.resize(1420, 800);
        window.show();
        const int rightEdge = window.parseButton->geometry().right();
        const QString path = u"/tmp/"_s + QString(3000, u'x') + u"/clip-01.mp4"_s;
        window.statusLabel->setText(path);
        window.namingPreviewLabel->setText(path);
        window.summaryLabel->setText(path);
        window.prefixField->setText(path);
        QTRY_VERIFY(window.statusLabel->height() > 2 * window.namingPreviewLabel->height()); // wraps where it must
        const QWidget* panel = window.findChild<QWidget*>(u"controlsPanel"_s);
        QCOMPARE(panel->width(), 420);
        QVERIFY(panel->height() < window.height());
        QCOMPARE(window.splitButton->geometry().right() - window.parseButton->geometry().left() + 1, 384);
        QVERIFY(window.statusLabel->mapTo(panel, window.statusLabel->rect().bottomRight()).x() <= 420 - 18);
        QCOMPARE(window.parseButton->geometry().right(), rightEdge);
        QCOMPARE(window.namingPreviewLabel->text(), path);
    }

    void holdsColumnWidths()
    {
        MainWindow window;
        const auto check = [](const QTableView* table, const QList<int>& widths, int most) {
            QHeaderView* header = table->horizontalHeader();
            QCOMPARE(header->count(), widths.size());
            for (int column = 0; column < widths.size(); ++column) {
                QCOMPARE(header->sectionSize(column), widths.at(column));
                header->resizeSection(column, 2000);
                QCOMPARE(header->sectionSize(column), most);
                header->resizeSection(column, 5);
                QCOMPARE(header->sectionSize(column), widths.at(column));
            }
            QCOMPARE(table->rowHeight(0), 34);
        };
        window.eventTableModel->setEvents({TransitionEvent{}});
        check(window.eventTableView, {44, 72, 118, 118, 76, 140}, 480);
        QCOMPARE(window.segmentTableView->horizontalHeader()->sectionSize(2), 128);
    }

    void showsEvents()
    {
        MainWindow window;
        EventTableModel* model = window.eventTableModel;
        const QAbstractItemModelTester tester(model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model->setEvents(
            {{7, u"fade"_s, 3661.5, 3662, 0.5, 0.9, u"luma"_s}, {8, u"cut"_s, 1e300, -1, -1, 0, QString()}});
        const auto row = [&](int number) {
            QStringList texts;
            for (int column = 0; column < model->columnCount(); ++column)
                texts += model->index(number, column).data().toString();
            return texts.join(u'|');
        };
        QCOMPARE(row(0), u"7|fade|01:01:01.500|01:01:02.000|0.500s|luma"_s);
        QVERIFY(row(1).endsWith(u"|00:00:00.000|0.000s|"_s)); // and a time beyond all clocks does no harm
        window.eventTableView->selectRow(0);
        window.eventTableView->selectionModel()->select(model->index(1, 2),
                                                        window.eventTableView->selectionModel()->Select);
        window.eventTableView->selectRow(1);
        QCOMPARE(window.eventTableView->selectionModel()->selectedRows().size(), 1);
    }

    void goesThroughTheFieldsInReadingOrder()
    {
        MainWindow window;
        window.resize(1420, 760);
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        window.videoPathField->setFocus();
        QStringList visited;
        while (visited.size() < 23) {
            const QWidget* stop = QApplication::focusWidget();
            if (!qobject_cast<const QRadioButton*>(stop)) // how many of a group Tab reaches is the style's affair
                visited += stop->objectName();
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
        // Of the radio buttons Tab reaches the one that is on.
        QCOMPARE(
            visited.join(u' '),
            u"videoPathField selectVideoButton outputDirectoryField selectOutputDirectoryButton "
            "resetOutputDirectoryButton prefixField cropField skipStartField "
            "fadeLeftField.conservative fadeRightField.conservative fadeLeftField.standard fadeRightField.standard "
            "fadeLeftField.aggressive fadeRightField.aggressive "
            "fadeLeftField.extreme fadeRightField.extreme concurrencyField concurrencyStepper "
            "parseButton splitButton eventTableView segmentMasterCheckbox addSegmentButton"_s);
    }

    void staysReadable_data()
    {
        QTest::addColumn<QPalette>("palette");
        const auto make = [](int window, int base, int text) {
            const QColor textColor(text, text, text);
            QPalette palette(QColor(window, window, window));
            palette.setColor(QPalette::Base, QColor(base, base, base));
            for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
                palette.setColor(role, textColor);
            return palette;
        };
        QTest::newRow("light") << make(239, 255, 0);
        QTest::newRow("dark") << make(45, 30, 255);
        QTest::newRow("dark, grey text") << make(53, 42, 200);
    }

    void staysReadable()
    {
        QFETCH(const QPalette, palette);
        MainWindow window;
        window.resize(1420, 760);
        window.show();
        window.setPalette(palette); // while it is open

        const QColor base = window.statusLabel->palette().color(QPalette::Base);
        QCOMPARE(base, palette.color(QPalette::Base));
        QVERIFY(contrastRatio(window.statusLabel->palette().color(window.statusLabel->foregroundRole()), base) >= 4.5);
        QVERIFY(contrastRatio(palette.color(QPalette::ButtonText),
                              window.addSegmentButton->grab().toImage().pixelColor(8, 8)) >= 4.5);
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_MainWindow.moc"
