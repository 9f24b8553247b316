#include "Models/EventRejection.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

/// As near as the detector's own segments and events count as touching.
constexpr double tolerance = 0.0005;

bool playsThrough(double start, double end, const TransitionEvent& event)
{
    return start < event.start - tolerance && end > event.end + tolerance;
}

/// Switched off because another segment plays its part.
bool isSwallowed(const EditableSegment& segment, const QList<EditableSegment>& segments)
{
    return !segment.isEnabled && std::any_of(segments.begin(), segments.end(), [&](const EditableSegment& other) {
        return other.isEnabled && other.start <= segment.start + tolerance && other.end >= segment.end - tolerance;
    });
}

EditableSegment* before(const TransitionEvent& event, QList<EditableSegment>& segments)
{
    EditableSegment* nearest = nullptr;
    for (EditableSegment& segment : segments) {
        if (segment.end <= event.start + tolerance && segment.duration() > 0 &&
            (!nearest || segment.end > nearest->end) && !isSwallowed(segment, segments))
            nearest = &segment;
    }
    return nearest;
}

/// The nearest segment that begins after the event and for which `counts`.
template<typename Predicate>
EditableSegment* after(const TransitionEvent& event, QList<EditableSegment>& segments, Predicate counts)
{
    EditableSegment* nearest = nullptr;
    for (EditableSegment& segment : segments) {
        if (segment.start >= event.end - tolerance && segment.duration() > 0 &&
            (!nearest || segment.start < nearest->start) && counts(segment))
            nearest = &segment;
    }
    return nearest;
}

/// Where the detector's own segment before the event ends.
double detectedEndBefore(const TransitionEvent& event, const QList<KeepSegment>& keepSegments)
{
    double end = event.start;
    bool isFound = false;
    for (const KeepSegment& segment : keepSegments) {
        if (segment.end <= event.start + tolerance && (!isFound || segment.end > end)) {
            end = segment.end;
            isFound = true;
        }
    }
    return end;
}

using Stretch = std::pair<double, double>; ///< start and end in seconds

/// Sorts by the start, and gives each the latest end so far: then one look tells whether any plays through an event.
void makeCovering(QList<Stretch>& stretches)
{
    std::sort(stretches.begin(), stretches.end());
    double latest = -1;
    for (Stretch& stretch : stretches)
        latest = stretch.second = std::max(latest, stretch.second);
}

bool coversEvent(const QList<Stretch>& covering, const TransitionEvent& event)
{
    const auto later = std::lower_bound(covering.begin(), covering.end(), event.start - tolerance,
                                        [](const Stretch& stretch, double start) { return stretch.first < start; });
    return later != covering.begin() && playsThrough(std::prev(later)->first, std::prev(later)->second, event);
}

} // namespace

bool isRejected(const TransitionEvent& event, const QList<EditableSegment>& segments,
                const QList<KeepSegment>& keepSegments)
{
    const auto covers = [&](const auto& segment) { return playsThrough(segment.start, segment.end, event); };
    return std::any_of(segments.begin(), segments.end(),
                       [&](const EditableSegment& segment) { return segment.isEnabled && covers(segment); }) &&
           std::none_of(keepSegments.begin(), keepSegments.end(), covers);
}

QList<bool> rejections(const QList<TransitionEvent>& events, const QList<EditableSegment>& segments,
                       const QList<KeepSegment>& keepSegments)
{
    QList<Stretch> played;
    for (const EditableSegment& segment : segments) {
        if (segment.isEnabled)
            played.append({segment.start, segment.end});
    }
    QList<Stretch> proposed;
    for (const KeepSegment& segment : keepSegments)
        proposed.append({segment.start, segment.end});
    makeCovering(played);
    makeCovering(proposed);
    QList<bool> rejected;
    rejected.reserve(events.size());
    for (const TransitionEvent& event : events)
        rejected.append(coversEvent(played, event) && !coversEvent(proposed, event));
    return rejected;
}

std::optional<QString> rejectEvent(const TransitionEvent& event, QList<EditableSegment>& segments,
                                   EndsBeforeJoin& endsBeforeJoin)
{
    EditableSegment* first = before(event, segments);
    EditableSegment* second =
        after(event, segments, [&](const auto& segment) { return !isSwallowed(segment, segments); });
    if (!first || !second)
        return first ? u"这个换场之后没有片段，没有可合并的。"_s : u"这个换场之前没有片段，没有可合并的。"_s;
    if (!first->isEnabled || !second->isEnabled)
        return first->isEnabled ? u"后面的片段已停用，没有合并。"_s : u"前面的片段已停用，没有合并。"_s;
    endsBeforeJoin.insert(second->index, first->end);
    first->end = second->end;
    second->isEnabled = false;
    return std::nullopt;
}

std::optional<QString> restoreEvent(const TransitionEvent& event, QList<EditableSegment>& segments,
                                    EndsBeforeJoin& endsBeforeJoin, const QList<KeepSegment>& keepSegments)
{
    const auto first = std::find_if(segments.begin(), segments.end(), [&](const EditableSegment& segment) {
        return segment.isEnabled && playsThrough(segment.start, segment.end, event);
    });
    if (first == segments.end())
        return u"没有片段跨过这个换场。"_s;
    EditableSegment* second = after(event, segments, [&](const EditableSegment& segment) {
        return !segment.isEnabled && segment.start < first->end;
    });
    if (!second)
        return u"这个换场之后没有可恢复的片段。"_s;
    const double detectedEnd = detectedEndBefore(event, keepSegments);
    const double end = endsBeforeJoin.value(second->index, detectedEnd);
    endsBeforeJoin.remove(second->index);
    second->end = first->end;
    second->isEnabled = true;
    first->end = end > first->start && end <= event.start + tolerance ? end : detectedEnd;
    return std::nullopt;
}
