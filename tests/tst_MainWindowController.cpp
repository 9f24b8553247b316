#include "MainWindowController/SegmentTableModel.h"
#include "WindowUnderTest.h"

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

constexpr auto twoScenes = "answer([(10, 11)], [(0, 10), (11, 20)])";
constexpr auto manySegments = "answer([(10, 11), (500, 501)], [(n, n + 1) for n in range(600)])";

} // namespace

/// The workflow up to the split, through the window's controls.
class TestMainWindowController final : public QObject
{
    Q_OBJECT

    std::unique_ptr<WindowUnderTest> m_test;

    [[nodiscard]] const MainWindow& window() const { return m_test->window(); }
    [[nodiscard]] bool isEmpty() const
    {
        return m_test->segmentCount() + m_test->eventCount() == 0 && !window().splitButton->isEnabled();
    }
    void parseTwoScenes() const
    {
        m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
        m_test->parse();
    }

private Q_SLOTS:
    void initTestCase() { qputenv("PYTHONUTF8", "1"); }
    void init() { m_test = std::make_unique<WindowUnderTest>(); }
    void cleanup() { m_test.reset(); }

    void takesATypedVideo()
    {
        QCOMPARE(m_test->preview(), u"clip-01.mp4"_s);
        const QString video = m_test->addVideo(u"a.mkv"_s, twoScenes);
        m_test->chooseVideo(u"  "_s + video + u' ');
        QCOMPARE(m_test->status(), u"视频路径已更新，点击“解析”生成结果和脚本。"_s);
        QCOMPARE(window().outputDirectoryField->text(), m_test->folder.path());
        QCOMPARE(window().prefixField->text(), QString());
        QCOMPARE(m_test->preview(), m_test->path(u"a-01.mkv"_s));
        m_test->parse();
        QCOMPARE(m_test->segmentCount(), 2);

        QTest::keyClick(window().videoPathField, Qt::Key_End);
        QTest::keyClick(window().videoPathField, Qt::Key_X);
        QCOMPARE(m_test->status(), u"当前视频路径无效，请检查文件是否存在。"_s);
        QCOMPARE(m_test->summary(), u"等待解析"_s);
        QVERIFY(isEmpty());
        m_test->chooseVideo(QString());
        QCOMPARE(m_test->status(), u"请输入视频文件路径，或直接拖入视频。"_s);
    }

    /// The folder and the prefix follow the video until the user sets them, and the folder again after a reset.
    void keepsWhatTheUserChose()
    {
        const auto folder = [this] { return window().outputDirectoryField->text(); };
        const QString clips = m_test->path(u" clips "_s);
        QVERIFY(QDir().mkpath(clips) && QDir().mkpath(m_test->path(u"other"_s)));
        const QString one = m_test->addVideo(u"one.mp4"_s, twoScenes);
        const QString two = m_test->addVideo(u"other/two.mov"_s, twoScenes);
        drop(window().videoPathField, {one});
        drop(window().outputDirectoryField, {clips});
        drop(window().videoPathField, {two});
        QCOMPARE(folder(), clips);
        QCOMPARE(m_test->preview(), clips + u"/one-01.mov"_s);

        type(window().outputDirectoryField, QString());
        QCOMPARE(m_test->preview(), m_test->path(u"other/one-01.mov"_s));
        drop(window().videoPathField, {one});
        QCOMPARE(folder(), m_test->folder.path());
        type(window().outputDirectoryField, u" relative "_s);
        m_test->parse();
        QCOMPARE(folder(), QDir::currentPath() + u"/relative"_s);
        click(window().resetOutputDirectoryButton);
        QCOMPARE(folder(), m_test->folder.path());
    }

    void takesDropsAnywhere()
    {
        const QString video = m_test->addVideo(u"one.mp4"_s, twoScenes);
        const QString clips = m_test->path(u"clips"_s);
        QVERIFY(QDir().mkpath(clips));
        drop(window().segmentTableView, {video});
        QCOMPARE(window().videoPathField->text(), video);
        QCOMPARE(m_test->status(), u"视频已准备好，点击“解析”生成结果和脚本。"_s);
        drop(window().videoPathField, {clips}); // aimed at and refused
        QCOMPARE(window().outputDirectoryField->text(), m_test->folder.path());
        drop(window().statusLabel, {clips});
        QCOMPARE(m_test->preview(), clips + u"/one-01.mp4"_s);
        QCOMPARE(window().videoPathField->text(), video);
    }

