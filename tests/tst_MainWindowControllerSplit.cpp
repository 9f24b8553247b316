#include "AppMain/QuitGuard.h"
#include "RealFFmpeg.h"
#include "WindowUnderTest.h"

#include <tuple>
#include <unistd.h>

using namespace Qt::StringLiterals;

/// The split through the window's controls, with the real ffmpeg, and the alerts.
class TestMainWindowControllerSplit final : public QObject
{
    Q_OBJECT

    QByteArray m_realVideo;
    std::unique_ptr<WindowUnderTest> m_test;

    [[nodiscard]] const MainWindow& window() const { return m_test->window(); }

    /// A parsed real video of one second, to be cut into two clips beside it.
    QString parseRealVideo(const QString& name)
    {
        QString video = m_test->addVideo(name, "answer([], [(0, 0.4), (0.5, 0.9)])");
        m_test->write(name, m_realVideo);
        drop(window().videoPathField, {video});
        m_test->parse();
        return video;
    }
    void split(const QString& folder, const QString& prefix)
    {
        paste(window().outputDirectoryField, folder);
        paste(window().prefixField, prefix);
        click(window().splitButton);
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QTemporaryDir folder;
        const QString video = folder.filePath(u"real.mp4"_s);
        runFFmpeg(u"-f lavfi -i testsrc=d=1:s=64x48:r=10"_s, video);
        m_realVideo = readFile(video);
    }

    void init() { m_test = std::make_unique<WindowUnderTest>(); }

    void cleanup()
    {
        m_test.reset();
        for (QWidget* widget : QApplication::topLevelWidgets())
            widget->close();
    }

    void doesNotStart()
    {
        const QString overTheSource = u"输出文件会覆盖源视频，请更换输出目录或前缀。"_s;
        for (auto [folder, prefix, message] :
             {std::tuple(u"clip-01.mp4/x"_s, u"x"_s, u"无法创建输出目录 %1：路径中有同名文件。"_s),
              {u"no detector"_s, u"x"_s, u"未找到 detect_scene_changes.py。"_s},
              {u"./sub/.."_s, u"clip"_s, overTheSource},
              {u"linked"_s, u"clip"_s, overTheSource}, // the folder through a link
              {u"sub"_s, u"symbolic"_s, overTheSource},
              {u"sub"_s, u"hard"_s, overTheSource}}) {
            m_test = std::make_unique<WindowUnderTest>();
            const QByteArray video = QFile::encodeName(parseRealVideo(u"clip-01.mp4"_s));
            const auto place = [this](const char* name) { return QFile::encodeName(m_test->folder.path()) + name; };
            QVERIFY(QDir(m_test->folder.path()).mkdir(u"sub"_s));
            QCOMPARE(::symlink(".", place("/linked").constData()), 0);
            QCOMPARE(::symlink(video.constData(), place("/sub/symbolic-02.mp4").constData()), 0);
            QCOMPARE(::link(video.constData(), place("/sub/hard-02.mp4").constData()), 0);
            if (folder == u"no detector")
                QFile::remove(WindowUnderTest::detectorPath());
            split(m_test->path(folder), prefix);
            QCOMPARE(m_test->takeAlert(), message.replace(u"%1"_s, m_test->path(folder)));
            QCOMPARE(m_test->status(), u"分解启动失败。"_s);
            QVERIFY(!m_test->controller.split().isRunning());
            QVERIFY(window().splitButton->isEnabled() && window().parseButton->isEnabled());
            QCOMPARE(m_test->read(u"clip-01.mp4"_s), m_realVideo);
        }
    }

    /// The name is the folder's, the video's and the prefix at once.
    void cutsIntoTheRightFile()
    {
        const QString name = u"-vf 片😀$(touch x)`'\"\\%1 <b>"_s;
        const QString prefix = u"-vf 片😀$(touch x)`'\"-%1 <b>"_s;
        const QString clips = m_test->path(name + u"/new/clips"_s);
        QVERIFY(QDir().mkpath(m_test->path(name)));
        parseRealVideo(name + u'/' + name + u".mp4"_s);
        type(window().cropField, u"32:16:0:0"_s);
        split(clips, name);
        QCOMPARE(m_test->status(), u"开始分解：2 个任务，2 个并发窗口。"_s);
        const auto areEnabled = [this](bool enabled) {
            return window().parseButton->isEnabled() == enabled && window().splitButton->isEnabled() == enabled &&
                   window().addSegmentButton->isEnabled() == enabled;
        };
        QVERIFY(areEnabled(false));
        QCOMPARE(m_test->controller.split().unfinishedJobs(), 2);
        QTRY_COMPARE_WITH_TIMEOUT(m_test->status(), u"分解完成：成功 2 / 2，失败 0。"_s, 20000);
        QVERIFY(areEnabled(true));
        QCOMPARE(m_test->preview(), clips + u'/' + prefix + u"-01.mp4"_s);
        QCOMPARE(QDir(clips).entryList(QDir::Files | QDir::Hidden, QDir::Name),
                 QStringList({prefix + u"-01.mp4"_s, prefix + u"-02.mp4"_s}));
        QCOMPARE(m_test->read(name + u'/' + name + u".mp4"_s), m_realVideo);
    }

