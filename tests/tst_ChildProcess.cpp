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

/// This program once more: runs the script to its end, prints what it prints and whether all of it is gone.
int runScript(const QString& script)
{
    Lifeline lifeline;
    ChildProcess child(shell(script));
    child.onOutput = print;
    child.start();
    lifeline.letGo();
    while (!child.waitForEnd(1000)) {
    }
    print(lifeline.isCut() ? "gone" : "left");
    return 0;
}

/// The same, but the program leaves as soon as the script has printed something.
int leaveByExit(const QString& script)
{
    Lifeline lifeline;
    ChildProcess child(shell(script));
    bool isReady = false;
    child.onOutput = [&isReady](const QByteArray&) { isReady = true; };
    child.onProgramExit = [&lifeline] { print(lifeline.isCut() ? "gone" : "left"); };
    child.start();
    lifeline.letGo();
    while (!isReady)
        child.waitForEnd(10);
    std::exit(7);
}

} // namespace

class ChildProcessTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endsWithAllThatItStarted_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<bool>("isStopped");
        QTest::newRow("ended, a child left behind") << u"sleep 1000 & echo"_s << false;
        QTest::newRow("stopped") << u"sleep 1000 & echo; wait"_s << true;
        QTest::newRow("stopped, ignoring SIGTERM") << u"trap '' TERM; echo; sleep 1000; sleep 1000"_s << true;
        QTest::newRow("stopped, a child ignoring SIGTERM") << stubbornChild << true;
    }
    void endsWithAllThatItStarted()
    {
        QFETCH(QString, script);
        QFETCH(bool, isStopped);
        Lifeline lifeline;
        ChildProcess child(shell(script));
        QList<bool> ends;
        child.onOutput = [&](const QByteArray&) {
            if (isStopped)
                child.stop();
        };
        child.onEnd = [&] { ends.append(lifeline.isCut()); };
        child.start();
        lifeline.letGo();
        QTRY_COMPARE_WITH_TIMEOUT(ends, QList<bool>{true}, 20000);
        QCOMPARE(child.succeeded(), !isStopped);
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
        program.start(QCoreApplication::applicationFilePath(), {u"--leave"_s, u"sleep 1000 & echo; wait"_s});
        QVERIFY(program.waitForFinished());
        QCOMPARE(program.exitCode(), 7);
        QCOMPARE(program.readAllStandardOutput(), "gone");
    }
};

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == u"--run")
        return runScript(arguments.value(2));
    if (arguments.value(1) == u"--leave")
        return leaveByExit(arguments.value(2));
    ChildProcessTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_ChildProcess.moc"
