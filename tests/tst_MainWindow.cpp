#include "Controls/Appearance.h"
#include "Controls/DroppablePathField.h"
#include "MainWindowController/EventTableModel.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentListEditor.h"

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

    std::unique_ptr<MainWindow> m_window;

private Q_SLOTS:
    void init()
    {
        m_window = std::make_unique<MainWindow>();
        m_window->menuBar()->addMenu(u"Kestrel"_s);
        m_window->show();
    }

    void hasTheAgreedSizesAndScrollsInsteadOfSqueezing()
    {
        MainWindow& window = *m_window;
        QCOMPARE(window.centralWidget()->size(), QSize(860, 620));
        auto* scrollArea = window.findChild<QScrollArea*>();
        QCOMPARE(scrollArea->geometry(), window.centralWidget()->rect().adjusted(22, 22, -22, -22));
        const auto check = [&](int stackWidth) {
            QCOMPARE(scrollArea->widget()->width(), stackWidth);
            int x = 0;
            for (const auto& [name, width] :
                 {std::pair("controlsPanel", 420), {"resultPanel", 460}, {"scriptPanel", 392}}) {
                const QRect panel = window.findChild<QWidget*>(QString::fromLatin1(name))->geometry();
                QCOMPARE(panel.x(), x);
                QCOMPARE(panel.width(), width);
                QVERIFY(panel.height() >= 560);
                x += width + 18;
            }
        };
        check(1352);
        QVERIFY(scrollArea->horizontalScrollBar()->isVisible());
        window.resize(1600, 1000);
        check(1600 - 44);
        QTRY_VERIFY(!scrollArea->horizontalScrollBar()->isVisible());
        QVERIFY(!scrollArea->verticalScrollBar()->isVisible());
        window.resize(1, 1);
        QCOMPARE(window.centralWidget()->size(), QSize(760, 560));
    }

    void startsWithTheAgreedTexts()
    {
        const MainWindow& window = *m_window;
        m_window->resize(1420, 760);
        QStringList shown;
        for (const QLabel* label : window.findChildren<QLabel*>()) {
            QVERIFY2(label->isVisible() && label->height() >= label->fontMetrics().height(), qPrintable(label->text()));
            shown += label->text();
        }
        const QString texts =
            u"Kestrel|识别换场，生成脚本，并按并发窗口执行分解。|输入与输出|视频文件|输出目录|输出前缀|"
            "输出文件名格式：前缀-01、前缀-02|画面裁剪|格式：宽:高:X:Y，留空表示不裁剪|跳过检测|"
            "从视频开头跳过多少秒后再开始检测|Fade 删除|左侧别太激进，右侧别太保守；秒数可直接手调|命名预览|未选择视频|"
            "并发窗口|默认 3 个子窗口并发执行|状态|请选择视频文件，或直接拖入。|换场结果|"
            "展示开始时间、结束时间、时长和换场类型。|等待解析|分解片段|显示启用、开始时间、结束时间；支持手动修改和禁用。"_s;
        QStringList expected = texts.split(u'|');
        for (int row = 0; row < 4; ++row)
            expected += {u"左"_s, u"右"_s, u"秒"_s};
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

        // Names that the way through the fields does not come to.
        for (const char* name : {"namingPreviewLabel", "statusLabel", "summaryLabel", "segmentTableView",
                                 "fadeStrategyButton.conservative", "fadeStrategyButton.extreme"})
            QVERIFY2(window.findChildren<QWidget*>(QString::fromLatin1(name)).size() == 1, name);
        for (const QLineEdit* field : window.findChildren<QLineEdit*>()) // dropped text would bypass what typing does
            QCOMPARE(field->acceptDrops(),
                     field->objectName() == u"videoPathField"_s || field->objectName() == u"outputDirectoryField"_s);
    }

    void longTextsLeaveTheWidthsAlone()
    {
        MainWindow& window = *m_window;
        window.resize(1420, 800);
        const int rightEdge = window.parseButton->geometry().right();
        const QString path = u"/tmp/"_s + QString(3000, u'x') + u"/clip-01.mp4"_s;
        for (QLabel* label : QList<QLabel*>{window.statusLabel, window.namingPreviewLabel, window.summaryLabel})
            label->setText(path);
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

    void showsEvents()
    {
        EventTableModel* model = m_window->eventTableModel;
        QTableView* table = m_window->eventTableView;
        const QAbstractItemModelTester tester(model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        DetectorPayload payload;
        payload.events = {{7, u"fade"_s, 3661.5, 3662, 0.5, 0.9, u"luma"_s}, {8, u"cut"_s, 1e300, -1, -1, 0, {}}};
        m_window->segmentList->replace({{}, payload, {}});
        const auto row = [&](int number) {
            QStringList texts;
            for (int column = 0; column < model->columnCount(); ++column)
                texts += model->index(number, column).data().toString();
            return texts.join(u'|');
        };
        QCOMPARE(row(0), u"7|fade|01:01:01.500|01:01:02.000|0.500s|luma"_s);
        QVERIFY(row(1).endsWith(u"|00:00:00.000|0.000s|"_s)); // and a time beyond all clocks does no harm
        table->selectRow(0);
        table->selectionModel()->select(model->index(1, 2), QItemSelectionModel::Select);
        table->selectRow(1);
        QCOMPARE(table->selectionModel()->selectedRows().size(), 1);

        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        table->setFocus();
        QTest::keyClick(table, Qt::Key_Home);
        QCOMPARE(table->selectionModel()->selectedRows().value(0).row(), 0);
        QTest::keyClick(table, Qt::Key_End);
        QCOMPARE(table->selectionModel()->selectedRows().value(0).row(), 1);

        QHeaderView* header = table->horizontalHeader();
        int column = 0;
        for (const int width : {44, 72, 118, 118, 76, 140}) {
            QCOMPARE(header->sectionSize(column), width);
            header->resizeSection(column, 2000);
            QCOMPARE(header->sectionSize(column), 480);
            header->resizeSection(column, 5);
            QCOMPARE(header->sectionSize(column), width);
            ++column;
        }
        QCOMPARE(table->rowHeight(0), 34);
        QCOMPARE(m_window->segmentTableView->horizontalHeader()->sectionSize(2), 128);
    }

    void goesThroughTheFieldsInReadingOrder()
    {
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        m_window->videoPathField->setFocus();
        QStringList visited;
        while (visited.size() < 24) {
            const QWidget* stop = QApplication::focusWidget();
            visited += stop->objectName();
            QVERIFY2(!stop->toolTip().isEmpty() || qobject_cast<const QTableView*>(stop), qPrintable(visited.last()));
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
        QCOMPARE(visited.join(u' '),
                 u"videoPathField selectVideoButton outputDirectoryField selectOutputDirectoryButton "
                 "resetOutputDirectoryButton prefixField cropField skipStartField "
                 "fadeStrategyButton.aggressive fadeLeftField.conservative fadeRightField.conservative "
                 "fadeLeftField.standard fadeRightField.standard "
                 "fadeLeftField.aggressive fadeRightField.aggressive "
                 "fadeLeftField.extreme fadeRightField.extreme concurrencyField concurrencyStepper "
                 "parseButton splitButton eventTableView segmentMasterCheckbox addSegmentButton"_s);
    }

    /// In light, in dark and in dark with grey text, each set while the window is open.
    void staysReadable()
    {
        const auto grey = [](int shade) { return QColor(shade, shade, shade); };
        for (const QList<int>& shades : {QList{239, 255, 0}, {45, 30, 255}, {53, 42, 200}}) {
            const QColor base = grey(shades[1]);
            const QColor text = grey(shades[2]);
            QPalette palette(grey(shades[0]));
            palette.setColor(QPalette::Base, base);
            for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
                palette.setColor(role, text);
            m_window->setPalette(palette);
            const QPalette labelPalette = m_window->statusLabel->palette();
            QCOMPARE(labelPalette.color(QPalette::Base), base);
            QVERIFY(contrastRatio(labelPalette.color(m_window->statusLabel->foregroundRole()), base) >= 4.5);
            QVERIFY(contrastRatio(text, m_window->addSegmentButton->grab().toImage().pixelColor(8, 8)) >= 4.5);
        }
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_MainWindow.moc"
