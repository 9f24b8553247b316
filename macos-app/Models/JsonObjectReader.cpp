#include "Models/JsonObjectReader.h"

#include "Models/JsonCorrection.h"

#include <QJsonDocument>

#include <algorithm>

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

/// "第 3 行第 14 列" for an offset in bytes, the column counted in bytes.
QString positionText(const QByteArray& json, qsizetype offset)
{
    const QByteArrayView before = QByteArrayView(json).first(std::clamp<qsizetype>(offset, 0, json.size()));
    const qsizetype lineStart = before.lastIndexOf('\n') + 1;
    return u"第 %1 行第 %2 列"_s.arg(before.count('\n') + 1).arg(before.size() - lineStart + 1);
}

} // namespace

QJsonObject parseJsonObject(QByteArray json)
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

QString JsonObjectReader::string(const JsonField& field) const
{
    const QJsonValue value = required(field);
    expect(value.isString(), field, u"文本"_s, value);
    return value.toString();
}

double JsonObjectReader::number(const JsonField& field) const
{
    const QJsonValue value = required(field);
    expect(value.isDouble(), field, u"数字"_s, value);
    return value.toDouble();
}

qint64 JsonObjectReader::integer(const JsonField& field) const
{
    const QJsonValue value = required(field);
    expect(value.isDouble(), field, u"整数"_s, value);
    // Two defaults tell a whole number within 64 bits from everything else.
    if (value.toInteger(0) != value.toInteger(1))
        throw PayloadDecodingError(place(field) + u"：应为 64 位整数。"_s);
    return value.toInteger();
}

bool JsonObjectReader::boolean(const JsonField& field) const
{
    const QJsonValue value = required(field);
    expect(value.isBool(), field, u"布尔值"_s, value);
    return value.toBool();
}

QJsonArray JsonObjectReader::array(const JsonField& field) const
{
    const QJsonValue value = required(field);
    expect(value.isArray(), field, u"数组"_s, value);
    return value.toArray();
}

JsonObjectReader JsonObjectReader::object(const JsonField& field) const
{
    const QJsonValue value = required(field);
    expect(value.isObject(), field, u"对象"_s, value);
    return JsonObjectReader(value.toObject(), place(field));
}

QList<JsonObjectReader> JsonObjectReader::objects(const JsonField& field) const
{
    const QJsonArray elements = array(field);
    QList<JsonObjectReader> readers;
    readers.reserve(elements.size());
    for (qsizetype i = 0; i < elements.size(); ++i) {
        const QString element = place(field) + u'[' + QString::number(i) + u']';
        if (!elements.at(i).isObject())
            throw PayloadDecodingError(element + u"：应为对象，实际是"_s + typeName(elements.at(i)) + u"。"_s);
        readers.append(JsonObjectReader(elements.at(i).toObject(), element));
    }
    return readers;
}

std::optional<QString> JsonObjectReader::optionalString(const JsonField& field) const
{
    const QJsonValue value = find(field);
    if (value.isUndefined() || value.isNull())
        return std::nullopt;
    expect(value.isString(), field, u"文本或 null"_s, value);
    return value.toString();
}

std::optional<double> JsonObjectReader::optionalNumber(const JsonField& field) const
{
    const QJsonValue value = find(field);
    if (value.isUndefined() || value.isNull())
        return std::nullopt;
    expect(value.isDouble(), field, u"数字或 null"_s, value);
    return value.toDouble();
}

QString JsonObjectReader::place(const JsonField& field) const
{
    return m_place.isEmpty() ? QString(field.key) : m_place + u'.' + field.key;
}

QJsonValue JsonObjectReader::find(const JsonField& field) const
{
    if (const auto exact = m_object.constFind(field.name); exact != m_object.constEnd())
        return exact.value();
    for (auto member = m_object.constBegin(); member != m_object.constEnd(); ++member) {
        if (camelCase(member.key()) == field.name)
            return member.value();
    }
    return QJsonValue(QJsonValue::Undefined);
}

QJsonValue JsonObjectReader::required(const JsonField& field) const
{
    QJsonValue value = find(field);
    if (value.isUndefined())
        throw PayloadDecodingError(place(field) + u"：缺少这个字段。"_s);
    return value;
}

void JsonObjectReader::expect(bool matches, const JsonField& field, const QString& expected,
                              const QJsonValue& actual) const
{
    if (!matches)
        throw PayloadDecodingError(place(field) + u"：应为"_s + expected + u"，实际是"_s + typeName(actual) + u"。"_s);
}
