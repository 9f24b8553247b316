#include "CutLists/KestrelList.h"

#include "CutLists/ListRules.h"
#include "Models/PayloadDecoder.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 version = 1;
constexpr QLatin1StringView ownKey = "kestrel"_L1;
const QStringList documentKeys = {
    u"video"_s,  u"fps"_s,           u"duration"_s, u"aggressive"_s, u"fade_removal_profile"_s,
    u"events"_s, u"keep_segments"_s, u"kestrel"_s};
const QStringList ownKeys = {u"version"_s, u"video"_s,     u"detected"_s, u"crop"_s,
                             u"prefix"_s,  u"irregular"_s, u"segments"_s, u"confirmed_events"_s};

QJsonObject without(QJsonObject object, const QStringList& keys)
{
    for (const QString& key : keys)
        object.remove(key);
    return object;
}

QByteArray jsonText(const QJsonValue& value)
{
    const QByteArray list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return list.mid(1, list.size() - 2);
}

/// Writes one object, a key a line, in the order in which they are added.
class ObjectWriter final
{
public:
    void add(QLatin1StringView key, const QJsonValue& value) { addText(key, jsonText(value)); }

    /// A list with a line for each element.
    void add(QLatin1StringView key, const QJsonArray& elements)
    {
        QByteArray text = "[";
        for (const QJsonValue& element : elements)
            text += (text.size() > 1 ? ",\n" : "\n") + jsonText(element);
        addText(key, text + (elements.isEmpty() ? "]" : "\n]"));
    }

    void addText(QLatin1StringView key, const QByteArray& text)
    {
        m_text += (m_text.isEmpty() ? "{\n" : ",\n") + jsonText(QString(key)) + ": " + text;
    }

    void addAll(const QJsonObject& object)
    {
        for (auto member = object.begin(); member != object.end(); ++member)
            m_text += (m_text.isEmpty() ? "{\n" : ",\n") + jsonText(member.key()) + ": " + jsonText(member.value());
    }

    [[nodiscard]] QByteArray text() const { return m_text + "\n}"; }

private:
    QByteArray m_text;
};

QJsonArray eventsJson(const QList<TransitionEvent>& events)
{
    QJsonArray array;
    for (const TransitionEvent& event : events)
        array.append(QJsonObject{{u"index"_s, event.index},
                                 {u"type"_s, event.type},
                                 {u"start"_s, event.start},
                                 {u"end"_s, event.end},
                                 {u"duration"_s, event.duration},
                                 {u"score"_s, event.score},
                                 {u"source"_s, event.source}});
    return array;
}

QJsonArray keepSegmentsJson(const QList<KeepSegment>& segments)
{
    QJsonArray array;
    for (const KeepSegment& segment : segments)
        array.append(QJsonObject{{u"index"_s, segment.index},
                                 {u"start"_s, segment.start},
                                 {u"end"_s, segment.end},
                                 {u"duration"_s, segment.duration}});
    return array;
}

QJsonArray segmentsJson(const SegmentList& list)
{
    QJsonArray array;
    for (const EditableSegment& segment : list.segments) {
        QJsonObject object{{u"index"_s, segment.index},
                           {u"start"_s, segment.start},
                           {u"end"_s, segment.end},
                           {u"enabled"_s, segment.isEnabled},
                           {u"manual"_s, segment.isManual}};
        if (const auto end = list.endsBeforeJoin.constFind(segment.index); end != list.endsBeforeJoin.constEnd())
            object.insert(u"joined_at"_s, *end);
        array.append(object);
    }
    return array;
}

