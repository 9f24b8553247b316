#include "FakeTool.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

struct Outcome
{
    int status = -1;
    QByteArray output;
    QString error;

    [[nodiscard]] QStringList states() const
    {
        QStringList states;
        for (const QByteArray& line : output.split('\n')) {
            if (!line.isEmpty())
                states << QJsonDocument::fromJson(line).object().value(u"state"_s).toString();
        }
        states.sort();
        return states;
    }
};

/// Two segments, 0 to 0.4 and 0.6 to 1; a video's name tells what else shall happen.
constexpr auto detector = R"(import json, os, sys, time
video = sys.argv[1]
name = os.path.basename(video)
if "broken" in name:
    sys.exit("无法识别为视频文件：" + name)
if "dying" in name:
    os.kill(os.getpid(), 9)
if "babbling" in name:
    sys.exit(print("no JSON"))
if "slow" in name:
    open(os.path.dirname(video) + "/detecting", "w").write(str(os.getpid()))
    time.sleep(1000)
segments = [(0, 0.4), (0.6, 1)] if "empty" not in name else []
print(json.dumps({"video": video, "fps": 25.0, "duration": 2.0, "aggressive": True, "events": [], "keep_segments": [
    {"index": i, "start": s, "end": e, "duration": e - s} for i, (s, e) in enumerate(segments)]}))
)";

} // namespace

