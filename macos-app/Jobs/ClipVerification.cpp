#include "Jobs/ClipVerification.h"

#include "Models/TimeText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr double tolerance = 0.05;
/// Where the frame rate is not known: the length of a frame that is rarely exceeded.
constexpr double usualLongestFrame = 0.1;

/// In a source whose pictures cannot be reached exactly, sound goes on where pictures are missing, so these alone
/// count. Broadcasts, which are kept in such containers, do not vary their rate.
bool picturesTellLength(const FFmpegReport& report)
{
    return report.startsAtKeyFrames && report.frames && report.frameRate;
}

/// Frames of varying length tell nothing by their number, and the last ones' times stay with the encoder: then only
/// sound shows how far the clip goes. Some sources do not own up that theirs vary.
bool lengthIsCertain(const FFmpegReport& report)
{
    if (!report.frames || report.hasSound || picturesTellLength(report))
        return true;
    return report.frameRate &&
           report.outTime.value_or(0) * *report.frameRate <= static_cast<double>(*report.frames) + 1;
}

/// How long the clip must be: as asked for, but not beyond the source's end.
std::optional<double> expectedLength(const FFmpegJob& job, const FFmpegReport& report)
{
    if (!report.sourceDuration || !lengthIsCertain(report))
        return std::nullopt;
    return std::min(job.duration, *report.sourceDuration - job.start);
}

} // namespace

std::optional<ClipDoubt> doubtAboutClip(const FFmpegJob& job, const FFmpegReport& report,
                                        std::optional<qint64> fileSize, ClipContent content)
{
    if (!fileSize)
        return ClipDoubt{u"输出文件不存在或无法读取"_s, true};
    if (*fileSize == 0)
        return ClipDoubt{u"输出文件是空的"_s, true};
    const bool isEmpty = report.frames ? *report.frames == 0 : report.length().value_or(0) <= 0;
    if (isEmpty)
        return ClipDoubt{u"没有写出任何画面"_s, true};
    if (content == ClipContent::broken)
        return ClipDoubt{u"片段无法播放"_s, true};
    const double written = picturesTellLength(report) ? static_cast<double>(*report.frames) / *report.frameRate
                                                      : report.length().value_or(0);
    const double frame = report.frameRate ? 1 / *report.frameRate : usualLongestFrame;
    if (const auto expected = expectedLength(job, report); expected && written < *expected - frame - tolerance)
        return ClipDoubt{u"只写出 %1，应为 %2"_s.arg(formatShortSeconds(written), formatShortSeconds(*expected))};
    if (!report.fault.isEmpty())
        return ClipDoubt{u"ffmpeg 报告了错误："_s + report.fault};
    return std::nullopt;
}
