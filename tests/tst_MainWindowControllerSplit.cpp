#include "WindowUnderTest.h"

#include <QProcess>
#include <QSignalSpy>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto twoSegments = "answer([], [(0, 0.4), (0.5, 0.9)])";

void closeWorkerWindows()
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->windowTitle().startsWith(u"分解任务"_s))
            window->close();
    }
}

} // namespace

/// The split through the window's controls, with the real ffmpeg, and the alerts.
class TestMainWindowControllerSplit final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void splits();
    void countsFailures();
    void refusesInvalidInput_data();
    void refusesInvalidInput();
    void cannotStart_data();
    void cannotStart();
    void keepsTheSource_data();
    void keepsTheSource();
    void ignoresWhatOnlyLooksLikeTheSource();
    void stopsWithoutAnAlert();

    void showsAlertsOneByOne();
    void shortensLongAlerts_data();
    void shortensLongAlerts();
    void isSilentOnceClosed();

private:
    /// A parsed real video of one second, to be cut into two clips beside it.
    QString parseRealVideo(const QString& name);
    void clickSplit() { WindowUnderTest::click(m_test->window().splitButton); }

    QByteArray m_realVideo;
    std::unique_ptr<WindowUnderTest> m_test;
};

void TestMainWindowControllerSplit::initTestCase()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"real.mp4"_s);
    QCOMPARE(QProcess::execute(
                 u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=d=1:s=64x48:r=10"_s, path}),
             0);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    m_realVideo = file.readAll();
}

void TestMainWindowControllerSplit::init()
{
    m_test = std::make_unique<WindowUnderTest>();
}

void TestMainWindowControllerSplit::cleanup()
{
    m_test.reset();
    closeWorkerWindows();
}

QString TestMainWindowControllerSplit::parseRealVideo(const QString& name)
{
    const QString video = m_test->addVideo(name, twoSegments);
    m_test->write(name, m_realVideo);
    m_test->chooseVideo(video);
    m_test->parse();
    return video;
}

void TestMainWindowControllerSplit::splits()
{
    const MainWindow& window = m_test->window();
    parseRealVideo(u"real.mp4"_s);
    WindowUnderTest::type(window.prefixField, u"part"_s);
    WindowUnderTest::type(window.cropField, u"32:16:0:0"_s);
    WindowUnderTest::type(window.outputDirectoryField, m_test->path(u"new/folder"_s));
    WindowUnderTest::click(window.addSegmentButton); // a third one, which nothing can be cut from
    clickSplit();
    QCOMPARE(m_test->status(), u"开始分解：3 个任务，3 个并发窗口。"_s);
    QVERIFY(!window.parseButton->isEnabled() && !window.splitButton->isEnabled() &&
            !window.addSegmentButton->isEnabled());
    QCOMPARE(m_test->controller.unfinishedJobs(), 3);
    QTRY_VERIFY_WITH_TIMEOUT(m_test->status().startsWith(u"分解完成：成功 "_s), 20000);
    QVERIFY(window.parseButton->isEnabled() && window.splitButton->isEnabled() && window.addSegmentButton->isEnabled());
    for (const QString& name : {u"part-01.mp4"_s, u"part-02.mp4"_s})
        QVERIFY(QFileInfo(m_test->path(u"new/folder/"_s + name)).size() > 0);
}

void TestMainWindowControllerSplit::countsFailures()
{
    m_test->chooseVideo(m_test->addVideo(u"unreal.mp4"_s, twoSegments));
    m_test->parse();
    WindowUnderTest::type(m_test->window().concurrencyField, u"1"_s);
    clickSplit();
    QCOMPARE(m_test->status(), u"开始分解：2 个任务，1 个并发窗口。"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m_test->status(), u"分解完成：成功 0 / 2，失败 2。"_s, 20000);
    QCOMPARE(m_test->takeAlert(), u"共有 2 个 ffmpeg 任务失败，请检查子窗口日志。"_s);
    QVERIFY(m_test->window().splitButton->isEnabled());
}

void TestMainWindowControllerSplit::refusesInvalidInput_data()
{
    QTest::addColumn<QByteArray>("field");
    QTest::addColumn<QString>("message");
    QTest::newRow("skip") << "skipStartField"_ba << u"跳过检测秒数必须是大于等于 0 的数字。"_s;
    QTest::newRow("crop") << "cropField"_ba << u"裁剪参数格式应为 宽:高:X:Y，例如 1728:910:0:85。"_s;
    QTest::newRow("padding") << "fadeLeftField.standard"_ba << u"Fade 左右扩秒数必须是大于等于 0 的数字。"_s;
}

void TestMainWindowControllerSplit::refusesInvalidInput()
{
    QFETCH(const QByteArray, field);
    parseRealVideo(u"real.mp4"_s);
    m_test->line(field)->setText(u"x"_s);
    clickSplit();
    QTEST(m_test->takeAlert(), "message");
    QVERIFY(!m_test->controller.splitIsRunning());
}

void TestMainWindowControllerSplit::cannotStart_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("message");
    QTest::newRow("a file in the way") << u"real.mp4/x"_s << u"无法创建输出目录 %1：路径中有同名文件。"_s;
    QTest::newRow("a file at its place") << u"real.mp4"_s << u"无法创建输出目录 %1：路径中有同名文件。"_s;
    QTest::newRow("a name too long") << QString(300, u'x') << u"无法创建输出目录 %1：路径过长。"_s;
    QTest::newRow("no detector") << QString() << u"未找到 detect_scene_changes.py。"_s;
}

