#include "FakeFFmpeg.h"
#include "Services/ProcessLaunching.h"
#include "SplitCoordinator/WorkerRunner.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QTest>

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

/// A runner under watch: its log, and every completion that it reports.
struct Lane
{
    explicit Lane(const RuntimeConfiguration& runtime)
        : runner(std::make_unique<WorkerRunner>(1, 1, runtime))
    {
        runner->onCompletion = [this](bool success) { completions << success; };
    }

    [[nodiscard]] QString status() const
    {
        return runner->windowController().window()->findChild<QLabel*>(u"statusLabel"_s)->text();
    }
    [[nodiscard]] QString log() const
    {
        return runner->windowController().window()->findChild<QPlainTextEdit*>(u"textView"_s)->toPlainText();
    }

    std::unique_ptr<WorkerRunner> runner;
    QList<bool> completions;
};

} // namespace

class WorkerRunnerTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void logsAndJudgesOneJob()
    {
        using Rows = QList<std::tuple<QByteArray, QString, bool>>;
        for (const auto& [script, output, success] :
             Rows{{"echo 1; echo 2 >&2; echo 3; echo 4 >&2", u"1\n2\n3\n4\n"_s, true},
                  {"echo Error >&2; exit 0", u"Error\n"_s, true},
                  {"exit 3", {}, false},
                  {"echo a; kill -KILL $$", u"a\n"_s, false},
                  {"printf 'frame=1\\rframe=2\\r\\n'", u"frame=1\nframe=2\n"_s, true},
                  {"printf '<b>&amp;</b>\\n\\n\\nb\\n'", u"<b>&amp;</b>\n\n\nb\n"_s, true},
                  // An invalid read is lost, the next one is not; a character cut between two reads is lost with both.
                  {"printf 'a\\377b'; read line < gate1; printf c", u"c"_s, true},
                  {"printf 'a\\344\\270'; read line < gate1; printf '\\255b'; read line < gate2; printf c", u"c"_s,
                   true}}) {
            const FakeFFmpeg tool(script);
            for (const auto& gate : {u"gate1"_s, u"gate2"_s})
                tool.makeGate(gate);
            Lane lane(tool.runtime());
            const FFmpegJob job = tool.job(u"out.mp4"_s);
            lane.runner->run(job, 1, 1);
            QCOMPARE(lane.status(), u"等待任务"_s); // the event loop has not run yet
            for (int gate = 1; gate <= script.count("gate"); ++gate)
                tool.openGate(u"gate%1"_s.arg(gate));
            QTRY_COMPARE_WITH_TIMEOUT(lane.completions, QList<bool>{success}, patience);
            const QString command = u">>> "_s + job.commandPreview() + u'\n';
            const QString log = command + output + (success ? u"\n>>> 完成\n"_s : u"\n>>> 失败\n"_s);
            QTRY_COMPARE_WITH_TIMEOUT(lane.log(), log, patience); // a flood is shown little by little
            QCOMPARE(lane.status(), success ? u"完成"_s : u"失败"_s);
        }
    }

    void givesTheChildItsSurroundings()
    {
        const FakeFFmpeg tool("pwd -P; cat; echo \"$PATH\"; printf '%s|' \"$@\"");
        Lane lane(tool.runtime());
        const FFmpegJob job = tool.job(u" $HOME 'a\" 中\n.mp4"_s);
        lane.runner->run(job, 1, 1);
        QTRY_COMPARE_WITH_TIMEOUT(lane.completions, QList<bool>{true}, patience);
        const QString expected = QFileInfo(tool.file({}).path()).canonicalFilePath() + u'\n' +
                                 tool.runtime().subprocessEnvironment().value(u"PATH"_s) + u'\n' +
                                 job.executionArguments().join(u'|') + u"|\n>>> 完成\n"_s;
        QVERIFY2(lane.log().endsWith(expected), qUtf8Printable(lane.log()));
    }

    void failedLaunchLeavesNoTrace()
    {
        for (const auto& [program, output, systemError] :
             {std::tuple("", u"out"_s, EACCES),
              {"#!/bin/sh", u"missing/out"_s, ENOENT},
              {"#!/bin/sh", u"ffmpeg/out"_s, ENOTDIR},
              {"#!/missing/shell\n", u"out"_s, ENOENT}, // seen by exec alone
              {"text", u"out"_s, ENOEXEC}}) {
            const FakeFFmpeg tool("");
            tool.write(u"ffmpeg"_s, program);
            if (systemError == EACCES)
                QFile::setPermissions(tool.file(u"ffmpeg"_s).path(), QFile::ReadOwner);
            Lane lane(tool.runtime());
            try {
                lane.runner->run(tool.job(output), 1, 1);
                QFAIL("the launch did not fail");
            } catch (const ProcessLaunchError& error) {
                QVERIFY2(error.message().endsWith(u": "_s + qt_error_string(systemError)), error.what());
            }
            QCoreApplication::processEvents();
            QCOMPARE(lane.status(), u"等待任务"_s);
            QCOMPARE(lane.log(), QString());
            QVERIFY(lane.completions.isEmpty());
            lane.runner->stop();
        }
    }

    void jobOutlivesItsRunner()
    {
        const FakeFFmpeg tool("echo ready; read line < gate; yes | head -c 300000; echo whole > \"$output\"");
        tool.makeGate(u"gate"_s);
        Lane lane(tool.runtime());
        lane.runner->run(tool.job(u"out.mp4"_s), 1, 1);
        QTRY_VERIFY_WITH_TIMEOUT(lane.log().contains(u"ready"_s), patience);
        lane.runner.reset();
        tool.openGate(u"gate"_s);
        QTRY_VERIFY_WITH_TIMEOUT(tool.exists(u"out.mp4"_s), patience); // nobody shows the output, but somebody reads it
        QTRY_VERIFY_WITH_TIMEOUT(!givenUpJobsRun(), patience);
        QVERIFY(lane.completions.isEmpty());
    }
};

QTEST_MAIN(WorkerRunnerTest)
#include "tst_WorkerRunner.moc"
