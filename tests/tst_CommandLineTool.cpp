#include "FakeTool.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

struct Outcome
{
    int status = -1;
    QString output;
    QString error;
};

} // namespace

/// The real executable, in an installation of its own that is a copy of the build tree's shape.
class CommandLineToolTest final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_directory;
    QString m_program;
    QString m_script;

    void start(QProcess& process, const QString& program, const QStringList& arguments) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const QString& name : {u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s, u"QT_QPA_PLATFORM"_s})
            environment.remove(name);
        environment.insert(u"LC_ALL"_s, u"C"_s); // for which Qt has a warning of its own
        environment.insert(u"XDG_CACHE_HOME"_s, m_directory.filePath(u"cache"_s));
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(m_directory.path());
        process.start(program, arguments);
    }

    [[nodiscard]] Outcome run(const QStringList& arguments, const QString& program = QString()) const
    {
        QProcess process;
        start(process, program.isEmpty() ? m_program : program, arguments);
        if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit)
            return {};
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QDir(m_directory.path()).mkpath(u"bin/.venv/bin"_s));
        QVERIFY(QDir(m_directory.path()).mkpath(u"share/kestrel"_s));
        m_program = m_directory.filePath(u"bin/kestrel"_s);
        m_script = m_directory.filePath(u"share/kestrel/detect_scene_changes.py"_s);
        QVERIFY(QFile::copy(QStringLiteral(KESTREL_EXECUTABLE), m_program));
        QVERIFY(QFile::copy(QStringLiteral(KESTREL_DETECTOR), m_script));
    }

    /// By its own name and through a link in another folder.
    void selfTest()
    {
        const QString link = m_directory.filePath(u"kestrel-link"_s);
        QVERIFY(QFile::link(m_program, link));
        for (const QString& program : {m_program, link}) {
            const Outcome outcome = run({u"--self-test"_s, u"ignored"_s}, program);
            QCOMPARE(outcome.error, QString());
            QCOMPARE(outcome.status, 0);
            const QStringList lines = outcome.output.split(u'\n');
            QCOMPARE(lines.size(), 4);
            QVERIFY2(lines[0].startsWith(u"python=/"_s) && lines[0].contains(u"/bin/python"_s), qPrintable(lines[0]));
            QCOMPARE(lines[1], u"script="_s + m_script);
            QVERIFY2(lines[2].startsWith(u"ffmpeg=/"_s) && lines[2].endsWith(u"/ffmpeg"_s), qPrintable(lines[2]));
        }
    }

    void failuresTakeOneLine()
    {
        const Outcome noOperand = run({u"--detect-summary"_s});
        QVERIFY(noOperand.status == 2 && noOperand.output.isEmpty());
        QCOMPARE(noOperand.error, u"用法: --detect-summary <video-path>\n"_s);
        const Outcome noVideo = run({u"--detect-summary"_s, u"none.mp4"_s});
        QVERIFY(noVideo.status == 2 && noVideo.output.isEmpty());
        QVERIFY2(noVideo.error.startsWith(u"解析失败："_s) && noVideo.error.count(u'\n') == 1,
                 qPrintable(noVideo.error));
    }

    void lostOutputIsAFailure()
    {
        if (!QFile::exists(u"/dev/full"_s))
            QSKIP("needs /dev/full");
        const Outcome outcome = run({u"-c"_s, u"exec \"$0\" --self-test > /dev/full"_s, m_program}, u"/bin/sh"_s);
        QCOMPARE(outcome.status, 2);
        QCOMPARE(outcome.error, u"无法写到标准输出。\n"_s);
    }

    void interruptEndsTheDetectorToo()
    {
        QVERIFY(QFile::link(writeFakeTool(m_directory.path(), u"fake-python"_s,
                                          "cd \"$(dirname \"$1\")\"; echo $$ >pid.new; mv pid.new pid; exec sleep 1000")
                                .path(),
                            m_directory.filePath(u"bin/.venv/bin/python"_s)));
        std::signal(SIGHUP, SIG_DFL); // children inherit what whoever started the test has ignored
        const QString pidPath = m_directory.filePath(u"share/kestrel/pid"_s);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            QProcess process;
            start(process, m_program, {u"--detect-summary"_s, u"v.mp4"_s});
            QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(pidPath), 20000);
            const int detector = readFile(pidPath).trimmed().toInt();
            ::kill(static_cast<pid_t>(process.processId()), signal);
            QVERIFY(process.waitForFinished(20000));
            QCOMPARE(process.exitStatus(), QProcess::CrashExit);
            QCOMPARE(process.exitCode(), signal);
            QVERIFY(::kill(detector, 0) == -1);
            QVERIFY(QFile::remove(pidPath));
        }
    }
};

QTEST_GUILESS_MAIN(CommandLineToolTest)
#include "tst_CommandLineTool.moc"
