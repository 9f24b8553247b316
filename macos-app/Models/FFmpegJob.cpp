#include "Models/FFmpegJob.h"

#include "Models/ShellQuoting.h"
#include "Models/TimeText.h"

using namespace Qt::StringLiterals;

namespace {

std::optional<QString> videoFilterExpression(const FFmpegJob& job)
{
    return job.crop ? std::optional(job.crop->filterExpression()) : std::nullopt;
}

/// -ss stands before -i, so that ffmpeg seeks in the input instead of decoding up to the start.
QStringList baseArguments(const FFmpegJob& job, bool includeExecutionFlags)
{
    QStringList words = {u"-y"_s, u"-hide_banner"_s};
    if (includeExecutionFlags)
        words << u"-nostdin"_s << u"-stats_period"_s << u"0.5"_s << u"-progress"_s << u"pipe:2"_s;
    words << u"-ss"_s << formatSecondsArgument(job.start);
    words << u"-i"_s << job.inputURL.path();
    words << u"-t"_s << formatSecondsArgument(job.duration);
    words << u"-strict"_s << u"-2"_s;
    if (const auto filter = videoFilterExpression(job))
        words << u"-vf"_s << *filter;
    words << job.outputURL.path();
    return words;
}

QString commandLine(const FFmpegJob& job, QString (*quoted)(const QString&))
{
    QStringList words = {u"ffmpeg"_s};
    for (const QString& word : job.arguments())
        words << quoted(word);
    return words.join(u' ');
}

} // namespace

QStringList FFmpegJob::arguments() const
{
    return baseArguments(*this, false);
}

QStringList FFmpegJob::executionArguments() const
{
    return baseArguments(*this, true);
}

QString FFmpegJob::commandPreview() const
{
    return commandLine(*this, shellQuoted);
}

QString FFmpegJob::shellCommand() const
{
    return commandLine(*this, shellWord);
}
