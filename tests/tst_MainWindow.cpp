#include "Controls/Appearance.h"
#include "Controls/DroppablePathField.h"
#include "MainWindowController/EventTableModel.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentListEditor.h"

#include <QAbstractItemModelTester>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
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
        auto* scrollArea = window.findChild<QScrollArea*>();
        const auto check = [&](int stackWidth) {
            QCOMPARE(scrollArea->widget()->width(), stackWidth);
            int x = 0;
            for (const auto& [name, width] :
                 {std::pair("controlsPanel", 420), {"resultPanel", 460}, {"scriptPanel", 392}}) {
                const QRect panel = window.findChild<QWidget*>(QString::fromLatin1(name))->geometry();
                QVERIFY(panel.x() == x && panel.width() == width && panel.height() >= 560);
                x += width + 18;
            }
        };
        check(1352);
        QVERIFY(scrollArea->horizontalScrollBar()->isVisible());
        window.resize(1600, 1000);
        check(1600 - 44);
        QTRY_VERIFY(!scrollArea->horizontalScrollBar()->isVisible());
        QVERIFY(!scrollArea->verticalScrollBar()->isVisible());
    }

    void labelsAreWhole()
    {
        m_window->resize(1420, 760);
        for (const QLabel* label : m_window->findChildren<QLabel*>())
            QVERIFY2(label->isVisible() && label->height() >= label->fontMetrics().height(), qPrintable(label->text()));
        for (const QLineEdit* field :
             m_window->findChildren<QLineEdit*>()) // dropped text would bypass what typing does
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
        QVERIFY(window.statusLabel->mapTo(panel, window.statusLabel->rect().bottomRight()).x() <= 420 - 18);
        QCOMPARE(window.parseButton->geometry().right(), rightEdge);
        QCOMPARE(window.namingPreviewLabel->text(), path);
    }

    void showsEvents()
    {
        EventTableModel* model = m_window->eventTableModel;
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
    }

    /// Where the window is lower than its tables.
    void keysBringTheirRowIntoView()
    {
        DetectorPayload payload;
        payload.events = QList<TransitionEvent>(30, {1, u"cut"_s, 3, 3, 0, 1, {}});
        m_window->segmentList->replace({{}, payload, {}});
        m_window->setMinimumSize(1, 1);
        m_window->resize(1420, 300);
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        QTableView* table = m_window->eventTableView;
        table->setFocus();
        for (const auto key : {Qt::Key_End, Qt::Key_Home}) {
            QTest::keyClick(table, key);
            const QPoint middle = table->visualRect(table->currentIndex()).center();
            QVERIFY(table->viewport()->visibleRegion().contains(middle));
        }
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