QByteArray ownObject(const KestrelList& list)
{
    QList<qint64> indices = list.list.confirmedEvents.values();
    std::sort(indices.begin(), indices.end());
    QJsonArray confirmed;
    for (const qint64 index : std::as_const(indices))
        confirmed.append(index);
    ObjectWriter own;
    own.add("version"_L1, version);
    own.add(
        "video"_L1,
        QJsonObject{{u"path"_s, list.video.path}, {u"size"_s, list.video.size}, {u"duration"_s, list.video.duration}});
    own.add("detected"_L1, list.list.payload.has_value());
    own.add("crop"_L1, list.crop);
    own.add("prefix"_L1, list.prefix);
    if (faultOfClips(list.list.segments, list.video.duration))
        own.add("irregular"_L1, true); // by the user's own hand, and not by damage
    own.add("segments"_L1, segmentsJson(list.list));
    own.add("confirmed_events"_L1, QJsonValue(confirmed));
    own.addAll(list.otherKestrelKeys);
    return own.text();
}

void readOwnObject(const JsonObjectReader& reader, KestrelList& document)
{
    if (reader.integer({"version"_L1}) > version)
        throw PayloadDecodingError(u"列表由更新版本的 Kestrel 存储，请升级后再打开。"_s);
    const JsonObjectReader video = reader.object({"video"_L1});
    document.video = {video.string({"path"_L1}), video.integer({"size"_L1}), video.number({"duration"_L1})};
    SegmentList& list = document.list;
    if (!reader.boolean({"detected"_L1}))
        list.payload.reset();
    document.crop = reader.string({"crop"_L1});
    document.prefix = reader.string({"prefix"_L1});
    list.segments.clear();
    for (const JsonObjectReader& segment : reader.objects({"segments"_L1})) {
        const qint64 index = segment.integer({"index"_L1});
        list.segments.append({index, segment.boolean({"enabled"_L1}), segment.number({"start"_L1}),
                              segment.number({"end"_L1}), segment.boolean({"manual"_L1})});
        if (const auto end = segment.optionalNumber({"joinedAt"_L1, "joined_at"_L1}))
            list.endsBeforeJoin.insert(index, *end);
    }
    for (const QJsonValue& index : reader.array({"confirmedEvents"_L1, "confirmed_events"_L1}))
        list.confirmedEvents.insert(index.toInteger());
}

} // namespace

QByteArray encodeKestrelList(const KestrelList& list)
{
    const DetectorPayload payload =
        list.list.payload.value_or(DetectorPayload{list.video.path, 0, list.video.duration, false, {}, {}, {}});
    ObjectWriter document;
    document.add("video"_L1, payload.video);
    document.add("fps"_L1, payload.fps);
    document.add("duration"_L1, payload.duration);
    document.add("aggressive"_L1, payload.aggressive);
    if (payload.fadeRemovalProfile)
        document.add("fade_removal_profile"_L1, *payload.fadeRemovalProfile);
    document.add("events"_L1, eventsJson(payload.events));
    document.add("keep_segments"_L1, keepSegmentsJson(payload.keepSegments));
    document.addText(ownKey, ownObject(list));
    document.addAll(list.otherKeys);
    return document.text() + '\n';
}

KestrelList decodeKestrelList(const QByteArray& document)
{
    const QJsonObject object = parseJsonObject(document);
    KestrelList read;
    read.list.payload = decodePayload(object);
    read.list.segments = buildEditableSegments(*read.list.payload);
    read.video = {read.list.payload->video, 0, read.list.payload->duration};
    read.otherKeys = without(object, documentKeys);
    bool isIrregular = false;
    if (object.contains(ownKey)) {
        const JsonObjectReader reader = JsonObjectReader(object).object({ownKey});
        readOwnObject(reader, read);
        const QJsonObject own = object.value(ownKey).toObject();
        isIrregular = own.value(u"irregular"_s).toBool();
        read.otherKestrelKeys = without(own, ownKeys);
    }
    if (const auto fault = faultOfClips(read.list.segments, read.video.duration); fault && !isIrregular)
        throw PayloadDecodingError(*fault);
    read.list.videoURL = FileURL(read.video.path);
    return read;
}
