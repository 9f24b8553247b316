#include "CutLists/SegmentCuts.h"

#include <iterator>
#include <map>

using namespace Qt::StringLiterals;

namespace {

/// The detector's words for transitions by where they begin.
std::map<double, QString> transitionsByStart(const QList<TransitionEvent>& events)
{
    std::map<double, QString> transitions;
    for (const TransitionEvent& event : events)
        transitions.emplace(event.start, event.type);
    return transitions;
}

/// The one that the detector found before a segment.
QString transitionBefore(const EditableSegment& segment, const std::map<double, QString>& transitions)
{
    const auto next = transitions.upper_bound(segment.start + 0.0005);
    return next == transitions.begin() ? QString() : std::prev(next)->second;
}

} // namespace

CutList cutListOf(const SegmentList& list, const QList<FFmpegJob>& jobs, bool takesDisabled)
{
    CutList cuts;
    cuts.video = list.videoURL.value_or(FileURL());
    cuts.title = cuts.video.baseName();
    if (list.payload)
        cuts.duration = list.payload->duration;
    const auto transitions = transitionsByStart(list.events());
    qsizetype job = 0;
    for (const EditableSegment& segment : list.segments) {
        const bool isWritten = segment.isEnabled && segment.duration() > 0;
        QString name;
        if (isWritten && job < jobs.size())
            name = jobs.at(job++).outputURL.lastPathComponent();
        if (isWritten || (takesDisabled && segment.duration() > 0))
            cuts.items.append(
                {name, segment.start, segment.end, segment.isEnabled, transitionBefore(segment, transitions), {}});
    }
    return cuts;
}

FileURL numberedFile(const FileURL& file, qsizetype number)
{
    if (number == 1)
        return file;
    return file.deletingLastPathComponent().appendingPathComponent(file.baseName() + u'-' + QString::number(number) +
                                                                   u'.' + file.pathExtension());
}
