#include "Models/SegmentTimes.h"

#include "Models/SegmentEditing.h"
#include "Models/TimeText.h"

#include <QStringList>

using namespace Qt::StringLiterals;

QString textOfTimes(const QList<EditableSegment>& segments)
{
    QString text;
    for (const EditableSegment& segment : segments)
        text += formatShownTime(segment.start) + u'\t' + formatShownTime(segment.end) + u'\n';
    return text;
}

std::optional<QString> appendTimes(SegmentList& list, const QString& text)
{
    QList<EditableSegment> segments = list.segments;
    const QStringList lines = text.split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (lines[i].trimmed().isEmpty())
            continue;
        const QStringList cells = lines[i].split(u'\t');
        const auto start = parseHMS(cells.value(0));
        const auto end = parseHMS(cells.value(1));
        if (!start || !end || !(*start < *end))
            return u"第 %1 行不是“开始时间、制表符、结束时间”，没有粘贴。"_s.arg(i + 1);
        EditableSegment segment = makeManualSegment(segments, list.payload);
        segment.start = *start;
        segment.end = *end;
        segments.append(segment);
    }
    if (segments.size() == list.segments.size())
        return u"剪贴板里没有时间。"_s;
    list.segments = segments;
    return std::nullopt;
}