    void choosesInDialogs()
    {
        const auto choose = [&](QAbstractButton* button, const QString& startingFolder, const QString& path) {
            click(button);
            QCOMPARE(window().findChild<QFileDialog*>()->directory().path(), startingFolder);
            m_test->chooseInDialog(path);
        };
        const QString video = m_test->addVideo(u"one.MOV"_s, twoScenes);
        const QString clips = m_test->path(u"clips"_s);
        QVERIFY(QDir().mkpath(clips));
        choose(window().selectVideoButton, QDir::currentPath(), video);
        QCOMPARE(window().videoPathField->text(), video);
        choose(window().selectOutputDirectoryButton, m_test->folder.path(), clips);
        drop(window().videoPathField, {video});
        QCOMPARE(window().outputDirectoryField->text(), clips);
        choose(window().selectVideoButton, m_test->folder.path(), video);
    }

    void clampsConcurrency()
    {
        type(window().concurrencyField, u"20"_s);
        QCOMPARE(window().concurrencyField->text(), u"12"_s);
        QCOMPARE(window().concurrencyStepper->value(), 12);
        window().concurrencyStepper->stepBy(-1);
        QCOMPARE(window().concurrencyField->text(), u"11"_s);
    }

    /// The fault that is told is the first in this order.
    void refusesToParse()
    {
        m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
        for (const auto& [field, typed, message] :
             {std::tuple("fadeRightField.conservative", u"-1"_s, u"Fade 左右扩秒数必须是大于等于 0 的数字。"_s),
              {"cropField", u"-1"_s, u"裁剪参数格式应为 宽:高:X:Y，例如 1728:910:0:85。"_s},
              {"skipStartField", u"-1"_s, u"跳过检测秒数必须是大于等于 0 的数字。"_s},
              {"videoPathField", u"-1"_s, u"请先选择视频文件，或直接拖入视频。"_s},
              {"videoPathField", m_test->folder.path(),
               u"请先选择视频文件，或直接拖入视频。\n现在填写的是一个文件夹，请选择其中的视频。"_s}}) {
            type(m_test->line(field), typed);
            const QString statusBefore = m_test->status();
            click(window().parseButton);
            QVERIFY(window().parseButton->isEnabled());
            QCOMPARE(m_test->takeAlert(), message);
            QCOMPARE(m_test->status(), statusBefore);
        }
    }

