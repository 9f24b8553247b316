#include "Models/PayloadDecoder.h"

#include <QSet>

using namespace Qt::StringLiterals;

namespace {

/// Detectors use few words, and say them in every event.
class EventReader final
{
public:
    TransitionEvent operator()(const JsonObjectReader& reader)
    {
        return {reader.integer({"index"_L1}),      word(reader.string({"type"_L1})), reader.number({"start"_L1}),
                reader.number({"end"_L1}),         reader.number({"duration"_L1}),   reader.number({"score"_L1}),
                word(reader.string({"source"_L1}))};
    }

private:
    QString word(const QString& text) { return *m_words.insert(text); }

    QSet<QString> m_words; // each kept once
};

KeepSegment readKeepSegment(const JsonObjectReader& reader)
{
    return {reader.integer({"index"_L1}), reader.number({"start"_L1}), reader.number({"end"_L1}),
            reader.number({"duration"_L1})};
}

template<typename ReadElement>
auto readList(const JsonObjectReader& document, const JsonField& field, ReadElement readElement)
{
    QList<decltype(readElement(document))> elements;
    for (const JsonObjectReader& object : document.objects(field))
        elements.append(readElement(object));
    return elements;
}

} // namespace

DetectorPayload decodePayload(const QByteArray& json)
{
    return decodePayload(parseJsonObject(json));
}

DetectorPayload decodePayload(const QJsonObject& object)
{
    const JsonObjectReader document(object);
    DetectorPayload payload;
    payload.video = document.string({"video"_L1});
    payload.fps = document.number({"fps"_L1});
    payload.duration = document.number({"duration"_L1});
    payload.aggressive = document.boolean({"aggressive"_L1});
    payload.fadeRemovalProfile = document.optionalString({"fadeRemovalProfile"_L1, "fade_removal_profile"_L1});
    payload.events = readList(document, {"events"_L1}, EventReader());
    payload.keepSegments = readList(document, {"keepSegments"_L1, "keep_segments"_L1}, readKeepSegment);
    return payload;
}