/// The real executable with the real ffmpeg, and a detector that costs no time.
class BatchTest final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_installation;
    std::unique_ptr<QTemporaryDir> m_directory; ///< of one test
    QString m_program;

    [[nodiscard]] QString path(const QString& name) const { return m_directory->filePath(name); }
    [[nodiscard]] bool has(const QString& name) const { return QFile::exists(path(name)); }

    [[nodiscard]] QByteArray contents(const QString& name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    void write(const QString& name, const QByteArray& text) const
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }

    /// A list of one segment.
    void writeList(const QString& name, const QString& video, const QByteArray& end) const
    {
        write(name, "{\"video\":\"" + path(video).toUtf8() + "\",\"fps\":25,\"duration\":" + end +
                        ",\"aggressive\":true,\"events\":[],\"keep_segments\":[{\"index\":0,\"start\":0,\"end\":" +
                        end + ",\"duration\":" + end + "}]}");
    }

    void copyVideo(const QString& name) const
    {
        QVERIFY(QFile::copy(m_installation.filePath(u"video.mp4"_s), path(name)));
    }

    void start(QProcess& process, const QString& program, const QStringList& arguments,
               const QString& language = u"C.UTF-8"_s) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"LC_ALL"_s, language);
        environment.insert(u"XDG_DATA_HOME"_s, path(u"data"_s)); // with the trash
        environment.insert(u"PATH"_s, m_installation.filePath(u"bin"_s) + u":/usr/bin:/bin"_s);
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(m_directory->path());
        process.start(program, arguments);
    }

    [[nodiscard]] Outcome run(const QStringList& arguments, const QString& language = u"C.UTF-8"_s,
                              const QByteArray& input = {}) const
    {
        QProcess process;
        start(process, m_program, arguments, language);
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
            return {};
        return {process.exitCode(), process.readAllStandardOutput(), QString::fromUtf8(process.readAllStandardError())};
    }

    [[nodiscard]] QStringList files(const QString& folder) const
    {
        return QDir(path(folder)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QDir(m_installation.path()).mkpath(u"bin"_s));
        QVERIFY(QDir(m_installation.path()).mkpath(u"share/kestrel"_s));
        m_program = m_installation.filePath(u"bin/kestrel-batch"_s);
        QVERIFY(QFile::copy(QStringLiteral(KESTREL_BATCH_EXECUTABLE), m_program));
        QFile script(m_installation.filePath(u"share/kestrel/detect_scene_changes.py"_s));
        QVERIFY(script.open(QIODevice::WriteOnly) && script.write(detector) > 0);
        QCOMPARE(QProcess::execute(u"ffmpeg"_s,
                                   {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=s=64x48:r=25:d=2"_s,
                                    u"-movflags"_s, u"+faststart"_s, m_installation.filePath(u"video.mp4"_s)}),
                 0);
    }

    void init()
    {
        m_directory = std::make_unique<QTemporaryDir>();
        copyVideo(u"a.mp4"_s);
    }

    void onlyWhatIsMissingIsDone()
    {
        copyVideo(u"b.mp4"_s);
        const QStringList words = {u"cut"_s, u"a.mp4"_s, u"b.mp4"_s, u"-o"_s, u"out"_s};
        const Outcome first = run(words);
        QCOMPARE(first.error.count(u'\n'), 5);
        QCOMPARE(first.status, 0);
        QCOMPARE(first.states(), QStringList(4, u"completed"_s));
        QCOMPARE(files(u"out"_s), QStringList({u".kestrel-batch.journal"_s, u"a"_s, u"b"_s, u"kestrel-batch.json"_s}));
        QVERIFY(QJsonDocument::fromJson(contents(u"out/kestrel-batch.json"_s)).isObject());
        const QByteArray clip = contents(u"out/a/a-01.mp4"_s);

        QVERIFY(QFile::remove(path(u"out/a/a-02.mp4"_s)));
        write(u"out/b/b-01.mp4"_s, "somebody's");
        QCOMPARE(run({u"status"_s, u"out"_s}).status, 1);
        const Outcome second = run(words);
        QCOMPARE(second.states(), QStringList({u"completed"_s, u"completed"_s, u"present"_s, u"present"_s}));
        QCOMPARE(contents(u"out/a/a-01.mp4"_s), clip);
        QCOMPARE(contents(u"data/Trash/files/b-01 (原文件).mp4"_s) + contents(u"out/b/b-01 (原文件).mp4"_s),
                 "somebody's"_ba);

        // The same times, of which some are known by now, and all of them anew.
        QCOMPARE(run(words).states(), QStringList(4, u"present"_s));
        QCOMPARE(run(words + QStringList(u"--force"_s)).states(), QStringList(4, u"completed"_s));
        QCOMPARE(files(u"out/a"_s), QStringList({u"a-01.mp4"_s, u"a-02.mp4"_s}));
        QCOMPARE(run({u"status"_s, u"out"_s}).output, "4 done, 0 doubtful, 0 failed, 0 missing\n"_ba);

        QVERIFY(QProcess::execute(u"touch"_s, {path(u"a.mp4"_s)}) == 0);
        QCOMPARE(run(words).states(), QStringList({u"completed"_s, u"completed"_s, u"present"_s, u"present"_s}));
    }

    void wrongUseTouchesNothing_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("error");
        QTest::newRow("no command") << QStringList() << u"no command is given"_s;
        QTest::newRow("command") << QStringList{u"cutt"_s} << u"unknown command: cutt"_s;
        QTest::newRow("option") << QStringList{u"cut"_s, u"--fast"_s, u"a.mp4"_s} << u"unknown option: --fast"_s;
        QTest::newRow("option of another") << QStringList{u"detect"_s, u"-0"_s} << u"option -0 is not for detect"_s;
        QTest::newRow("no value") << QStringList{u"cut"_s, u"a.mp4"_s, u"-o"_s} << u"option -o needs a value"_s;
        QTest::newRow("value") << QStringList{u"cut"_s, u"-j0"_s, u"a.mp4"_s} << u"option -j has an invalid value: 0"_s;
        QTest::newRow("number") << QStringList{u"detect"_s, u"--left=x"_s, u"a.mp4"_s}
                                << u"the seconds of padding must be numbers from 0"_s;
        QTest::newRow("nowhere") << QStringList{u"cut"_s, u"a.mp4"_s} << u"option -o is missing"_s;
        QTest::newRow("nothing") << QStringList{u"cut"_s, u"-o"_s, u"out"_s} << u"no video or list is given"_s;
        QTest::newRow("one name") << QStringList{u"cut"_s, u"a.mp4"_s, u"x/a.mkv"_s, u"-o"_s, u"out"_s}
                                  << u"“a.mp4” and “x/a.mkv” would both be written to a; rename one of them"_s;
        QTest::newRow("our name") << QStringList{u"cut"_s, u".unfinished.mp4"_s, u"-o"_s, u"out"_s}
                                  << u"cannot be the name of an output folder: .unfinished.mp4"_s;
        QTest::newRow("format") << QStringList{u"export"_s, u"a.json"_s, u"--format"_s, u"xyz"_s}
                                << u"option --format has an invalid value: xyz"_s;
        QTest::newRow("no manifest") << QStringList{u"status"_s, u"/"_s}
                                     << u"there is no manifest of kestrel-batch in /"_s;
    }

    void wrongUseTouchesNothing()
    {
        QFETCH(const QStringList, words);
        const Outcome outcome = run(words);
        QCOMPARE(outcome.status, 2);
        QCOMPARE(outcome.output, QByteArray());
        QTEST(outcome.error.section(u'\n', 0, 0).section(u": "_s, 1), "error");
        QCOMPARE(files(u"."_s), QStringList{u"a.mp4"_s});
        QVERIFY(run(words, u"zh_CN.UTF-8"_s).error.contains(u"用 kestrel-batch --help 查看用法。"_s));
    }

    void aBrokenVideoStopsNoOther()
    {
        for (const QString& name : {u"broken-1.mp4"_s, u"broken-2.mp4"_s, u"empty.mp4"_s})
            copyVideo(name);
        const Outcome outcome = run({u"cut"_s, u"broken-1.mp4"_s, u"missing.mp4"_s, u"a.mp4"_s, u"broken-2.mp4"_s,
                                     u"empty.mp4"_s, u"none.kestrel.json"_s, u"-o"_s, u"out"_s});
        QCOMPARE(outcome.status, 1);
        QCOMPARE(outcome.states(), QStringList({u"completed"_s, u"completed"_s, u"failed"_s, u"failed"_s, u"failed"_s,
                                                u"failed"_s, u"failed"_s}));
        QCOMPARE(outcome.error.count(u"not a video file: broken-1.mp4"_s), 1);
        QCOMPARE(outcome.error.count(u"empty.mp4: failed: there are no clips to write"_s), 1);
        QVERIFY(has(u"out/a/a-02.mp4"_s));
        const Outcome status = run({u"status"_s, u"--json"_s, u"out"_s});
        QCOMPARE(QJsonDocument::fromJson(status.output).object().value(u"failed"_s).toInt(), 4);
        QCOMPARE(run({u"cut"_s, u"broken-1.mp4"_s, u"-o"_s, u"other"_s}).status, 2);
    }

    void reasonsAreToldInBothLanguages_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QByteArray>("list"); ///< its content, or nothing for a video
        QTest::addColumn<QString>("reason");
        QTest::newRow("no JSON") << u"l.json"_s << "{"_ba << u"not valid JSON (line 1, column "_s;
        QTest::newRow("no field") << u"l.json"_s << "{\"kestrel\":1}"_ba << u": missing"_s;
        QTest::newRow("another type") << u"l.json"_s << "{\"video\":1}"_ba << u"video: a number instead of a text"_s;
        QTest::newRow("detector died") << u"dying.mp4"_s << QByteArray()
                                       << u"the detector gave no reason (killed by signal 9)"_s;
        QTest::newRow("detector babbles") << u"babbling.mp4"_s << QByteArray() << u"output cannot be read: not valid"_s;
        QTest::newRow("broken") << u"broken.mp4"_s << QByteArray() << u"not a video file: broken.mp4"_s;
        QTest::newRow("no extension") << u"video"_s << QByteArray() << u"the video's name has no extension"_s;
    }

    void reasonsAreToldInBothLanguages()
    {
        QFETCH(const QString, input);
        QFETCH(const QByteArray, list);
        QFETCH(const QString, reason);
        if (list.isEmpty())
            copyVideo(input);
        else
            write(input, list);
        static const QRegularExpression chinese(u"\\p{Han}"_s, QRegularExpression::UseUnicodePropertiesOption);
        const QStringList words = {u"cut"_s, input, u"-o"_s, u"out"_s};
        const Outcome outcome = run(words);
        QVERIFY(outcome.status > 0);
        QVERIFY2(outcome.error.contains(reason) && !outcome.error.contains(chinese), qPrintable(outcome.error));
        const QString text = QString::fromUtf8(outcome.output);
        QVERIFY2(text.contains(reason) && !text.contains(chinese), qPrintable(text));
        QVERIFY(run(words, u"zh_CN.UTF-8"_s).error.contains(chinese));
    }

    /// Tried again each time, it does not pile up.
    void aDoubtfulClipIsReplaced()
    {
        const QByteArray video = contents(u"a.mp4"_s);
        write(u"a.mp4"_s, video.first(video.size() * 2 / 3));
        writeList(u"a.kestrel.json"_s, u"a.mp4"_s, "2");
        for (int time = 0; time < 2; ++time) {
            const Outcome outcome = run({u"cut"_s, u"a.kestrel.json"_s, u"-o"_s, u"out"_s});
            QCOMPARE(outcome.status, 1);
            QCOMPARE(outcome.states(), QStringList{u"doubtful"_s});
            QCOMPARE(files(u"out/a"_s), QStringList{u"a-01.mp4"_s});
            QVERIFY(!has(u"data/Trash"_s));
        }
        QCOMPARE(run({u"status"_s, u"out"_s}).status, 1);
    }

    void nobodyReadsTheEvents()
    {
        const QString starter = u"import os, subprocess, sys; end, pipe = os.pipe(); os.close(end); "
                                "sys.exit(subprocess.run(sys.argv[1:], stdout=pipe).returncode)"_s;
        QProcess process;
        start(process, u"python3"_s, {u"-c"_s, starter, m_program, u"cut"_s, u"a.mp4"_s, u"-o"_s, u"out"_s});
        QVERIFY(process.waitForFinished(20000));
        QCOMPARE(process.exitCode(), 2);
        QVERIFY(!has(u"out/.unfinished"_s));
    }

    void whatAKilledRunHasSetAsideComesBack_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("cut") << u"cut"_s;
        QTest::newRow("plan") << u"plan"_s;
    }

    void whatAKilledRunHasSetAsideComesBack()
    {
        QFETCH(const QString, command);
        QCOMPARE(run({u"cut"_s, u"a.mp4"_s, u"-o"_s, u"out"_s}).status, 0);
        QVERIFY(QFile::rename(path(u"out/a/a-01.mp4"_s), path(u"out/a/.a-01.mp4.kestrel-older"_s)));
        QVERIFY(QDir(path(u"."_s)).mkpath(u"out/.unfinished"_s));
        write(u"out/.unfinished/begun.mp4"_s, "half of it");
        const Outcome outcome = run({command, u"a.mp4"_s, u"-o"_s, u"out"_s});
        QCOMPARE(outcome.status, 0);
        QVERIFY(!outcome.output.contains("completed") && !outcome.output.contains("--output"));
        QCOMPARE(files(u"out/a"_s), QStringList({u"a-01.mp4"_s, u"a-02.mp4"_s}));
        QCOMPARE(files(u"out/.unfinished"_s), QStringList());
    }

    void aSignalLeavesNothingBegun_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("interrupt") << SIGINT;
        QTest::newRow("terminate") << SIGTERM;
        QTest::newRow("kill") << SIGKILL;
    }

    /// One lane writes a long clip, the other detects; a second run is refused meanwhile.
    void aSignalLeavesNothingBegun()
    {
        QFETCH(const int, signal);
        copyVideo(u"slow.mp4"_s);
        QCOMPARE(QProcess::execute(u"ffmpeg"_s,
                                   {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s,
                                    u"nullsrc=s=640x360:r=25:d=600"_s, u"-c:v"_s, u"mpeg4"_s, path(u"long.mp4"_s)}),
                 0);
        writeList(u"long.kestrel.json"_s, u"long.mp4"_s, "600");
        QProcess process;
        start(process, m_program, {u"cut"_s, u"-j2"_s, u"-o"_s, u"out"_s, u"long.kestrel.json"_s, u"slow.mp4"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!contents(u"detecting"_s).isEmpty(), 20000);
        QTRY_VERIFY_WITH_TIMEOUT(files(u"out/.unfinished"_s).size() == 1, 20000);
        const Outcome second = run({u"cut"_s, u"a.mp4"_s, u"-o"_s, u"out"_s});
        QCOMPARE(second.status, 2);
        QVERIFY2(second.error.contains(u"another kestrel-batch is using"_s), qPrintable(second.error));

        ::kill(static_cast<pid_t>(process.processId()), signal);
        QVERIFY(process.waitForFinished(20000));
        QCOMPARE(process.exitStatus(), QProcess::CrashExit);
        QCOMPARE(process.exitCode(), signal);
        QTRY_VERIFY(::kill(contents(u"detecting"_s).toInt(), 0) == -1);
        QCOMPARE(files(u"out/long"_s), QStringList());
        if (signal != SIGKILL)
            QVERIFY(!has(u"out/.unfinished"_s));
        QCOMPARE(run({u"cut"_s, u"a.mp4"_s, u"-o"_s, u"out"_s}).status, 0);
        QVERIFY(!has(u"out/.unfinished"_s));
    }

    /// What a plan prints is read by a shell, whatever the names hold; each job tells of itself and is not done twice.
    void planAndJobs()
    {
        const QString name = u"-it's \"two\"\nlines $HOME.mp4"_s;
        copyVideo(name);
        const QByteArray names = name.toUtf8() + '\0' + "a.mp4" + '\0';
        QCOMPARE(run({u"plan"_s, u"--files0-from"_s, u"-"_s, u"-o"_s, u"out"_s}, u"C"_s, names).status, 1);
        const Outcome plan = run({u"plan"_s, u"-0"_s, u"--files0-from=-"_s, u"-o"_s, u"out"_s}, u"C"_s, names);
        QCOMPARE(plan.status, 0);
        QByteArrayList jobs = plan.output.split('\0');
        QCOMPARE(jobs.takeLast(), QByteArray());
        QCOMPARE(jobs.size(), 4);
        QVERIFY(run({u"status"_s, u"out"_s}).output.endsWith("0 done, 0 doubtful, 0 failed, 4 missing\n"_ba));
        for (const QString& state : {u"completed"_s, u"present"_s}) {
            for (const QByteArray& job : jobs) {
                QProcess shell;
                start(shell, u"/bin/sh"_s, {u"-c"_s, QString::fromUtf8(job)});
                QVERIFY(shell.waitForFinished(20000));
                QCOMPARE((Outcome{0, shell.readAllStandardOutput(), {}}.states()), QStringList{state});
                QCOMPARE(shell.exitCode(), 0);
            }
        }
        QCOMPARE(run({u"status"_s, u"out"_s}).status, 0);
        QCOMPARE(run({u"plan"_s, u"-0"_s, u"--files0-from=-"_s, u"-o"_s, u"out"_s}, u"C"_s, names).output,
                 QByteArray());
        QCOMPARE(run({u"cut"_s, u"--files0-from=-"_s, u"-o"_s, u"out"_s}, u"C"_s, names).states(),
                 QStringList(4, u"present"_s));

        QVERIFY(QProcess::execute(u"touch"_s, {path(u"a.mp4"_s)}) == 0);
        QProcess shell;
        start(shell, u"/bin/sh"_s, {u"-c"_s, QString::fromUtf8(jobs.last())});
        QVERIFY(shell.waitForFinished(20000));
        QCOMPARE(shell.exitCode(), 1);
        QVERIFY(shell.readAllStandardError().contains("the video has changed since the plan was made"));
    }

    void examplesOfTheManual()
    {
        QFile manual(QStringLiteral(KESTREL_BATCH_MANUAL));
        QVERIFY(manual.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(manual.readAll()).section(u".SH EXAMPLES\n"_s, 1);
        const QStringList lines = text.section(u".SH"_s, 0, 0).split(u'\n').filter(u".B "_s);
        QCOMPARE(lines.size(), 5);
        for (QString line : lines) {
            if (!line.contains(u"status"_s))
                QDir(path(u"clips"_s)).removeRecursively();
            QProcess shell;
            start(shell, u"/bin/sh"_s, {u"-c"_s, line.sliced(3).replace(u"\\-"_s, u"-"_s).replace(u"\\(aq"_s, u"'"_s)});
            QVERIFY(shell.waitForFinished(60000));
            QVERIFY2(shell.exitCode() == 0, qPrintable(line + QString::fromUtf8(shell.readAllStandardError())));
            QCOMPARE(files(u"clips/a"_s).size(), 2);
        }
    }

    void listsBringTheirCropAndNames()
    {
        QCOMPARE(run({u"detect"_s, u"a.mp4"_s}).states(), QStringList{u"stored"_s});
        QCOMPARE(run({u"detect"_s, u"a.mp4"_s}).states(), QStringList{u"present"_s});
        QByteArray list = contents(u"a.kestrel.json"_s);
        list.replace("\"crop\": \"\"", "\"crop\": \"32:24:0:0\"").replace("\"prefix\": \"\"", "\"prefix\": \"p\"");
        write(u"a.kestrel.json"_s, list);
        QCOMPARE(run({u"cut"_s, u"a.kestrel.json"_s, u"-o"_s, u"out"_s}).status, 0);
        QCOMPARE(files(u"out/a"_s), QStringList({u"p-01.mp4"_s, u"p-02.mp4"_s}));
        const Outcome csv = run({u"export"_s, u"a.kestrel.json"_s, u"--format=csv"_s});
        QVERIFY2(csv.output.contains("p-02.mp4"), csv.output.constData());
        const Outcome edl = run({u"export"_s, u"a.kestrel.json"_s, u"--format=edl"_s}); // which counts pictures
        QVERIFY2(edl.output.contains("002  A        V     C        00:00:00:15 "), edl.output.constData());
        QCOMPARE(run({u"export"_s, u"a.kestrel.json"_s, u"--format=sh"_s, u"-o"_s, u"x"_s}).states(),
                 QStringList{u"stored"_s});
        QCOMPARE(run({u"export"_s, u"a.kestrel.json"_s, u"--format=sh"_s, u"-o"_s, u"x"_s}).status, 2);
        QCOMPARE(files(u"x"_s), QStringList{u"a.sh"_s});
        write(u"a.mp4"_s, "another video");
        const Outcome outcome = run({u"cut"_s, u"a.kestrel.json"_s, u"-o"_s, u"out"_s});
        QCOMPARE(outcome.status, 2);
        QVERIFY2(outcome.error.contains(u"the list was stored for a video of"_s), qPrintable(outcome.error));
    }

    /// Of this video and of others, under whatever name.
    void noSourceIsOverwritten()
    {
        QVERIFY(QDir(path(u"."_s)).mkpath(u"out/b"_s));
        copyVideo(u"b.mp4"_s);
        copyVideo(u"out/b/b-02.mp4"_s);
        QVERIFY(QFile::link(path(u"out/b/b-02.mp4"_s), path(u"c.mp4"_s)));
        const QByteArray video = contents(u"out/b/b-02.mp4"_s);
        const Outcome outcome = run({u"cut"_s, u"b.mp4"_s, u"c.mp4"_s, u"-o"_s, u"out"_s});
        QCOMPARE(outcome.status, 1);
        QCOMPARE(outcome.states(), QStringList({u"completed"_s, u"completed"_s, u"completed"_s, u"failed"_s}));
        QCOMPARE(contents(u"out/b/b-02.mp4"_s), video);
        QVERIFY(outcome.error.contains(u"would overwrite a source video"_s));
    }

    void aStrangersDocumentStays()
    {
        QVERIFY(QDir(path(u"."_s)).mkpath(u"out"_s));
        write(u"out/kestrel-batch.json"_s, "{}\n");
        QCOMPARE(run({u"cut"_s, u"a.mp4"_s, u"-o"_s, u"out"_s}).status, 2);
        QCOMPARE(contents(u"out/kestrel-batch.json"_s), "{}\n"_ba);
        write(u"file"_s, "");
        const Outcome outcome = run({u"cut"_s, u"a.mp4"_s, u"-o"_s, u"file"_s}, u"zh_CN.UTF-8"_s);
        QCOMPARE(outcome.status, 2);
        QVERIFY2(outcome.error.contains(u"路径中有同名文件"_s), qPrintable(outcome.error));
    }
};

QTEST_GUILESS_MAIN(BatchTest)
#include "tst_Batch.moc"
