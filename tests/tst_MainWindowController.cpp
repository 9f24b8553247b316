#include "MainWindowController/SegmentTableModel.h"
#include "WindowUnderTest.h"

#include <QCheckBox>
#include <QDropEvent>
#include <QFileDialog>
#include <QMimeData>
#include <QRadioButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSpinBox>

using namespace Qt::StringLiterals;

namespace {

constexpr auto twoScenes = "answer([(10, 11)], [(0, 10), (11, 20)])";
constexpr auto manySegments = "answer([(10, 11), (500, 501)], [(n, n + 1) for n in range(600)])";

void drop(QWidget* field, const QStringList& paths)
{
    QMimeData data;
    QList<QUrl> urls;
    for (const QString& path : paths)
        urls.append(QUrl::fromLocalFile(path));
    data.setUrls(urls);
    const QPoint center = field->rect().center();
    QDragEnterEvent enter(center, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(field, &enter);
    QDropEvent event(center, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(field, &event);
}

} // namespace

/// The workflow up to the split, through the window's controls.
class TestMainWindowController final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void startsReadyForAVideo();
    void takesADroppedVideo();
    void takesATypedVideo();
    void keepsWhatTheUserChose();
    void followsTheVideoFolderAgain();
    void previewsTheFirstName_data();
    void previewsTheFirstName();
    void choosesInDialogs();
    void clampsConcurrency_data();
    void clampsConcurrency();

    void refusesToParse_data();
    void refusesToParse();
    void parses();
    void keepsResultsWhenAParseCannotStart();
    void clearsResultsWhenAParseFails();
    void parsesAgainForOtherPadding();
    void obsoleteResultsNeverLand_data();
    void obsoleteResultsNeverLand();
    void newerParseWins_data();
    void newerParseWins();
    void newestOfThreeParsesWins_data();
    void newestOfThreeParsesWins();
    void outlivesAWindowThatGoesFirst();

    void editsSegments();
    void masterBoxFollowsAndLeads();
    void worksWithManualRowsAlone();
    void highlightsRelatedSegments();
    void nonsenseTimesLeaveTheWindowUsable();
    void anyTextIsHarmless_data();
    void anyTextIsHarmless();

private:
    std::unique_ptr<WindowUnderTest> m_test;
};

void TestMainWindowController::initTestCase()
{
    qputenv("PYTHONUTF8", "1");
}

void TestMainWindowController::init()
{
    m_test = std::make_unique<WindowUnderTest>();
}

void TestMainWindowController::cleanup()
{
    m_test.reset();
}

void TestMainWindowController::startsReadyForAVideo()
{
    const MainWindow& window = m_test->window();
    QCOMPARE(m_test->preview(), u"clip-01.mp4"_s);
    QVERIFY(window.parseButton->isEnabled());
    QVERIFY(window.addSegmentButton->isEnabled());
    QVERIFY(!window.splitButton->isEnabled());
    QVERIFY(!window.segmentMasterCheckbox->isEnabled());
}

void TestMainWindowController::takesADroppedVideo()
{
    const MainWindow& window = m_test->window();
    const QString video = m_test->addVideo(u" 长 %1 片.b.MP4 "_s, twoScenes);
    drop(window.videoPathField, {m_test->folder.path(), video});
    QCOMPARE(window.videoPathField->text(), video);
    QCOMPARE(window.outputDirectoryField->text(), m_test->folder.path());
    QCOMPARE(window.prefixField->text(), u" 长 %1 片.b"_s);
    QCOMPARE(m_test->status(), u"视频已准备好，点击“解析”生成结果和脚本。"_s);
    QCOMPARE(m_test->preview(), m_test->path(u"长 %1 片.b-01.MP4 "_s));
    m_test->parse();
    QCOMPARE(m_test->segmentCount(), 2);
    drop(window.videoPathField, {m_test->folder.path()});
    QCOMPARE(window.videoPathField->text(), video);
}

void TestMainWindowController::takesATypedVideo()
{
    const MainWindow& window = m_test->window();
    const QString video = m_test->addVideo(u"a.mkv"_s, twoScenes);
    m_test->chooseVideo(u"  "_s + video + u' ');
    QCOMPARE(m_test->status(), u"视频路径已更新，点击“解析”生成结果和脚本。"_s);
    QCOMPARE(window.outputDirectoryField->text(), m_test->folder.path());
    QCOMPARE(window.prefixField->text(), QString());
    QCOMPARE(m_test->preview(), m_test->path(u"a-01.mkv"_s));
    m_test->parse();
    QCOMPARE(m_test->summary(), u"换场 1 个，保留片段 2 个"_s);

    QTest::keyClick(window.videoPathField, Qt::Key_End);
    QTest::keyClick(window.videoPathField, Qt::Key_X);
    QCOMPARE(m_test->status(), u"当前视频路径无效，请检查文件是否存在。"_s);
    QCOMPARE(m_test->summary(), u"等待解析"_s);
    QCOMPARE(m_test->segmentCount() + m_test->eventCount(), 0);
    QVERIFY(!window.splitButton->isEnabled());
    m_test->chooseVideo(m_test->folder.path());
    QCOMPARE(m_test->status(), u"当前视频路径无效，请检查文件是否存在。"_s);
    m_test->chooseVideo(QString());
    QCOMPARE(m_test->status(), u"请输入视频文件路径，或直接拖入视频。"_s);

    m_test->chooseVideo(QDir::current().relativeFilePath(video));
    m_test->parse();
    QCOMPARE(m_test->segmentCount(), 2);
}

void TestMainWindowController::keepsWhatTheUserChose()
{
    const MainWindow& window = m_test->window();
    const QString clips = m_test->path(u" clips "_s);
    QDir().mkpath(clips);
    QDir().mkpath(m_test->path(u"other"_s));
    drop(window.videoPathField, {m_test->addVideo(u"one.mp4"_s, twoScenes)});
    drop(window.outputDirectoryField, {clips});
    QCOMPARE(m_test->preview(), clips + u"/one-01.mp4"_s);
    drop(window.videoPathField, {m_test->addVideo(u"other/two.mov"_s, twoScenes)});
    QCOMPARE(window.outputDirectoryField->text(), clips);
    QCOMPARE(m_test->preview(), clips + u"/one-01.mov"_s);

    WindowUnderTest::type(window.outputDirectoryField, QString());
    QCOMPARE(m_test->preview(), m_test->path(u"other/one-01.mov"_s));
    drop(window.videoPathField, {m_test->path(u"one.mp4"_s)});
    QCOMPARE(window.outputDirectoryField->text(), m_test->folder.path());
    WindowUnderTest::type(window.outputDirectoryField, u" relative "_s);
    QCOMPARE(m_test->preview(), QDir::currentPath() + u"/relative/one-01.mp4"_s);
    drop(window.videoPathField, {m_test->path(u"other/two.mov"_s)});
    m_test->parse();
    QCOMPARE(window.outputDirectoryField->text(), QDir::currentPath() + u"/relative"_s);
}

void TestMainWindowController::followsTheVideoFolderAgain()
{
    const MainWindow& window = m_test->window();
    WindowUnderTest::type(window.outputDirectoryField, u"/nowhere"_s);
    WindowUnderTest::click(window.resetOutputDirectoryButton);
    QCOMPARE(window.outputDirectoryField->text(), QString());
    QCOMPARE(m_test->preview(), u"clip-01.mp4"_s);
    WindowUnderTest::type(window.outputDirectoryField, u"/nowhere"_s);
    drop(window.videoPathField, {m_test->addVideo(u"one.mp4"_s, twoScenes)});
    QCOMPARE(window.outputDirectoryField->text(), u"/nowhere"_s);
    WindowUnderTest::click(window.resetOutputDirectoryButton);
    QCOMPARE(window.outputDirectoryField->text(), m_test->folder.path());
}

void TestMainWindowController::previewsTheFirstName_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QString>("preview");
    QTest::newRow("neither") << QString() << QString() << u"clip-01.mp4"_s;
    QTest::newRow("prefix") << QString() << u" a/b "_s << u"a-b-01.mp4"_s;
    QTest::newRow("folder") << u"/x"_s << QString() << u"/x/clip-01.mp4"_s;
    QTest::newRow("prefix of separators") << u"/x/"_s << u"///"_s << u"/x/clip-01.mp4"_s;
}

