#include "FakeTool.h"
#include "Services/AppRuntimeError.h"
#include "Services/ChildProcess.h"
#include "Services/DetectorService.h"

#include <QSemaphore>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QByteArray answer =
    R"(printf '%s' '{"video":"v","fps":25,"duration":1,"aggressive":true,"events":[],"keep_segments":[]}')";

} // namespace

/// Requests to fake interpreters: shell scripts that get the detector's words.
class DetectorServiceTest final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_directory;
    QStringList m_progress;

    [[nodiscard]] RuntimeConfiguration runtimeWith(const QByteArray& body) const
    {
        return {writeFakeTool(m_directory.path(), u"python"_s, body), FileURL(m_directory.filePath(u"folder/d.py"_s)),
                FileURL(u"/usr/bin/ffmpeg"_s)};
    }

    /// The message of the request's AppRuntimeError, or the payload's video when it succeeded.
    [[nodiscard]] QString outcome(const QByteArray& body)
    {
        m_progress.clear();
        const DetectorService service(runtimeWith(body));
        try {
            return service.detectSync({FileURL(u"/v.mp4"_s)}, [this](const QString& line) { m_progress += line; })
                .video;
        } catch (const AppRuntimeError& error) {
            return error.message();
        }
    }

    /// What a script has written to a file in its working folder.
    [[nodiscard]] QByteArray written(const QString& name) const
    {
        return readFile(m_directory.filePath(u"folder/"_s + name)).trimmed();
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(QDir(m_directory.path()).mkdir(u"folder"_s)); }

    void whatTheDetectorReceives()
    {
        qputenv("KESTREL_TEST_BYTES", "a\xff\nb");
        const DetectorService service(
            runtimeWith("printf '%s\\n' \"$0\" \"$@\" >words; pwd -P >folder; printf %s \"$PATH\" >path\n"
                        "printf %s \"$KESTREL_TEST_BYTES\" >bytes; readlink /proc/self/fd/0 >input 2>&1\n" +
                        answer));
        const DetectionRequest request = {FileURL(u"/v/-x 100%20#\n\"$.mp4"_s), -1.5, FadeRemovalStrategy::conservative,
                                          FadePaddingSettings{-0.0, 0.1 + 0.2}};
        QCOMPARE(service.detectSync(request).fps, 25.0);

        QCOMPARE(QString::fromUtf8(written(u"words"_s)),
                 m_directory.filePath(u"python"_s) + u'\n' + m_directory.filePath(u"folder/d.py"_s) +
                     u"\n/v/-x 100%20#\n\"$.mp4\n--skip-start-seconds\n0.0\n--fade-removal-profile\nconservative\n"
                     "--fade-left-padding-seconds\n0.0\n--fade-right-padding-seconds\n0.30000000000000004\n--json"_s);
        QCOMPARE(QString::fromUtf8(written(u"folder"_s)),
                 QFileInfo(m_directory.filePath(u"folder"_s)).canonicalFilePath());
        QVERIFY(written(u"path"_s).startsWith(m_directory.path().toUtf8() + ":/usr/bin:/opt/homebrew/bin:"));
        QCOMPARE(written(u"bytes"_s), QByteArray("a\xff\nb"));
#ifdef Q_OS_LINUX
        QCOMPARE(QString::fromUtf8(written(u"input"_s)), QFile::symLinkTarget(u"/proc/self/fd/0"_s));
#endif
    }

    void failures()
    {
        const QString failed = u"解析失败："_s;
        const QString unreadable = u"无法解析检测脚本输出："_s;
        for (const auto& [body, message] :
             {std::pair("echo ' 原因 '; echo ' 没有\n文件 ' >&2; exit 3", failed + u"没有\n文件"_s),
              {"printf ' why\\n'; printf ' \\n' >&2; exit 1", failed + u"why"_s},
              {"exit 3", failed + u"检测脚本没有说明原因（退出状态 3）。"_s},
              {"kill -9 $$", failed + u"检测脚本没有说明原因（被信号 9 终止）。"_s},
              {"printf '\377' >&2; exit 1", failed + u"检测脚本的说明不是 UTF-8 文本（退出状态 1）。"_s},
              {"seq 1000000 >&2; exit 1",
               failed + u"1\n2\n3\n4\n5\n6\n……（省略 999977 行）……\n999984\n999985\n999986\n999987\n999988\n999989\n"
                        "999990\n999991\n999992\n999993\n999994\n999995\n999996\n999997\n999998\n999999\n1000000"_s},
              {"printf '{}'; kill -9 $$", failed + u"{}"_s},
              {"printf '{\377}'", unreadable + u"输出不是 UTF-8 文本。"_s},
              {"exit 0", unreadable + u"输出为空。"_s},
              {"echo '{\"video\": 3}'", unreadable + u"video：应为文本，实际是数字。"_s}})
            QCOMPARE(outcome(body), message);
    }

    void whatCannotBegin()
    {
        const QString fifo = m_directory.filePath(u"fifo"_s);
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        const DetectorService service(runtimeWith(answer));
        for (const QString& path : {fifo, u"/dev/zero"_s})
            QVERIFY_THROWS_EXCEPTION(AppRuntimeError, (void)service.detectSync({FileURL(path)}));
        const DetectorService missing({FileURL(u"/missing/python"_s), FileURL(u"/d.py"_s), FileURL()});
        QVERIFY_THROWS_EXCEPTION(ProcessLaunchError, (void)missing.detectSync({FileURL(u"/v"_s)}));
    }

    void progressLines()
    {
        QCOMPARE(outcome("printf ' 一\\n\\n \\t\\n\\343\\200\\200二\\r\\n\\377\\n' >&2; printf '三' >&2\n" + answer),
                 u"v"_s);
        QCOMPARE(m_progress, QStringList({u"一"_s, u"二"_s, u"三"_s}));
    }

    /// Both pipes are full at the same time, long before the detector ends.
    void floodsOnBothPipes()
    {
        QCOMPARE(outcome("head -c 5000000 /dev/zero | tr '\\0' 'x' | fold -w 99 >&2 &\n"
                         "head -c 50000000 /dev/zero | tr '\\0' ' '; wait; " +
                         answer),
                 u"v"_s);
        QCOMPARE(m_progress.size(), 5000000 / 99 + 1);
    }

    /// Last: no request is taken after it.
    void stoppingEndsTheDetector()
    {
        QSemaphore done;
        const DetectorService service(runtimeWith("echo bereit >&2; exec sleep 1000"));
        service.detect(
            {FileURL(u"/v"_s)}, [&](const QString&) { done.release(); },
            [&](const DetectionResult& result) {
                QVERIFY(std::holds_alternative<std::exception_ptr>(result));
                done.release();
            });
        QVERIFY(done.tryAcquire(1, 20000));
        DetectorService::stopAll();
        DetectorService::waitForAll();
        QVERIFY(done.tryAcquire(1));
        QVERIFY_THROWS_EXCEPTION(AppRuntimeError, (void)service.detectSync({FileURL(u"/v"_s)}));
    }
};

QTEST_GUILESS_MAIN(DetectorServiceTest)
#include "tst_DetectorService.moc"