void TestMainWindowControllerSplit::cannotStart()
{
    QFETCH(const QString, folder);
    QFETCH(QString, message);
    parseRealVideo(u"real.mp4"_s);
    const QString path = m_test->path(folder);
    if (folder.isEmpty())
        QFile::remove(QCoreApplication::applicationDirPath() + u"/../share/kestrel/detect_scene_changes.py"_s);
    else
        WindowUnderTest::type(m_test->window().outputDirectoryField, path);
    clickSplit();
    QCOMPARE(m_test->takeAlert(), message.replace(u"%1"_s, path));
    QCOMPARE(m_test->status(), u"分解启动失败。"_s);
    QVERIFY(m_test->window().splitButton->isEnabled() && m_test->window().parseButton->isEnabled());
}

void TestMainWindowControllerSplit::keepsTheSource_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("prefix");
    QTest::newRow("same path") << u"."_s << u"clip"_s;
    QTest::newRow("dots in the path") << u"./sub/.."_s << u"clip"_s;
    QTest::newRow("folder through a link") << u"linked"_s << u"clip"_s;
    QTest::newRow("link to the file") << u"sub"_s << u"symbolic"_s;
    QTest::newRow("hard link") << u"sub"_s << u"hard"_s;
}

void TestMainWindowControllerSplit::keepsTheSource()
{
    QFETCH(const QString, folder);
    QFETCH(const QString, prefix);
    const QString video = parseRealVideo(u"clip-01.mp4"_s);
    QVERIFY(QDir(m_test->folder.path()).mkdir(u"sub"_s));
    QVERIFY(QFile::link(m_test->folder.path(), m_test->path(u"linked"_s)));
    QVERIFY(QFile::link(video, m_test->path(u"sub/symbolic-02.mp4"_s)));
    QCOMPARE(
        ::link(QFile::encodeName(video).constData(), QFile::encodeName(m_test->path(u"sub/hard-02.mp4"_s)).constData()),
        0);
    WindowUnderTest::type(m_test->window().outputDirectoryField, m_test->folder.path() + u'/' + folder);
    WindowUnderTest::type(m_test->window().prefixField, prefix);
    clickSplit();
    QCOMPARE(m_test->takeAlert(), u"输出文件会覆盖源视频，请更换输出目录或前缀。"_s);
    QCOMPARE(m_test->status(), u"分解启动失败。"_s);
    QVERIFY(!m_test->controller.splitIsRunning());
    QCOMPARE(m_test->read(u"clip-01.mp4"_s), m_realVideo);
}

void TestMainWindowControllerSplit::ignoresWhatOnlyLooksLikeTheSource()
{
    parseRealVideo(u"clip-01.mp4"_s);
    WindowUnderTest::type(m_test->window().prefixField, u"Clip"_s);
    WindowUnderTest::type(m_test->window().outputDirectoryField, m_test->path(u"sub"_s));
    clickSplit();
    QTRY_COMPARE_WITH_TIMEOUT(m_test->status(), u"分解完成：成功 2 / 2，失败 0。"_s, 20000);
    QCOMPARE(m_test->read(u"clip-01.mp4"_s), m_realVideo);
}

void TestMainWindowControllerSplit::stopsWithoutAnAlert()
{
    parseRealVideo(u"real.mp4"_s);
    const QSignalSpy ended(&m_test->controller, &MainWindowController::splitEnded);
    clickSplit();
    m_test->controller.stopSplit();
    QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 1, 20000);
    QVERIFY(!m_test->controller.splitIsRunning());
    QCOMPARE(m_test->alerts().size(), 0);
}

void TestMainWindowControllerSplit::showsAlertsOneByOne()
{
    parseRealVideo(u"real.mp4"_s);
    WindowUnderTest::type(m_test->line("fadeLeftField.standard"), u"9"_s);
    WindowUnderTest::type(m_test->line("fadeLeftField.extreme"), u"x"_s);
    for (const QString& message : {u"Fade 左右扩秒数过大。"_s, u"Fade 左右扩秒数必须是大于等于 0 的数字。"_s}) {
        QTRY_COMPARE(m_test->alerts().size(), 1);
        QCOMPARE(m_test->takeAlert(), message);
    }
    QCOMPARE(m_test->alerts().size(), 0);
}

void TestMainWindowControllerSplit::shortensLongAlerts_data()
{
    QTest::addColumn<QByteArray>("plan");
    QTest::newRow("many lines") << "fail('first\\n' + 'x\\n' * 200000 + 'last')"_ba;
    QTest::newRow("one long line") << "fail('first' + ' x' * 1000000 + 'last')"_ba;
}

void TestMainWindowControllerSplit::shortensLongAlerts()
{
    QFETCH(const QByteArray, plan);
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, plan));
    m_test->parse();
    QCOMPARE(m_test->alerts().size(), 1);
    QVERIFY(m_test->alerts().first()->height() < 800);
    const QString detail = m_test->takeAlert();
    QVERIFY(detail.size() < 3000);
    QVERIFY(detail.startsWith(u"解析失败：first"_s));
    QVERIFY(detail.contains(u"……"_s) && detail.endsWith(u"last"_s));
}

void TestMainWindowControllerSplit::isSilentOnceClosed()
{
    m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, "wait('go'); fail('too late')"));
    WindowUnderTest::click(m_test->window().parseButton);
    m_test->window().close();
    m_test->write(u"go"_s, {});
    QTRY_COMPARE(m_test->status(), u"解析失败。"_s);
    QCOMPARE(m_test->window().findChildren<QMessageBox*>().size(), 0);
}

QTEST_MAIN(TestMainWindowControllerSplit)
#include "tst_MainWindowControllerSplit.moc"