void TestMainWindowController::previewsTheFirstName()
{
    QFETCH(const QString, folder);
    QFETCH(const QString, prefix);
    WindowUnderTest::type(m_test->window().outputDirectoryField, folder);
    WindowUnderTest::type(m_test->window().prefixField, prefix);
    QTEST(m_test->preview(), "preview");
}

void TestMainWindowController::choosesInDialogs()
{
    const MainWindow& window = m_test->window();
    const QString video = m_test->addVideo(u"one.MOV"_s, twoScenes);
    const auto choose = [&](QAbstractButton* button, const QString& path) {
        WindowUnderTest::click(button);
        QPointer<QFileDialog> dialog = window.findChild<QFileDialog*>();
        QVERIFY(dialog);
        QVERIFY(dialog->isModal());
        QVERIFY(dialog->testOption(QFileDialog::ShowDirsOnly) || !dialog->nameFilters().join(u' ').contains(u"(*)"_s));
        dialog->setDirectory(QFileInfo(path).path());
        dialog->selectFile(path);
        auto* name = dialog->findChild<QLineEdit*>(u"fileNameEdit"_s);
        name->setText(QFileInfo(path).fileName());
        QTest::keyClick(name, Qt::Key_Return);
        QTRY_VERIFY(!dialog);
    };
    choose(window.selectVideoButton, video);
    QCOMPARE(window.videoPathField->text(), video);
    QCOMPARE(m_test->status(), u"视频已准备好，点击“解析”生成结果和脚本。"_s);
    QDir().mkpath(m_test->path(u"clips"_s));
    choose(window.selectOutputDirectoryButton, m_test->path(u"clips"_s));
    QCOMPARE(window.outputDirectoryField->text(), m_test->path(u"clips"_s));
    drop(window.videoPathField, {video});
    QCOMPARE(window.outputDirectoryField->text(), m_test->path(u"clips"_s));
}

