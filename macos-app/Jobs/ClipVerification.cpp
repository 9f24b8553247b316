#include "Jobs/ClipVerification.h"

#include "Models/NumberText.h"
#include "Models/TimeText.h"

#include <algorithm>
#include <cmath>

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

/// How many pictures of a constant rate lie in so long a piece at least, wherever it begins. Not known at the source's
/// end, where the pictures may be over before the sound is.
std::optional<qint64> leastPictures(const FFmpegJob& job, const FFmpegReport& report)
{
    constexpr double longestTail = 0.5;
    if (!report.frames || !report.frameRate || !report.sourceDuration ||
        job.start + job.duration > *report.sourceDuration - longestTail)
        return std::nullopt;
    const double length = parseDecimal(formatSecondsArgument(job.duration)).value_or(0);
    const double milliseconds = 1000 / *report.frameRate;
    const bool standsOnMilliseconds = milliseconds == std::round(milliseconds);
    const double rounding = standsOnMilliseconds ? -1e-6 : *report.frameRate / 1000; // of times in containers
    return static_cast<qint64>(std::clamp(std::floor(length * *report.frameRate - rounding), 0.0, 1e15));
}

/// What is wrong with the number of pictures. A seek loses one or two at the clip's edges, and those before the
/// source's zero; where more are missing, the rate varies although the source does not own up to it.
std::optional<ClipDoubt> doubtAboutPictures(const FFmpegJob& job, const FFmpegReport& report)
{
    constexpr double usuallyLost = 2;
    const auto expected = leastPictures(job, report);
    const qint64 written = report.frames.value_or(0) - report.repeatedFrames.value_or(0);
    if (!expected || written >= *expected)
        return std::nullopt;
    const double mostLost = usuallyLost + std::max(0.0, -report.sourceStart.value_or(0)) * *report.frameRate;
    if (!report.startsAtKeyFrames && static_cast<double>(*expected - written) > mostLost)
        return std::nullopt;
    return ClipDoubt{u"只写出 %1 个画面，应为 %2 个"_s.arg(written).arg(*expected)};
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
    if (auto doubt = doubtAboutPictures(job, report))
        return doubt;
    if (!report.fault.isEmpty())
        return ClipDoubt{u"ffmpeg 报告了错误："_s + report.fault};
    return std::nullopt;
}
