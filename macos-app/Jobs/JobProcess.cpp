#include "Jobs/JobProcess.h"

#include "Services/ProcessLaunching.h"

#include <QFileInfo>
#include <QTimer>

#include <csignal>

JobProcess::JobProcess(const FFmpegJob& job, const RuntimeConfiguration& runtime)
    : m_outputURL(job.outputURL)
    , m_outputBefore(FileIdentity::of(job.outputURL))
{
    setProgram(runtime.ffmpegURL.path());
    setArguments(job.executionArguments());
    setProcessEnvironment(runtime.subprocessEnvironment());
    setWorkingDirectory(job.outputURL.deletingLastPathComponent().path());
    setStandardInputFile(nullDevice());
    setProcessChannelMode(MergedChannels);
    useOwnProcessGroup(*this);
    connect(this, &QProcess::finished, this, [this] {
        if (m_stopped && !succeeded())
            removeUnfinishedOutput();
    });
}

JobProcess::~JobProcess()
{
    if (state() == NotRunning)
        return;
    m_stopped = true;
    signalProcessGroup(*this, SIGKILL);
    waitForFinished(-1); // here, because QProcess would send finished() when our members are gone
}

std::unique_ptr<JobProcess> JobProcess::launch(const FFmpegJob& job, const RuntimeConfiguration& runtime)
{
    throwIfLaunchMustFail(runtime.ffmpegURL.path(), job.outputURL.deletingLastPathComponent().path());
    auto process = std::unique_ptr<JobProcess>(new JobProcess(job, runtime));
    startOrThrow(*process);
    return process;
}

void JobProcess::stop()
{
    if (m_stopped)
        return;
    m_stopped = true;
    signalProcessGroup(*this, SIGTERM);
    QTimer::singleShot(terminationGraceMilliseconds, this, [this] { signalProcessGroup(*this, SIGKILL); });
}

void JobProcess::removeUnfinishedOutput() const
{
    const auto outputNow = FileIdentity::of(m_outputURL);
    const QFileInfo file(m_outputURL.path());
    if (outputNow && outputNow != m_outputBefore && file.isFile())
        QFile::remove(file.canonicalFilePath()); // of a link, the file that was written
}