void TestMainWindowController::clampsConcurrency_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("concurrency");
    QTest::newRow("in range") << u"7"_s << 7;
    QTest::newRow("above") << u"20"_s << 12;
    QTest::newRow("zero") << u"0"_s << 1;
    QTest::newRow("no number") << u"x"_s << 3;
    QTest::newRow("nothing") << QString() << 3;
}

void TestMainWindowController::clampsConcurrency()
{
    QFETCH(const QString, typed);
    QFETCH(const int, concurrency);
    const MainWindow& window = m_test->window();
    WindowUnderTest::type(window.concurrencyField, typed);
    QCOMPARE(window.concurrencyField->text(), QString::number(concurrency));
    QCOMPARE(window.concurrencyStepper->value(), concurrency);
    window.concurrencyStepper->stepBy(concurrency == 12 ? -1 : 1);
    QCOMPARE(window.concurrencyField->text(), window.concurrencyStepper->text());
}

void TestMainWindowController::refusesToParse_data()
{
    QTest::addColumn<QList<QPair<QByteArray, QString>>>("texts");
    QTest::addColumn<QString>("message");
    using Texts = QList<QPair<QByteArray, QString>>;
    const QString skip = u"跳过检测秒数必须是大于等于 0 的数字。"_s;
    const QString crop = u"裁剪参数格式应为 宽:高:X:Y，例如 1728:910:0:85。"_s;
    QTest::newRow("no video") << Texts{{"videoPathField", u""_s}} << u"请先选择视频文件，或直接拖入视频。"_s;
    QTest::newRow("skip comes first") << Texts{{"skipStartField", u"-1"_s},
                                               {"cropField", u"1:2"_s},
                                               {"fadeLeftField.standard", u"x"_s}}
                                      << skip;
    QTest::newRow("skip too large") << Texts{{"skipStartField", u"86400.5"_s}} << u"跳过检测秒数过大。"_s;
    QTest::newRow("crop comes second") << Texts{{"cropField", u"0:2:0:0"_s}, {"fadeLeftField.standard", u"x"_s}}
                                       << crop;
    QTest::newRow("padding of another strategy")
        << Texts{{"fadeRightField.conservative", u""_s}} << u"Fade 左右扩秒数必须是大于等于 0 的数字。"_s;
    QTest::newRow("wide padding of another strategy")
        << Texts{{"fadeLeftField.extreme", u"5.01"_s}} << u"Fade 左右扩秒数过大。"_s;
}

