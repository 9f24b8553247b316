#include "Jobs/SplitJob.h"

#include "Jobs/ClipVerification.h"

#include <QCoreApplication>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

std::optional<qint64> readableSize(const FileURL& url)
{
    const QFileInfo file(url.path());
    return file.isFile() && file.isReadable() ? std::optional(file.size()) : std::nullopt;
}

} // namespace

SplitJob::SplitJob(const FFmpegJob& job, const RuntimeConfiguration& runtime)
    : m_job(job)
    , m_process(JobProcess::launch(job, runtime))
{
    m_process->setParent(this);
    connect(m_process.get(), &QProcess::readyRead, this, &SplitJob::readOutput);
    connect(m_process.get(), &QProcess::finished, this, &SplitJob::finish);
}

SplitJob::Owner SplitJob::launch(const FFmpegJob& job, const RuntimeConfiguration& runtime)
{
    return Owner(new SplitJob(job, runtime));
}

void SplitJob::Release::operator()(SplitJob* job) const
{
    job->onOutput = {};
    if (!job->m_process) {
        job->deleteLater();
        return;
    }
    job->setParent(QCoreApplication::instance()); // whose end would kill ffmpeg
    job->onEnd = [job](const JobEnd&) { job->deleteLater(); };
}

void SplitJob::stop()
{
    m_stopped = true;
    if (m_process)
        m_process->stop();
}

void SplitJob::readOutput()
{
    const QByteArray chunk = m_process->readAll();
    m_outputReader.append(chunk);
    if (onOutput)
        onOutput(chunk);
}

void SplitJob::finish()
{
    readOutput();
    m_outputReader.finish();
    const JobEnd end = judgedEnd();
    m_process.release()->deleteLater(); // we run inside its finished() signal
    if (const auto notify = onEnd)
        notify(end); // may release us
}

JobEnd SplitJob::judgedEnd() const
{
    const FFmpegReport& said = report();
    if (m_process->succeeded()) {
        const auto doubt = doubtAboutClip(m_job, said, readableSize(m_job.outputURL));
        return {doubt ? JobOutcome::doubtful : JobOutcome::completed, said, doubt.value_or(said.lastError)};
    }
    const QString reason = said.reason();
    if (m_stopped)
        return {JobOutcome::stopped, said, reason};
    return {JobOutcome::failed, said, reason.isEmpty() ? u"ffmpeg 意外结束，没有说明原因"_s : reason};
}
