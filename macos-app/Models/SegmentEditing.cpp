#include "Models/SegmentEditing.h"

#include "Models/TimeText.h"

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr double touchingSeconds = 0.0005;
constexpr double manualSegmentSeconds = 1.0;
constexpr double shortestSegmentSeconds = 0.001;

qint64 indexAfter(const QList<EditableSegment>& segments)
{
    if (segments.isEmpty())
        return 0;
    const auto largest = std::max_element(segments.begin(), segments.end(),
                                          [](const auto& left, const auto& right) { return left.index < right.index; });
    return largest->index == std::numeric_limits<qint64>::max() ? largest->index : largest->index + 1;
}

QList<qint64> touchingIndices(const TransitionEvent& event, const QList<KeepSegment>& keepSegments)
{
    QList<qint64> indices;
    for (const KeepSegment& segment : keepSegments) {
        const bool endsThere = std::abs(segment.end - event.start) <= touchingSeconds;
        const bool startsThere = std::abs(segment.start - event.end) <= touchingSeconds;
        if (endsThere || startsThere)
            indices.append(segment.index);
    }
    return indices;
}

QList<qint64> nearestIndices(const TransitionEvent& event, const QList<KeepSegment>& keepSegments)
{
    const KeepSegment* previous = nullptr;
    const KeepSegment* next = nullptr;
    for (const KeepSegment& segment : keepSegments) {
        if (segment.end <= event.start && (!previous || event.start - segment.end < event.start - previous->end))
            previous = &segment;
        if (segment.start >= event.end && (!next || segment.start - event.end < next->start - event.end))
            next = &segment;
    }
    QList<qint64> indices;
    if (previous)
        indices.append(previous->index);
    if (next && !indices.contains(next->index))
        indices.append(next->index);
    return indices;
}

} // namespace

std::optional<QString> retimeSegment(EditableSegment& segment, SegmentEdge edge, const QString& text)
{
    const auto seconds = parseHMS(text);
    if (!seconds)
        return u"时间格式应为 时:分:秒.毫秒，例如 00:01:23.456。"_s;
    if (edge == SegmentEdge::start) {
        if (!(*seconds < segment.end))
            return u"开始时间必须小于结束时间。"_s;
        segment.start = *seconds;
    } else {
        if (!(*seconds > segment.start))
            return u"结束时间必须大于开始时间。"_s;
        segment.end = *seconds;
    }
    return std::nullopt;
}

EditableSegment makeManualSegment(const QList<EditableSegment>& segments, const std::optional<DetectorPayload>& payload)
{
    double start = segments.isEmpty() ? 0 : std::max(0.0, segments.last().end);
    if (payload)
        start = std::min(start, payload->duration);
    double end = start + manualSegmentSeconds;
    if (payload)
        end = std::min(end, payload->duration);
    if (!(end > start))
        end = start + shortestSegmentSeconds;
    return EditableSegment{indexAfter(segments), true, start, end, true};
}

QList<qint64> relatedKeepSegmentIndices(const TransitionEvent& event, const QList<KeepSegment>& keepSegments)
{
    const QList<qint64> touching = touchingIndices(event, keepSegments);
    return touching.isEmpty() ? nearestIndices(event, keepSegments) : touching;
}

MasterState masterState(const QList<EditableSegment>& segments)
{
    if (segments.isEmpty())
        return MasterState::unavailable;
    const auto enabled = std::count_if(segments.begin(), segments.end(),
                                       [](const EditableSegment& segment) { return segment.isEnabled; });
    if (enabled == segments.size())
        return MasterState::on;
    return enabled == 0 ? MasterState::off : MasterState::mixed;
}

QString resultSummary(const std::optional<DetectorPayload>& payload, std::optional<qsizetype> segmentCount)
{
    if (payload)
        return u"换场 %1 个，保留片段 %2 个"_s.arg(payload->events.size()).arg(segmentCount.value_or(0));
    return segmentCount ? u"手动片段 %1 个"_s.arg(*segmentCount) : u"等待解析"_s;
}