void TestMainWindowController::refusesToParse()
{
    using Texts = QList<QPair<QByteArray, QString>>;
    QFETCH(const Texts, texts);
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
    for (const auto& [field, text] : texts)
        WindowUnderTest::type(m_test->line(field), text);
    const QString statusBefore = m_test->status();
    WindowUnderTest::click(m_test->window().parseButton);
    QVERIFY(m_test->window().parseButton->isEnabled());
    QCOMPARE(m_test->alerts().size(), 1);
    QCOMPARE(m_test->alerts().first()->text(), u"操作失败"_s);
    QCOMPARE(m_test->alerts().first()->icon(), QMessageBox::Warning);
    QTEST(m_test->takeAlert(), "message");
    QCOMPARE(m_test->status(), statusBefore);
}

void TestMainWindowController::parses()
{
    const MainWindow& window = m_test->window();
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, "progress(' 50 % '); wait('go'); " + QByteArray(twoScenes)));
    WindowUnderTest::type(window.skipStartField, u"1.5"_s);
    WindowUnderTest::type(m_test->line("fadeLeftField.extreme"), u"5"_s);
    WindowUnderTest::click(window.findChild<QRadioButton*>(u"fadeStrategyButton.extreme"_s));
    QCOMPARE(m_test->status(), u"Fade 删除策略已切换为 极激进。"_s);
    WindowUnderTest::click(window.parseButton);
    QCOMPARE(m_test->status(), u"解析中，请稍候..."_s);
    QVERIFY(!window.parseButton->isEnabled());
    QTRY_COMPARE(m_test->status(), u"50 %"_s);
    m_test->write(u"go"_s, {});
    QTRY_COMPARE(m_test->status(), u"解析完成：1 个换场，2 个保留片段，Fade=极激进 L=5.00s R=0.32s。"_s);
    QCOMPARE(m_test->read(u"one.mp4.arguments"_s),
             "--skip-start-seconds 1.5 --fade-removal-profile extreme --fade-left-padding-seconds 5.0 "
             "--fade-right-padding-seconds 0.32 --json\n");
    QCOMPARE(m_test->summary(), u"换场 1 个，保留片段 2 个"_s);
    QCOMPARE(m_test->eventCount(), 1);
    QCOMPARE(m_test->segmentCell(1, 2).data().toString(), u"00:00:20.000"_s);
    QVERIFY(window.parseButton->isEnabled() && window.splitButton->isEnabled());
    QCOMPARE(window.segmentMasterCheckbox->checkState(), Qt::Checked);
}

void TestMainWindowController::keepsResultsWhenAParseCannotStart()
{
    const MainWindow& window = m_test->window();
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
    m_test->parse();
    QFile::remove(QCoreApplication::applicationDirPath() + u"/../share/kestrel/detect_scene_changes.py"_s);
    WindowUnderTest::click(window.parseButton);
    QCOMPARE(m_test->takeAlert(), u"未找到 detect_scene_changes.py。"_s);
    QCOMPARE(m_test->status(), u"解析失败。"_s);
    QCOMPARE(m_test->segmentCount(), 2);
    QVERIFY(window.parseButton->isEnabled() && window.splitButton->isEnabled());
}

