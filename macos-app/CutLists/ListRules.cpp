#include "CutLists/ListRules.h"

#include "Models/TimeText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// Files state their length to the hundredth of a second, and sound may be longer than the pictures.
constexpr double endSlack = 0.5;
constexpr double latestTime = 1e9;
/// Times that were rounded to milliseconds may overlap by one.
constexpr double overlapSlack = 0.0015;

} // namespace

std::optional<QString> faultOfClips(const QList<EditableSegment>& segments, double duration)
{
    const double latest = duration > 0 ? duration + endSlack : latestTime;
    QList<qsizetype> rows;
    for (qsizetype row = 0; row < segments.size(); ++row) {
        const EditableSegment& segment = segments[row];
        if (!segment.isEnabled || !(segment.duration() > 0))
            continue;
        if (segment.start < 0 || segment.end > latest)
            return u"第 %1 个片段（%2 至 %3）超出了视频的时长 %4。"_s.arg(
                QString::number(row + 1), formatShownTime(segment.start), formatShownTime(segment.end),
                formatShownTime(duration > 0 ? duration : latestTime));
        rows.append(row);
    }
    std::sort(rows.begin(), rows.end(),
              [&](qsizetype left, qsizetype right) { return segments[left].start < segments[right].start; });
    for (qsizetype i = 1; i < rows.size(); ++i) {
        const EditableSegment& before = segments[rows[i - 1]];
        const EditableSegment& after = segments[rows[i]];
        if (before.end > after.start + overlapSlack) {
            const auto [first, second] = std::minmax(rows[i - 1], rows[i]);
            return u"第 %1 个和第 %2 个片段在 %3 处重叠。"_s.arg(
                QString::number(first + 1), QString::number(second + 1), formatShownTime(after.start));
        }
    }
    return std::nullopt;
}
