#include "Models/ClipVerification.h"

#include "Models/TimeText.h"

using namespace Qt::StringLiterals;

namespace {

constexpr double tolerance = 0.05;
/// Where the frame rate is not known: the length of a frame that is rarely exceeded.
constexpr double usualLongestFrame = 0.1;

bool isShort(const FFmpegJob& job, const FFmpegReport& report)
{
    const bool sourceGoesOn = report.sourceDuration && job.start + job.duration <= *report.sourceDuration;
    const double frame = report.frameRate ? 1 / *report.frameRate : usualLongestFrame;
    return sourceGoesOn && report.length().value_or(0) < job.duration - frame - tolerance;
}

} // namespace

std::optional<QString> doubtAboutClip(const FFmpegJob& job, const FFmpegReport& report, std::optional<qint64> fileSize)
{
    if (!fileSize)
        return u"输出文件不存在或无法读取"_s;
    if (*fileSize == 0)
        return u"输出文件是空的"_s;
    const bool isEmpty = report.frames ? *report.frames == 0 : report.length().value_or(0) <= 0;
    if (isEmpty)
        return u"没有写出任何画面"_s;
    if (isShort(job, report))
        return u"只写出 %1，应为 %2"_s.arg(formatShortSeconds(*report.length()), formatShortSeconds(job.duration));
    if (!report.fault.isEmpty())
        return u"ffmpeg 报告了错误："_s + report.fault;
    return std::nullopt;
}