    void stopsWithoutAnAlert()
    {
        parseRealVideo(u"real.mp4"_s);
        click(window().splitButton);
        m_test->controller.split().stopForQuitting();
        QTRY_VERIFY_WITH_TIMEOUT(!m_test->controller.split().isRunning(), 20000);
        QCOMPARE(m_test->alerts().size(), 0);
    }

    void asksInTheMainWindowBeforeQuitting()
    {
        parseRealVideo(u"real.mp4"_s);
        QuitGuard guard(m_test->controller.split(), &m_test->window());
        click(window().splitButton);
        const auto wishToQuit = [] {
            QEvent quit(QEvent::Quit);
            QCoreApplication::sendEvent(qApp, &quit);
        };
        wishToQuit();
        QCOMPARE(m_test->alerts().size(), 1); // although a worker's window is in front
        QCOMPARE(m_test->alerts().first()->text(), u"分解仍在进行"_s);
        wishToQuit();
        QCOMPARE(m_test->alerts().size(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(!m_test->controller.split().isRunning(), 20000);
        QCOMPARE(m_test->alerts().size(), 0);
    }

    void retriesOnlyWhileNothingElseRuns()
    {
        const auto retry = [] {
            for (const QWidget* widget : QApplication::topLevelWidgets()) {
                if (auto* action = widget->findChild<QAction*>(u"retryAction"_s))
                    return action;
            }
            return static_cast<QAction*>(nullptr);
        }();
        QVERIFY(retry && !retry->isEnabled());
        parseRealVideo(u"real.mp4"_s);
        m_test->write(u"real.mp4"_s, "no video any more");
        click(window().splitButton);
        QVERIFY(!retry->isEnabled());
        QTRY_COMPARE_WITH_TIMEOUT(m_test->status(), u"分解完成：成功 0 / 2，失败 2。"_s, 20000);
        QCOMPARE(m_test->takeAlert(), u"共有 2 个 ffmpeg 任务失败，请检查子窗口日志。"_s);
        QVERIFY(retry->isEnabled());

        m_test->write(u"real.mp4.plan"_s, "wait('go'); fail('too late')");
        click(window().parseButton);
        QVERIFY(!retry->isEnabled());
        m_test->write(u"go"_s, {});
        QTRY_VERIFY(retry->isEnabled());
        QVERIFY(!m_test->takeAlert().isEmpty());
        m_test->write(u"real.mp4"_s, m_realVideo);
        retry->trigger();
        QVERIFY(m_test->controller.split().isRunning() && !window().parseButton->isEnabled());
        QTRY_COMPARE_WITH_TIMEOUT(m_test->status(), u"分解完成：成功 2 / 2，失败 0。"_s, 20000);
    }

    void showsAlertsOneByOne()
    {
        parseRealVideo(u"real.mp4"_s);
        type(m_test->line("fadeLeftField.standard"), u"9"_s);
        click(window().splitButton);
        type(m_test->line("fadeLeftField.extreme"), u"x"_s);
        QVERIFY(!m_test->controller.split().isRunning());
        for (const QString& message :
             {u"Fade 左右扩秒数过大。"_s, u"Fade 左右扩秒数过大。"_s, u"Fade 左右扩秒数必须是大于等于 0 的数字。"_s}) {
            QTRY_COMPARE(m_test->alerts().size(), 1);
            QCOMPARE(m_test->takeAlert(), message);
        }
        QCOMPARE(m_test->alerts().size(), 0);
    }

    void shortensLongAlerts()
    {
        m_test->chooseVideo(
            m_test->addVideo(u"one.mp4"_s, "fail('first\\n' + 'x\\n' * 200000 + ' x' * 1000000 + 'last')"));
        m_test->parse();
        QCOMPARE(m_test->alerts().size(), 1);
        QVERIFY(m_test->alerts().first()->height() < 800);
        const QString detail = m_test->takeAlert();
        QVERIFY(detail.size() < 3000 && detail.contains(u"……（省略"_s));
        QVERIFY(detail.startsWith(u"解析失败：first"_s) && detail.endsWith(u"last"_s));
    }

    void isSilentOnceClosed()
    {
        m_test->chooseVideo(m_test->addVideo(u"one.mp4"_s, "wait('go'); fail('too late')"));
        click(window().parseButton);
        m_test->window().close();
        m_test->write(u"go"_s, {});
        QTRY_COMPARE(m_test->status(), u"解析失败。"_s);
        QCOMPARE(window().findChildren<QMessageBox*>().size(), 0);
    }
};

QTEST_MAIN(TestMainWindowControllerSplit)
#include "tst_MainWindowControllerSplit.moc"