void TestMainWindowController::clearsResultsWhenAParseFails()
{
    const MainWindow& window = m_test->window();
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
    m_test->parse();
    m_test->addVideo(u"one.mp4"_s, "fail('<b>broken</b>')");
    m_test->parse();
    QCOMPARE(m_test->status(), u"解析失败。"_s);
    QCOMPARE(m_test->segmentCount() + m_test->eventCount(), 0);
    QCOMPARE(m_test->summary(), u"等待解析"_s);
    QVERIFY(!window.splitButton->isEnabled());
    const auto* label = m_test->alerts().first()->findChild<QLabel*>(u"qt_msgbox_informativelabel"_s);
    QCOMPARE(label->textFormat(), Qt::PlainText);
    QCOMPARE(m_test->takeAlert(), u"解析失败：<b>broken</b>"_s);
    m_test->addVideo(u"one.mp4"_s, "print('{')");
    m_test->parse();
    QVERIFY(m_test->takeAlert().startsWith(u"无法解析检测脚本输出："_s));
}

void TestMainWindowController::parsesAgainForOtherPadding()
{
    const MainWindow& window = m_test->window();
    const auto runs = [this] { return m_test->read(u"one.mp4.arguments"_s).count('\n'); };
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
    WindowUnderTest::type(m_test->line("fadeLeftField.aggressive"), u"0.5"_s);
    QCOMPARE(runs(), 0);
    m_test->parse();
    QCOMPARE(runs(), 1);
    m_test->selectEvent(0);
    QTest::keyClick(m_test->line("fadeRightField.aggressive"), Qt::Key_1);
    QCOMPARE(m_test->status(), u"解析中，请稍候..."_s);
    QTRY_COMPARE(m_test->status(), u"解析完成：1 个换场，2 个保留片段，Fade=激进 L=0.50s R=0.24s。"_s);
    QCOMPARE(runs(), 2);
    QCOMPARE(m_test->selectedSegments(), (QList<int>{0, 1}));

    auto* standard = window.findChild<QRadioButton*>(u"fadeStrategyButton.standard"_s);
    WindowUnderTest::click(standard);
    QTRY_COMPARE(m_test->status(), u"解析完成：1 个换场，2 个保留片段，Fade=标准 L=0.08s R=0.18s。"_s);
    standard->setFocus();
    QTest::keyClick(standard, Qt::Key_Up);
    QTRY_COMPARE(m_test->status(), u"解析完成：1 个换场，2 个保留片段，Fade=保守 L=0.04s R=0.12s。"_s);
    WindowUnderTest::type(m_test->line("fadeRightField.extreme"), QString());
    QCOMPARE(m_test->takeAlert(), u"Fade 左右扩秒数必须是大于等于 0 的数字。"_s);
    QCOMPARE(m_test->segmentCount(), 2);
}

void TestMainWindowController::obsoleteResultsNeverLand_data()
{
    QTest::addColumn<QByteArray>("end");
    QTest::addColumn<QString>("next");
    for (const auto& [name, next] :
         {std::pair("other video typed", u"two.mp4"_s), std::pair("no video", QString()),
          std::pair("invalid path", u"nothing.mp4"_s), std::pair("same video again", u"one.mp4"_s)}) {
        QTest::addRow("%s, success", name) << QByteArray(twoScenes) << next;
        QTest::addRow("%s, failure", name) << QByteArray("fail('late')") << next;
    }
}

void TestMainWindowController::obsoleteResultsNeverLand()
{
    QFETCH(const QByteArray, end);
    QFETCH(const QString, next);
    const MainWindow& window = m_test->window();
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, "progress('begun'); wait('go'); progress('late'); " + end));
    m_test->addVideo(u"two.mp4"_s, twoScenes);
    WindowUnderTest::click(window.parseButton);
    QTRY_COMPARE(m_test->status(), u"begun"_s);
    if (next == u"one.mp4"_s)
        drop(window.videoPathField, {m_test->path(next)});
    else
        m_test->chooseVideo(next.isEmpty() ? next : m_test->path(next));
    const QString status = m_test->status();
    QVERIFY(!window.parseButton->isEnabled());

    m_test->write(u"go"_s, {});
    QTRY_VERIFY(window.parseButton->isEnabled());
    QCOMPARE(m_test->status(), status);
    QCOMPARE(m_test->alerts().size(), 0);
    QCOMPARE(m_test->segmentCount() + m_test->eventCount(), 0);
    QVERIFY(!window.splitButton->isEnabled());
}

