#include "CutLists/LosslessCutProject.h"

#include "CutLists/CutListError.h"
#include "CutLists/Json5.h"
#include "CutLists/ListTimes.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

using namespace Qt::StringLiterals;

QByteArray writeLosslessCutProject(const CutList& list)
{
    QJsonArray segments;
    for (const CutListItem& item : list.items)
        segments.append(QJsonObject{
            {u"start"_s, item.start}, {u"end"_s, item.end}, {u"name"_s, item.name}, {u"selected"_s, item.isEnabled}});
    return QJsonDocument(QJsonObject{{u"version"_s, 2},
                                     {u"mediaFileName"_s, list.video.lastPathComponent()},
                                     {u"cutSegments"_s, segments}})
        .toJson();
}

CutList readLosslessCutProject(const QByteArray& bytes, const CutList& video)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(jsonOfJson5(listText(bytes)).toUtf8(), &error);
    const QJsonValue segments = document.object().value(u"cutSegments"_s);
    if (error.error != QJsonParseError::NoError || !segments.isArray())
        throw CutListError(u"不是 LosslessCut 的项目文件。"_s);
    CutList list = video;
    list.items.clear();
    for (const QJsonValue& value : segments.toArray()) {
        const QJsonObject segment = value.toObject();
        const double start = segment.value(u"start"_s).toDouble(0);
        const double end = segment.value(u"end"_s).toDouble(video.duration);
        if (!(start >= 0 && end > start && end < 1e9))
            throw CutListError(u"第 %1 个片段的时间无效。"_s.arg(list.items.size() + 1));
        list.items.append(
            {segment.value(u"name"_s).toString(), start, end, segment.value(u"selected"_s).toBool(true), {}, {}});
    }
    return list;
}
