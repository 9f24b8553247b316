#include "Models/PayloadDecoder.h"

#include "Models/JsonStrictness.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

/// A key's snake case turned into lower camel case; leading and trailing underscores stay.
QString camelCase(const QString& key)
{
    qsizetype first = 0;
    qsizetype end = key.size();
    while (first < end && key[first] == u'_')
        ++first;
    while (end > first && key[end - 1] == u'_')
        --end;
    QString converted = key.left(first);
    bool startsWord = false;
    for (qsizetype i = first; i < end; ++i) {
        if (key[i] == u'_') {
            startsWord = true;
            continue;
        }
        converted += startsWord ? key[i].toUpper() : key[i];
        startsWord = false;
    }
    return converted + key.mid(end);
}

/// A field by its camel-case name and by the key that detectors write.
struct Field
{
    QLatin1StringView name;
    QLatin1StringView key = name;
};

QString typeName(const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::Null:
        return u"null"_s;
    case QJsonValue::Bool:
        return u"布尔值"_s;
    case QJsonValue::Double:
        return u"数字"_s;
    case QJsonValue::String:
        return u"文本"_s;
    case QJsonValue::Array:
        return u"数组"_s;
    case QJsonValue::Object:
        return u"对象"_s;
    default:
        return u"缺失"_s;
    }
}

/// One JSON object and the place at which it stands, "events[2]"; reads fields or throws with their full place.
class ObjectReader final
{
public:
    explicit ObjectReader(QJsonObject object)
        : m_object(std::move(object))
    {}

    ObjectReader(const QJsonValue& value, const Field& list, qsizetype position)
        : m_object(value.toObject())
        , m_list(list.key)
        , m_position(position)
    {
        if (!value.isObject())
            throw PayloadDecodingError(place() + u"：应为对象，实际是"_s + typeName(value) + u"。"_s);
    }

    [[nodiscard]] QString string(const Field& field) const
    {
        const QJsonValue value = required(field);
        expect(value.isString(), field, u"文本"_s, value);
        return value.toString();
    }

    [[nodiscard]] double number(const Field& field) const
    {
        const QJsonValue value = required(field);
        expect(value.isDouble(), field, u"数字"_s, value);
        return value.toDouble();
    }

    [[nodiscard]] qint64 integer(const Field& field) const
    {
        const QJsonValue value = required(field);
        expect(value.isDouble(), field, u"整数"_s, value);
        // Two defaults tell a whole number within 64 bits from everything else.
        if (value.toInteger(0) != value.toInteger(1))
            throw PayloadDecodingError(place(field) + u"：应为 64 位整数。"_s);
        return value.toInteger();
    }

    [[nodiscard]] bool boolean(const Field& field) const
    {
        const QJsonValue value = required(field);
        expect(value.isBool(), field, u"布尔值"_s, value);
        return value.toBool();
    }

    [[nodiscard]] QJsonArray array(const Field& field) const
    {
        const QJsonValue value = required(field);
        expect(value.isArray(), field, u"数组"_s, value);
        return value.toArray();
    }

    [[nodiscard]] std::optional<QString> optionalString(const Field& field) const
    {
        const QJsonValue value = find(field);
        if (value.isUndefined() || value.isNull())
            return std::nullopt;
        expect(value.isString(), field, u"文本或 null"_s, value);
        return value.toString();
    }

private:
    [[nodiscard]] QJsonValue find(const Field& field) const
    {
        if (const auto exact = m_object.constFind(field.name); exact != m_object.constEnd())
            return exact.value();
        for (auto member = m_object.constBegin(); member != m_object.constEnd(); ++member) {
            if (camelCase(member.key()) == field.name)
                return member.value();
        }
        return QJsonValue(QJsonValue::Undefined);
    }

    [[nodiscard]] QJsonValue required(const Field& field) const
    {
        QJsonValue value = find(field);
        if (value.isUndefined())
            throw PayloadDecodingError(place(field) + u"：缺少这个字段。"_s);
        return value;
    }

    void expect(bool matches, const Field& field, const QString& expected, const QJsonValue& actual) const
    {
        if (!matches)
            throw PayloadDecodingError(place(field) + u"：应为"_s + expected + u"，实际是"_s + typeName(actual) +
                                       u"。"_s);
    }

    [[nodiscard]] QString place() const { return m_list + u'[' + QString::number(m_position) + u']'; }

    [[nodiscard]] QString place(const Field& field) const
    {
        return m_list.isEmpty() ? QString(field.key) : place() + u'.' + field.key;
    }

    QJsonObject m_object;
    QLatin1StringView m_list; // empty for the document itself
    qsizetype m_position = 0;
};

/// "第 3 行第 14 列" for an offset in bytes, the column counted in bytes.
QString positionText(const QByteArray& json, qsizetype offset)
{
    const QByteArrayView before = QByteArrayView(json).first(std::clamp<qsizetype>(offset, 0, json.size()));
    const qsizetype lineStart = before.lastIndexOf('\n') + 1;
    return u"第 %1 行第 %2 列"_s.arg(before.count('\n') + 1).arg(before.size() - lineStart + 1);
}

QJsonObject parseObject(QByteArray json)
{
    if (json.trimmed().isEmpty())
        throw PayloadDecodingError(u"输出为空。"_s);
    const auto lenientByte = correctForQt(json);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError)
        throw PayloadDecodingError(u"不是有效的 JSON（"_s + positionText(json, error.offset) + u"："_s +
                                   error.errorString() + u"）。"_s);
    if (lenientByte)
        throw PayloadDecodingError(u"不是有效的 JSON（"_s + positionText(json, *lenientByte) +
                                   u"：数字、转义或控制字符的写法不合规范）。"_s);
    if (!document.isObject())
        throw PayloadDecodingError(u"顶层应为对象，实际是数组。"_s);
    return document.object();
}

TransitionEvent readEvent(const ObjectReader& reader)
{
    return {reader.integer({"index"_L1}), reader.string({"type"_L1}),     reader.number({"start"_L1}),
            reader.number({"end"_L1}),    reader.number({"duration"_L1}), reader.number({"score"_L1}),
            reader.string({"source"_L1})};
}

KeepSegment readKeepSegment(const ObjectReader& reader)
{
    return {reader.integer({"index"_L1}), reader.number({"start"_L1}), reader.number({"end"_L1}),
            reader.number({"duration"_L1})};
}

template<typename Element>
QList<Element> readList(const ObjectReader& document, const Field& field, Element (*readElement)(const ObjectReader&))
{
    const QJsonArray array = document.array(field);
    QList<Element> elements;
    elements.reserve(array.size());
    for (qsizetype i = 0; i < array.size(); ++i)
        elements.append(readElement(ObjectReader(array.at(i), field, i)));
    return elements;
}

} // namespace

DetectorPayload decodePayload(const QByteArray& json)
{
    const ObjectReader document(parseObject(json));
    DetectorPayload payload;
    payload.video = document.string({"video"_L1});
    payload.fps = document.number({"fps"_L1});
    payload.duration = document.number({"duration"_L1});
    payload.aggressive = document.boolean({"aggressive"_L1});
    payload.fadeRemovalProfile = document.optionalString({"fadeRemovalProfile"_L1, "fade_removal_profile"_L1});
    payload.events = readList(document, {"events"_L1}, readEvent);
    payload.keepSegments = readList(document, {"keepSegments"_L1, "keep_segments"_L1}, readKeepSegment);
    return payload;
}