void TestMainWindowController::newerParseWins_data()
{
    QTest::addColumn<bool>("olderEndsFirst");
    QTest::newRow("the older one ends first") << true;
    QTest::newRow("the older one ends last") << false;
}

void TestMainWindowController::newerParseWins()
{
    QFETCH(const bool, olderEndsFirst);
    const MainWindow& window = m_test->window();
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
    m_test->parse();
    const auto startParse = [&](const QByteArray& plan, Qt::Key digit) {
        m_test->addVideo(u"one.mp4"_s, plan);
        QTest::keyClick(m_test->line("fadeLeftField.aggressive"), digit);
    };
    startParse("import atexit; atexit.register(touch, 'older has ended')\n"
               "progress('older'); wait('older may end'); progress('late'); fail('older')",
               Qt::Key_1);
    QTRY_COMPARE(m_test->status(), u"older"_s);
    startParse("progress('newer'); wait('newer may end'); answer([], [(0, 1)])", Qt::Key_2);
    QTRY_COMPARE(m_test->status(), u"newer"_s);
    if (olderEndsFirst) {
        m_test->write(u"older may end"_s, {});
        QTRY_VERIFY(QFile::exists(m_test->path(u"older has ended"_s)));
    }
    m_test->write(u"newer may end"_s, {});
    QTRY_COMPARE(m_test->segmentCount(), 1);
    if (!olderEndsFirst) {
        QVERIFY(!window.parseButton->isEnabled() && !window.splitButton->isEnabled());
        m_test->write(u"older may end"_s, {});
    }
    QTRY_VERIFY(window.parseButton->isEnabled() && window.splitButton->isEnabled());
    QVERIFY(m_test->status().startsWith(u"解析完成：0 个换场，1 个保留片段，"_s));
    QCOMPARE(m_test->alerts().size(), 0);
}

void TestMainWindowController::newestOfThreeParsesWins_data()
{
    QTest::addColumn<QString>("order");
    for (const char* order : {"123", "132", "213", "231", "312", "321"})
        QTest::newRow(order) << QString::fromLatin1(order);
}

/// Beside the results of an earlier parse the first one fails, the second and the third succeed.
void TestMainWindowController::newestOfThreeParsesWins()
{
    QFETCH(const QString, order);
    const MainWindow& window = m_test->window();
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
    m_test->parse();
    const QByteArrayList answers = {"fail('first')", "answer([], [(0, 1)] * 4)", "answer([], [(0, 1)] * 5)"};
    for (int number = 1; number <= 3; ++number) {
        const QByteArray name = QByteArray::number(number);
        m_test->addVideo(u"one.mp4"_s, "import atexit; atexit.register(touch, '" + name + " has ended')\nprogress('" +
                                           name + "'); wait('" + name + " may end'); " + answers.at(number - 1));
        QTest::keyClick(m_test->line("fadeLeftField.aggressive"), Qt::Key_0);
        QTRY_COMPARE(m_test->status(), QString::number(number));
    }
    int expectedSegments = 2;
    for (const QChar number : order) {
        m_test->write(number + u" may end"_s, {});
        QTRY_VERIFY(QFile::exists(m_test->path(number + u" has ended"_s)));
        if (number == u'3')
            expectedSegments = 5;
        QTRY_COMPARE(m_test->segmentCount(), expectedSegments);
    }
    QTRY_VERIFY(window.parseButton->isEnabled() && window.splitButton->isEnabled());
    QCOMPARE(m_test->segmentCount(), 5);
    QVERIFY(m_test->status().startsWith(u"解析完成：0 个换场，5 个保留片段，"_s));
    QCOMPARE(m_test->alerts().size(), 0);
}

void TestMainWindowController::outlivesAWindowThatGoesFirst()
{
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, "progress('begun'); time.sleep(0.2); progress('late')"));
    WindowUnderTest::click(m_test->window().parseButton);
    QTRY_COMPARE(m_test->status(), u"begun"_s);
    m_test.reset();
    DetectorService::waitForAll();
    QCoreApplication::processEvents();
}

