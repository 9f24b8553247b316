#include "CutLists/OtioList.h"

#include "CutLists/CutListError.h"
#include "CutLists/ListTimes.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

QJsonObject schema(const QString& name, QJsonObject members)
{
    members.insert(u"OTIO_SCHEMA"_s, name);
    return members;
}

QJsonObject rationalTime(qint64 pictures, const FrameRate& rate)
{
    return schema(u"RationalTime.1"_s, {{u"rate"_s, rate.perSecond()}, {u"value"_s, static_cast<double>(pictures)}});
}

QJsonObject timeRange(qint64 first, qint64 count, const FrameRate& rate)
{
    return schema(u"TimeRange.1"_s,
                  {{u"start_time"_s, rationalTime(first, rate)}, {u"duration"_s, rationalTime(count, rate)}});
}

/// What every part of a timeline has.
QJsonObject named(const QString& name, QJsonObject members)
{
    members.insert(u"name"_s, name);
    members.insert(u"metadata"_s, QJsonObject());
    members.insert(u"effects"_s, QJsonArray());
    members.insert(u"markers"_s, QJsonArray());
    members.insert(u"enabled"_s, true);
    if (!members.contains(u"source_range"_s))
        members.insert(u"source_range"_s, QJsonValue::Null);
    return members;
}

QJsonObject clip(const CutListItem& item, const CutList& list, const FrameRate& rate)
{
    const qint64 start = list.startTimecode ? list.startTimecode->pictures : 0;
    const PictureRange range = picturesOf(item);
    const QJsonObject media =
        schema(u"ExternalReference.1"_s,
               {{u"name"_s, list.video.lastPathComponent()},
                {u"metadata"_s, QJsonObject()},
                {u"available_range"_s, timeRange(start, list.pictureCount, rate)},
                {u"available_image_bounds"_s, QJsonValue::Null},
                {u"target_url"_s, QString::fromUtf8(QUrl::fromLocalFile(list.video.path()).toEncoded())}});
    return schema(u"Clip.2"_s,
                  named(item.name, {{u"source_range"_s, timeRange(start + range.first, range.count(), rate)},
                                    {u"active_media_reference_key"_s, u"DEFAULT_MEDIA"_s},
                                    {u"media_references"_s, QJsonObject{{u"DEFAULT_MEDIA"_s, media}}}}));
}

struct Time
{
    double value = 0;
    double rate = 0;

    static std::optional<Time> of(const QJsonValue& json)
    {
        const QJsonObject object = json.toObject();
        const Time time{object.value(u"value"_s).toDouble(NAN), object.value(u"rate"_s).toDouble(NAN)};
        return std::isfinite(time.value) && time.rate > 0 ? std::optional(time) : std::nullopt;
    }
};

/// The first track of kind video anywhere in the stacks.
QJsonObject videoTrack(const QJsonObject& part, int depth = 0)
{
    constexpr int deepest = 16;
    if (part.value(u"OTIO_SCHEMA"_s).toString().startsWith(u"Track."_s))
        return part.value(u"kind"_s).toString(u"Video"_s) == u"Video" ? part : QJsonObject();
    for (const QJsonValue& child : part.value(u"children"_s).toArray()) {
        const QJsonObject track = depth < deepest ? videoTrack(child.toObject(), depth + 1) : QJsonObject();
        if (!track.isEmpty())
            return track;
    }
    return QJsonObject();
}

QJsonObject mediaOf(const QJsonObject& clip)
{
    const QJsonObject references = clip.value(u"media_references"_s).toObject();
    const QString key = clip.value(u"active_media_reference_key"_s).toString(u"DEFAULT_MEDIA"_s);
    return references.isEmpty() ? clip.value(u"media_reference"_s).toObject() : references.value(key).toObject();
}

CutListItem readClip(const QJsonObject& clip, const CutList& video)
{
    const QString name = clip.value(u"name"_s).toString();
    const QJsonObject available = mediaOf(clip).value(u"available_range"_s).toObject();
    const QJsonObject chosen = clip.value(u"source_range"_s).toObject();
    const QJsonObject range = chosen.isEmpty() ? available : chosen;
    const auto start = Time::of(range.value(u"start_time"_s));
    const auto duration = Time::of(range.value(u"duration"_s));
    if (!start || !duration)
        throw CutListError(u"片段“"_s + name + u"”没有时间范围。"_s);
    const auto mediaStart = Time::of(available.value(u"start_time"_s));
    const double ownStart = video.startTimecode ? static_cast<double>(video.startTimecode->pictures) : 0;
    const double zero = mediaStart ? mediaStart->value / mediaStart->rate : ownStart / start->rate;
    CutListItem item{name, start->value / start->rate - zero, 0, true, {}, {}};
    item.end = item.start + duration->value / duration->rate;
    if (!(item.start > -1 && item.end < 1e9 && duration->value > 0))
        throw CutListError(u"片段“"_s + name + u"”的时间超出范围。"_s);
    if (video.rate && std::abs(video.rate->perSecond() - start->rate) < 0.0005)
        item.pictures = PictureRange{std::llround(item.start * start->rate), std::llround(item.end * start->rate)};
    return item;
}

} // namespace

QByteArray writeOtio(const CutList& list)
{
    const FrameRate rate = constantRate(list, u"OpenTimelineIO"_s);
    QJsonArray clips;
    for (const CutListItem& item : list.items)
        clips.append(clip(item, list, rate));
    const QJsonObject track = schema(u"Track.1"_s, named(u"V1"_s, {{u"kind"_s, u"Video"_s}, {u"children"_s, clips}}));
    const QJsonObject stack = schema(u"Stack.1"_s, named(u"tracks"_s, {{u"children"_s, QJsonArray{track}}}));
    const QJsonObject timeline = schema(u"Timeline.1"_s, {{u"name"_s, list.title},
                                                          {u"metadata"_s, QJsonObject()},
                                                          {u"global_start_time"_s, QJsonValue::Null},
                                                          {u"tracks"_s, stack}});
    return QJsonDocument(timeline).toJson(QJsonDocument::Compact); // a third of the length
}

CutList readOtio(const QByteArray& bytes, const CutList& video)
{
    const QJsonObject timeline = QJsonDocument::fromJson(bytes).object();
    if (!timeline.value(u"OTIO_SCHEMA"_s).toString().startsWith(u"Timeline."_s))
        throw CutListError(u"不是 OpenTimelineIO 的时间线。"_s);
    const QJsonObject track = videoTrack(timeline.value(u"tracks"_s).toObject());
    if (track.isEmpty())
        throw CutListError(u"时间线里没有视频轨道。"_s);
    CutList list = video;
    list.title = timeline.value(u"name"_s).toString();
    list.items.clear();
    for (const QJsonValue& child : track.value(u"children"_s).toArray()) {
        const QJsonObject part = child.toObject();
        if (part.value(u"OTIO_SCHEMA"_s).toString().startsWith(u"Clip."_s))
            list.items.append(readClip(part, video));
    }
    return list;
}
