#include "Models/EventSummary.h"

#include "Models/NumberText.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

QString eventLine(const TransitionEvent& event)
{
    return formatZeroFilled(event.index, 3) + u' ' + event.type + u" start="_s + formatFixed(event.start, 3) +
           u" end="_s + formatFixed(event.end, 3) + u" duration="_s + formatFixed(event.duration, 3) + u" source="_s +
           event.source;
}

} // namespace

QString buildEventSummary(const DetectorPayload& payload)
{
    QStringList lines = {u"视频: "_s + payload.video, u"检测到换场: "_s + QString::number(payload.events.size()),
                         u"保留片段: "_s + QString::number(payload.keepSegments.size()), QString()};
    if (payload.events.isEmpty())
        lines << u"未检测到换场。"_s;
    for (const TransitionEvent& event : payload.events)
        lines << eventLine(event);
    return lines.join(u'\n');
}