void TestMainWindowController::editsSegments()
{
    const MainWindow& window = m_test->window();
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
    m_test->parse();
    auto* model = window.segmentTableView->model();
    QVERIFY(!model->setData(m_test->segmentCell(0, 1), u"0:0"_s));
    QCOMPARE(m_test->takeAlert(), u"时间格式应为 时:分:秒.毫秒，例如 00:01:23.456。"_s);
    QVERIFY(!model->setData(m_test->segmentCell(0, 1), u"0:0:10"_s));
    QCOMPARE(m_test->takeAlert(), u"开始时间必须小于结束时间。"_s);
    QVERIFY(!model->setData(m_test->segmentCell(1, 2), u"0:0:11"_s));
    QCOMPARE(m_test->takeAlert(), u"结束时间必须大于开始时间。"_s);
    QVERIFY(model->setData(m_test->segmentCell(1, 2), u"0:0:12.5"_s));
    QCOMPARE(m_test->segmentCell(1, 2).data().toString(), u"00:00:12.500"_s);

    WindowUnderTest::click(window.addSegmentButton);
    QCOMPARE(m_test->segmentCell(2, 1).data().toString(), u"00:00:12.500"_s);
    QCOMPARE(m_test->segmentCell(2, 2).data().toString(), u"00:00:13.500"_s);
    QCOMPARE(m_test->selectedSegments(), QList<int>{2});
    QCOMPARE(m_test->summary(), u"换场 1 个，保留片段 3 个"_s);
    const auto clickDelete = [&](int row) {
        const QRect cell = window.segmentTableView->visualRect(m_test->segmentCell(row, 2));
        QTest::mouseMove(window.segmentTableView->viewport(), cell.center());
        QTest::mouseClick(window.segmentTableView->viewport(), Qt::LeftButton, {},
                          {cell.right() - 8, cell.center().y()});
    };
    clickDelete(1);
    QCOMPARE(m_test->segmentCount(), 3);
    clickDelete(2);
    QCOMPARE(m_test->segmentCount(), 2);
}

void TestMainWindowController::masterBoxFollowsAndLeads()
{
    const MainWindow& window = m_test->window();
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
    m_test->parse();
    const auto master = [&] { return window.segmentMasterCheckbox->checkState(); };
    const auto setRow = [&](int row, Qt::CheckState state) {
        window.segmentTableView->model()->setData(m_test->segmentCell(row, 0), state, Qt::CheckStateRole);
    };
    setRow(0, Qt::Unchecked);
    QCOMPARE(master(), Qt::PartiallyChecked);
    WindowUnderTest::click(window.segmentMasterCheckbox);
    QCOMPARE(master(), Qt::Checked);
    QCOMPARE(m_test->segmentCell(0, 0).data(Qt::CheckStateRole).toInt(), Qt::Checked);
    WindowUnderTest::click(window.segmentMasterCheckbox);
    QCOMPARE(master(), Qt::Unchecked);
    QVERIFY(!window.splitButton->isEnabled());
    WindowUnderTest::click(window.segmentMasterCheckbox);
    QCOMPARE(master(), Qt::Checked);
    QVERIFY(window.splitButton->isEnabled());
    setRow(0, Qt::Unchecked);
    setRow(1, Qt::Unchecked);
    QCOMPARE(master(), Qt::Unchecked);
}

void TestMainWindowController::worksWithManualRowsAlone()
{
    const MainWindow& window = m_test->window();
    WindowUnderTest::click(window.addSegmentButton);
    QCOMPARE(m_test->summary(), u"手动片段 1 个"_s);
    QVERIFY(!window.splitButton->isEnabled());
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes).chopped(1));
    QCOMPARE(m_test->segmentCount(), 0);
    QTest::keyClick(window.videoPathField, Qt::Key_4);
    WindowUnderTest::click(window.addSegmentButton);
    WindowUnderTest::click(window.addSegmentButton);
    QVERIFY(window.splitButton->isEnabled());
    QCOMPARE(m_test->segmentCell(1, 2).data().toString(), u"00:00:02.000"_s);
    // Another valid path keeps rows that no detection made.
    m_test->addVideo(u"one.mp44"_s, twoScenes);
    QTest::keyClick(window.videoPathField, Qt::Key_4);
    QCOMPARE(m_test->segmentCount(), 2);
    m_test->parse();
    QCOMPARE(m_test->summary(), u"换场 1 个，保留片段 2 个"_s);
    QVERIFY(!m_test->segmentCell(0, 0).data(SegmentTableModel::isManualRole).toBool());
}

