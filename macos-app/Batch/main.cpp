#include "Batch/Commands.h"
#include "Batch/Help.h"
#include "Batch/UsersLanguage.h"
#include "Batch/Waiting.h"
#include "Services/ProcessSurroundings.h"

#include <QCoreApplication>

#include <clocale>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

void printError(const QString& message)
{
    const QByteArray text = "kestrel-batch: " + inUsersLanguage(message).toUtf8() + '\n';
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stderr);
}

int printHelp()
{
    const QByteArray text = helpText().toUtf8();
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
    return std::fflush(stdout) == 0 ? ExitStatus::allRight : ExitStatus::nothingDone;
}

int run(const CommandLine& line)
{
    if (line.help)
        return printHelp();
    if (line.command == u"detect")
        return detectCommand(line);
    if (line.command == u"cut")
        return cutCommand(line);
    if (line.command == u"plan")
        return planCommand(line);
    if (line.command == u"job")
        return jobCommand(line);
    if (line.command == u"status")
        return statusCommand(line);
    return exportCommand(line);
}

/// The exit status.
int runOrTell(const QByteArrayList& words)
{
    try {
        return run(readCommandLine(words));
    } catch (const UsageError& error) {
        printError(error.message());
        printError(u"用 kestrel-batch --help 查看用法。"_s);
    } catch (const std::exception& error) {
        printError(errorDescription(error));
    }
    return ExitStatus::nothingDone;
}

} // namespace

int main(int argc, char* argv[])
{
    repairProcessSurroundings();
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {}); // a library's warnings
    int programOnly = 1;                                                                 // every other word is ours
    const QCoreApplication application(programOnly, argv);
    std::setlocale(LC_NUMERIC, "C"); // the application object has taken over the user's decimal point
    const int status = runOrTell(QByteArrayList(argv + std::min(argc, 1), argv + argc));
    raiseSignal();
    return status;
}
