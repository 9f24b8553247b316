#include "Jobs/SplitJob.h"

#include "Jobs/ClipContent.h"
#include "Jobs/ClipVerification.h"
#include "Jobs/OutputFormats.h"
#include "Services/ProcessLaunching.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

namespace {

QString outputFolder(const FFmpegJob& job)
{
    return job.outputURL.deletingLastPathComponent().path();
}

ChildCommand commandOf(const FFmpegJob& job, const RuntimeConfiguration& runtime)
{
    return {.program = runtime.ffmpegURL.path(),
            .arguments = job.executionArguments(),
            .workingDirectory = outputFolder(job),
            .environment = runtime.subprocessEnvironment(),
            .mergesOutputs = true};
}

QString remarkOf(QStringList pieces)
{
    pieces.removeAll(QString());
    return pieces.join(u'；');
}

} // namespace

SplitJob::SplitJob(const FFmpegJob& job, const RuntimeConfiguration& runtime,
                   const std::shared_ptr<WrittenClips>& writtenClips)
    : m_job(job)
    , m_place(job, writtenClips)
    , m_process(commandOf(job, runtime))
{
    m_process.onOutput = [this](const QByteArray& chunk) {
        m_outputReader.append(chunk);
        if (onOutput)
            onOutput(chunk);
    };
    m_process.onEnd = [this] { finish(); };
    m_process.onProgramExit = [this] { m_process.succeeded() ? m_place.keep(false) : m_place.discard(); };
    m_process.start();
}

SplitJob::Owner SplitJob::launch(const FFmpegJob& job, const RuntimeConfiguration& runtime,
                                 const std::shared_ptr<WrittenClips>& writtenClips)
{
    throwIfLaunchMustFail(runtime.ffmpegURL.path(), outputFolder(job));
    return Owner(new SplitJob(job, runtime, writtenClips));
}

void SplitJob::Release::operator()(SplitJob* job) const
{
    job->onOutput = {};
    if (job->m_ended) {
        job->deleteLater();
        return;
    }
    job->setParent(QCoreApplication::instance()); // whose end would kill ffmpeg
    job->onEnd = [job](const JobEnd&) { job->deleteLater(); };
}

void SplitJob::stop()
{
    m_stopped = true;
    m_process.stop();
}

void SplitJob::finish()
{
    m_outputReader.finish();
    m_ended = true;
    JobEnd end = judgedEnd();
    end.processorTime = m_process.processorTime();
    if (const auto notify = onEnd)
        notify(end); // may release us
}

JobEnd SplitJob::judgedEnd()
{
    if (m_process.succeeded())
        return judgedClip();
    const FFmpegReport& said = report();
    if (m_stopped)
        return {JobOutcome::stopped, said, m_place.discard()}; // what ffmpeg says of the signal is no news
    const bool canBePlayed = m_place.holdsClip() && contentOfClip(m_place.clip()) == ClipContent::playable;
    const QString aftermath = canBePlayed ? m_place.keepUnfinished() : m_place.discard();
    const bool sourceWasOpened = said.sourceDuration.has_value();
    const auto format =
        sourceWasOpened && !said.length() ? doubtAboutExtension(m_job.outputURL.pathExtension()) : std::nullopt;
    const QString reason = said.reason().isEmpty() ? u"ffmpeg 意外结束，没有说明原因"_s : said.reason();
    const QString whole = remarkOf({format.value_or(QString()), reason});
    return {JobOutcome::failed, said, remarkOf({whole, aftermath}), whole};
}

JobEnd SplitJob::judgedClip()
{
    const FFmpegReport& said = report();
    const auto size = m_place.holdsClip() ? std::optional(m_place.clip().size()) : std::nullopt;
    const auto content = size ? contentOfClip(m_place.clip()) : ClipContent::unknown;
    const auto doubt = doubtAboutClip(m_job, said, size, content);
    const bool isWorthless = doubt && doubt->isWorthless && (size.value_or(0) == 0 || m_place.hasOlderFile());
    const QString aftermath = isWorthless ? m_place.discard() : m_place.keep(!doubt);
    if (doubt)
        return {JobOutcome::doubtful, said, remarkOf({doubt->text, aftermath}), doubt->text};
    return {JobOutcome::completed, said, remarkOf({aftermath, said.lastError}), said.lastError};
}
