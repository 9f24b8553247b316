#include "Services/ChildProcess.h"

#include <QtTest>

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString stubbornChild = u"sh -c 'trap \"\" TERM; echo; sleep 1000; sleep 1000' & wait"_s;

ChildCommand shell(const QString& script)
{
    ChildCommand command;
    command.program = u"/bin/sh"_s;
    command.arguments = {u"-c"_s, script};
    command.sharesInput = true;
    return command;
}

/// A pipe whose writing end only the children hold that are started while this lives.
class Lifeline final
{
public:
    Lifeline() { m_isOpen = ::pipe(m_ends.data()) == 0 && ::fcntl(m_ends[0], F_SETFL, O_NONBLOCK) == 0; }
    ~Lifeline() { ::close(m_ends[0]); }
    Q_DISABLE_COPY_MOVE(Lifeline)

    void letGo() { ::close(m_ends[1]); }
    /// Whether all who held it are dead.
    [[nodiscard]] bool isCut() const
    {
        char byte = 0;
        return m_isOpen && ::read(m_ends[0], &byte, 1) == 0;
    }

private:
    std::array<int, 2> m_ends = {};
    bool m_isOpen = false;
};

void print(const QByteArray& text)
{
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
    std::fflush(stdout);
}

/// This program once more: runs the script, prints what it prints and whether all of it is gone in the end. When it
/// leaves early, then as soon as the script has printed something.
int runScript(const QString& script, bool leavesEarly)
{
    Lifeline lifeline;
    ChildProcess child(shell(script));
    bool isReady = false;
    child.onOutput = [&isReady](const QByteArray& output) {
        print(output);
        isReady = true;
    };
    child.onEnd = child.onProgramExit = [&lifeline] { print(lifeline.isCut() ? "gone" : "left"); };
    child.start();
    lifeline.letGo();
    while (!child.waitForEnd(10)) {
        if (leavesEarly && isReady)
            std::exit(7);
    }
    return 0;
}

} // namespace

class ChildProcessTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endsWithAllThatItStarted()
    {
        for (const auto& [script, isStopped] : {std::pair(u"sleep 1000 & echo"_s, false), // a child left behind
                                                {u"sleep 1000 & echo; wait"_s, true},
                                                {u"trap '' TERM; echo; sleep 1000; sleep 1000"_s, true},
                                                {stubbornChild, true}}) {
            Lifeline lifeline;
            ChildProcess child(shell(script));
            QList<bool> ends;
            child.onOutput = [&child, isStopped = isStopped](const QByteArray&) {
                if (isStopped)
                    child.stop();
            };
            child.onEnd = [&] { ends.append(lifeline.isCut()); };
            child.start();
            lifeline.letGo();
            QTRY_COMPARE_WITH_TIMEOUT(ends, QList<bool>{true}, 20000);
            QCOMPARE(child.succeeded(), !isStopped);
        }
    }

    void releasedWhileItRuns()
    {
        Lifeline lifeline;
        {
            ChildProcess child(shell(stubbornChild));
            child.onEnd = [] { QFAIL("told to an owner that is gone"); };
            child.start();
            lifeline.letGo();
        }
        QVERIFY(lifeline.isCut());
    }

    /// A terminal keeps groups other than its foreground one from reading.
    void readsFromTheTerminalAndYetLeavesNothingBehind()
    {
        const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
        QVERIFY(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
        const QByteArray name = ::ptsname(terminal);
        QProcess program;
        program.setProgram(QCoreApplication::applicationFilePath());
        program.setArguments({u"--run"_s, u"read word; sleep 1000 & echo $word"_s});
        program.setChildProcessModifier([&name] {
            ::setsid();
            const int input = ::open(name.constData(), O_RDWR);
            ::ioctl(input, TIOCSCTTY, 0);
            ::dup2(input, STDIN_FILENO);
        });
        program.start(QIODevice::ReadOnly);
        QVERIFY(program.waitForStarted());
        QCOMPARE(::write(terminal, "wort\n", 5), 5);
        QVERIFY(program.waitForFinished());
        QCOMPARE(program.readAllStandardOutput(), "wort\ngone");
        ::close(terminal);
    }

    void aProgramThatLeavesByExitTakesItsChildrenAlong()
    {
        QProcess program;
        program.start(QCoreApplication::applicationFilePath(), {u"--leave"_s, u"sleep 1000 & echo early; wait"_s});
        QVERIFY(program.waitForFinished());
        QCOMPARE(program.exitCode(), 7);
        QCOMPARE(program.readAllStandardOutput(), "early\ngone");
    }

    void aProgramThatIsKilledTakesItsChildAlong()
    {
#ifndef Q_OS_LINUX
        QSKIP("only Linux does so");
#endif
        Lifeline lifeline;
        QProcess program;
        program.start(QCoreApplication::applicationFilePath(), {u"--run"_s, u"echo; exec sleep 1000"_s});
        QVERIFY(program.waitForReadyRead());
        lifeline.letGo();
        QVERIFY(!lifeline.isCut());
        program.kill();
        QVERIFY(program.waitForFinished());
        QTRY_VERIFY(lifeline.isCut());
    }
};

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3)
        return runScript(arguments[2], arguments[1] == u"--leave");
    ChildProcessTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_ChildProcess.moc"