    void parses()
    {
        m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, "progress(' 50 % '); wait('go'); " + QByteArray(twoScenes)));
        type(window().skipStartField, u"1.5"_s);
        type(m_test->line("fadeLeftField.extreme"), u"5"_s);
        click(window().findChild<QRadioButton*>(u"fadeStrategyButton.extreme"_s));
        QCOMPARE(m_test->status(), u"Fade 删除策略已切换为 极激进。"_s);
        click(window().parseButton);
        QCOMPARE(m_test->status(), u"解析中，请稍候..."_s);
        QVERIFY(!window().parseButton->isEnabled());
        QCOMPARE(window().findChild<QScrollArea*>()->horizontalScrollBar()->value(),
                 0); // the focus goes, the form stays
        QTRY_COMPARE(m_test->status(), u"50 %"_s);
        m_test->write(u"go"_s, {});
        QTRY_COMPARE(m_test->status(), u"解析完成：1 个换场，2 个保留片段，Fade=极激进 L=5.00s R=0.32s。"_s);
        QCOMPARE(m_test->read(u"one.mp4.arguments"_s),
                 "--skip-start-seconds 1.5 --fade-removal-profile extreme --fade-left-padding-seconds 5.0 "
                 "--fade-right-padding-seconds 0.32 --json\n");
        QCOMPARE(m_test->summary(), u"换场 1 个，保留片段 2 个"_s);
        QCOMPARE(m_test->eventCount(), 1);
        QCOMPARE(m_test->segmentCell(1, 2).data().toString(), u"00:00:20.000"_s);
        QVERIFY(window().parseButton->isEnabled() && window().splitButton->isEnabled());
    }

    void clearsResultsOnlyWhenAParseFails()
    {
        parseTwoScenes();
        QFile::remove(WindowUnderTest::detectorPath());
        click(window().parseButton); // it cannot even start
        QCOMPARE(m_test->takeAlert(), u"未找到 detect_scene_changes.py。"_s);
        QCOMPARE(m_test->status(), u"解析失败。"_s);
        QCOMPARE(m_test->segmentCount(), 2);
        QVERIFY(window().parseButton->isEnabled() && window().splitButton->isEnabled());

        m_test = std::make_unique<WindowUnderTest>();
        parseTwoScenes();
        m_test->addVideo(u"one.mp4"_s, "fail('<b>broken</b>')");
        m_test->parse();
        QCOMPARE(m_test->status(), u"解析失败。"_s);
        QCOMPARE(m_test->summary(), u"等待解析"_s);
        QVERIFY(isEmpty());
        const QMessageBox* alert = m_test->alerts().first();
        QCOMPARE(alert->findChild<QLabel*>(u"qt_msgbox_informativelabel"_s)->textFormat(), Qt::PlainText);
        QVERIFY(alert->text() == u"操作失败"_s && alert->icon() == QMessageBox::Warning);
        QCOMPARE(m_test->takeAlert(), u"解析失败：<b>broken</b>"_s);
    }

    void parsesAgainForOtherPadding()
    {
        const auto runs = [this] { return m_test->read(u"one.mp4.arguments"_s).count('\n'); };
        m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
        type(m_test->line("fadeLeftField.aggressive"), u"0.5"_s);
        QCOMPARE(runs(), 0);
        m_test->parse();
        m_test->selectEvent(0);
        QTest::keyClick(m_test->line("fadeRightField.aggressive"), Qt::Key_1);
        QTRY_VERIFY(m_test->status().endsWith(u"Fade=激进 L=0.50s R=0.24s。"_s));
        QCOMPARE(runs(), 2);
        QCOMPARE(m_test->selectedSegments(), (QList<int>{0, 1}));

        auto* standard = window().findChild<QRadioButton*>(u"fadeStrategyButton.standard"_s);
        click(standard);
        QTRY_VERIFY(m_test->status().endsWith(u"Fade=标准 L=0.08s R=0.18s。"_s));
        QTest::keyClick(standard, Qt::Key_Up);
        QTRY_VERIFY(m_test->status().endsWith(u"Fade=保守 L=0.04s R=0.12s。"_s));
        type(m_test->line("fadeRightField.extreme"), QString());
        QCOMPARE(m_test->takeAlert(), u"Fade 左右扩秒数必须是大于等于 0 的数字。"_s);
        QCOMPARE(m_test->segmentCount(), 2);
    }

    /// The video is changed while a parse runs: to another, to none, to one that is not there, or dropped once more.
    /// The detector, which shall end, ends in its own time.
    void obsoleteResultsNeverLand()
    {
        for (const QString& next : {u"two.mp4"_s, u""_s, u"nothing.mp4"_s, u"one.mp4"_s}) {
            m_test = std::make_unique<WindowUnderTest>();
            m_test->chooseVideo(
                m_test->addVideo(u"one.mp4"_s, "import signal; signal.signal(signal.SIGTERM, signal.SIG_IGN)\n"
                                               "progress('begun'); wait('go'); progress('late'); " +
                                                   QByteArray(next == u"two.mp4" ? twoScenes : "fail('late')")));
            m_test->addVideo(u"two.mp4"_s, twoScenes);
            click(window().parseButton);
            QTRY_COMPARE(m_test->status(), u"begun"_s);
            if (next == u"one.mp4"_s)
                drop(window().videoPathField, {m_test->path(next)});
            else
                paste(window().videoPathField, next.isEmpty() ? next : m_test->path(next)); // at once
            const QString status = m_test->status();
            QVERIFY(!window().parseButton->isEnabled());

            m_test->write(u"go"_s, {});
            QTRY_VERIFY(window().parseButton->isEnabled());
            QCOMPARE(m_test->status(), status);
            QCOMPARE(m_test->alerts().size(), 0);
            QVERIFY(isEmpty());
        }
    }

    /// Beside the results of an earlier parse. The detectors of the first two would never end by themselves.
    void newestOfThreeParsesWins()
    {
        parseTwoScenes();
        for (const char number : {'1', '2', '3'}) {
            m_test->addVideo(u"one.mp4"_s, QByteArray("progress('") + number + "'); wait('" + number +
                                               " may end'); progress('late'); answer([], [(0, 1)] * 5)");
            QTest::keyClick(m_test->line("fadeLeftField.aggressive"), Qt::Key_0);
            QTRY_COMPARE(m_test->status(), QString(QLatin1Char(number)));
        }
        QVERIFY(!window().parseButton->isEnabled() && !window().splitButton->isEnabled());
        m_test->write(u"3 may end"_s, {});
        QTRY_VERIFY(window().parseButton->isEnabled() && window().splitButton->isEnabled());
        QCOMPARE(m_test->segmentCount(), 5);
        QCOMPARE(m_test->alerts().size(), 0);
    }

    void outlivesAWindowThatGoesFirst()
    {
        m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, "progress('begun'); time.sleep(0.2); progress('late')"));
        click(window().parseButton);
        QTRY_COMPARE(m_test->status(), u"begun"_s);
        m_test.reset();
        DetectorService::waitForAll();
        QCoreApplication::processEvents();
    }

    void masterBoxFollowsAndLeads()
    {
        parseTwoScenes();
        QCheckBox* master = window().segmentMasterCheckbox;
        window().segmentTableView->model()->setData(m_test->segmentCell(0, 0), Qt::Unchecked, Qt::CheckStateRole);
        QCOMPARE(master->checkState(), Qt::PartiallyChecked);
        for (const auto state : {Qt::Checked, Qt::Unchecked, Qt::Checked}) {
            click(master);
            QCOMPARE(master->checkState(), state);
            QCOMPARE(m_test->segmentCell(0, 0).data(Qt::CheckStateRole).toInt(), state);
            QCOMPARE(window().splitButton->isEnabled(), state == Qt::Checked);
        }
    }

    void worksWithManualRowsAlone()
    {
        click(window().addSegmentButton);
        QVERIFY(!window().splitButton->isEnabled());
        m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes).chopped(1));
        QCOMPARE(m_test->segmentCount(), 0);
        QTest::keyClick(window().videoPathField, Qt::Key_4);
        click(window().addSegmentButton);
        click(window().addSegmentButton);
        QVERIFY(window().splitButton->isEnabled());
        QCOMPARE(m_test->segmentCell(1, 2).data().toString(), u"00:00:02.000"_s);
        // Another valid path keeps rows that no detection made.
        m_test->addVideo(u"one.mp44"_s, twoScenes);
        QTest::keyClick(window().videoPathField, Qt::Key_4);
        QCOMPARE(m_test->segmentCount(), 2);
        m_test->parse();
        QVERIFY(!m_test->segmentCell(0, 0).data(SegmentTableModel::isManualRole).toBool());
    }

    void highlightsRelatedSegments()
    {
        QTableView* table = window().segmentTableView;
        m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, manySegments));
        m_test->parse();
        QCoreApplication::processEvents(); // the table lays out its many rows first
        m_test->selectEvent(1);
        QCOMPARE(m_test->selectedSegments(), (QList<int>{499, 501}));
        QVERIFY(table->viewport()->rect().intersects(table->visualRect(m_test->segmentCell(499, 0))));

        // An edit elsewhere marks the related rows again and does not take the user back to them.
        table->scrollToTop();
        table->selectRow(0);
        table->model()->setData(m_test->segmentCell(0, 0), Qt::Unchecked, Qt::CheckStateRole);
        QCOMPARE(m_test->selectedSegments(), (QList<int>{499, 501}));
        QCOMPARE(table->verticalScrollBar()->value(), 0);
        QTest::mouseClick(window().eventTableView->viewport(), Qt::LeftButton, Qt::ControlModifier,
                          window().eventTableView->visualRect(window().eventTableView->model()->index(1, 1)).center());
        QCOMPARE(m_test->selectedSegments(), QList<int>());
    }

    void nonsenseTimesLeaveTheWindowUsable()
    {
        m_test->chooseVideo(m_test->addVideo(
            u"one.mp4"_s, "answer([(1e300, -1e300), (-5, -6)], [(1e300, 1e301), (5, 2), (-3, 4)], -1)"));
        m_test->parse();
        m_test->selectEvent(0);
        click(window().addSegmentButton);
        m_test->window().grab();
        QCOMPARE(m_test->segmentCount(), 4);
    }

    void anyTextIsHarmless()
    {
        parseTwoScenes();
        const QString mixed = u"مرحبا 👨‍👩‍👧 "_s + QChar(0xD800) + u"%1 %n a\u0000b\u0001\n\t\u2028"_s;
        for (const QString& text : {QString(10000, u'长'), mixed, u"1e999"_s}) {
            for (auto* field : window().findChildren<QLineEdit*>()) {
                if (field == window().videoPathField || field->objectName().isEmpty())
                    continue;
                paste(field, text);
                while (!m_test->alerts().isEmpty())
                    QVERIFY(!m_test->takeAlert().isEmpty());
            }
            window().segmentTableView->model()->setData(m_test->segmentCell(0, 1), text);
            QVERIFY(!m_test->takeAlert().isEmpty());
            click(window().parseButton);
            QVERIFY(!m_test->takeAlert().isEmpty());
        }
        paste(window().videoPathField, mixed);
        QVERIFY(isEmpty());
    }
};

QTEST_MAIN(TestMainWindowController)
#include "tst_MainWindowController.moc"