void TestMainWindowController::highlightsRelatedSegments()
{
    const MainWindow& window = m_test->window();
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, manySegments));
    m_test->parse();
    m_test->selectEvent(1);
    QCOMPARE(m_test->selectedSegments(), (QList<int>{499, 501}));
    QVERIFY(window.segmentTableView->viewport()->rect().intersects(
        window.segmentTableView->visualRect(m_test->segmentCell(499, 0))));

    // An edit elsewhere marks the related rows again and does not take the user back to them.
    window.segmentTableView->scrollToTop();
    window.segmentTableView->selectRow(0);
    window.segmentTableView->model()->setData(m_test->segmentCell(0, 0), Qt::Unchecked, Qt::CheckStateRole);
    QCOMPARE(m_test->selectedSegments(), (QList<int>{499, 501}));
    QCOMPARE(window.segmentTableView->verticalScrollBar()->value(), 0);
    WindowUnderTest::type(window.prefixField, u"a"_s);
    QCOMPARE(m_test->selectedSegments(), (QList<int>{499, 501}));
    QTest::mouseClick(window.eventTableView->viewport(), Qt::LeftButton, Qt::ControlModifier,
                      window.eventTableView->visualRect(window.eventTableView->model()->index(1, 1)).center());
    QCOMPARE(m_test->selectedSegments(), QList<int>());
}

void TestMainWindowController::nonsenseTimesLeaveTheWindowUsable()
{
    const MainWindow& window = m_test->window();
    m_test->chooseVideo(
        m_test->addVideo(u"one.mp4"_s, "answer([(1e300, -1e300), (-5, -6)], [(1e300, 1e301), (5, 2), (-3, 4)], -1)"));
    m_test->parse();
    QCOMPARE(m_test->segmentCount(), 3);
    m_test->selectEvent(0);
    WindowUnderTest::click(window.addSegmentButton);
    WindowUnderTest::click(window.segmentMasterCheckbox);
    m_test->window().grab();
    QVERIFY(window.parseButton->isEnabled());
    m_test->addVideo(u"one.mp4"_s, "answer([], [(0, float('nan'))])");
    m_test->parse();
    QVERIFY(m_test->takeAlert().startsWith(u"无法解析检测脚本输出："_s));
}

void TestMainWindowController::anyTextIsHarmless_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("long") << QString(10000, u'长');
    QTest::newRow("control characters") << u"a\u0000b\u0001\n\t\u2028"_s;
    QTest::newRow("right to left, emoji, lone surrogate")
        << u"مرحبا 👨‍👩‍👧 "_s + QChar(0xD800) + u"%1 %n"_s;
    QTest::newRow("numbers beyond all bounds") << u"1e999"_s;
}

void TestMainWindowController::anyTextIsHarmless()
{
    QFETCH(const QString, text);
    const MainWindow& window = m_test->window();
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, twoScenes));
    m_test->parse();
    for (auto* field : window.findChildren<QLineEdit*>()) {
        if (field == window.videoPathField || field->objectName().isEmpty())
            continue;
        WindowUnderTest::paste(field, text);
        while (!m_test->alerts().isEmpty())
            QVERIFY(!m_test->takeAlert().isEmpty());
    }
    window.segmentTableView->model()->setData(m_test->segmentCell(0, 1), text);
    QVERIFY(!m_test->takeAlert().isEmpty());
    WindowUnderTest::click(window.parseButton);
    QVERIFY(!m_test->takeAlert().isEmpty());
    WindowUnderTest::paste(window.videoPathField, text);
    QCOMPARE(m_test->segmentCount(), 0);
}

QTEST_MAIN(TestMainWindowController)
#include "tst_MainWindowController.moc"
