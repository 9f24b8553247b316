#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>

#include <exception>
#include <optional>

/// Why a text is no payload. The description is in Chinese and names the place, "keep_segments[3].end", and what was
/// wrong there, so that the author of a detector can mend it.
class PayloadDecodingError final : public std::exception
{
public:
    explicit PayloadDecodingError(QString description)
        : m_description(std::move(description))
        , m_utf8(m_description.toUtf8())
    {}

    [[nodiscard]] const QString& description() const { return m_description; }
    /// The description in UTF-8.
    [[nodiscard]] const char* what() const noexcept override { return m_utf8.constData(); }

private:
    QString m_description;
    QByteArray m_utf8;
};

/// The object that a JSON text (UTF-8) holds, by the strict grammar. Throws PayloadDecodingError.
[[nodiscard]] QJsonObject parseJsonObject(QByteArray json);

/// A field by its camel-case name and by the key that detectors write.
struct JsonField
{
    QLatin1StringView name;
    QLatin1StringView key = name;
};

/// One JSON object and the place at which it stands, "events[2]". Reads fields, whose keys are converted from snake
/// case before they are matched, or throws PayloadDecodingError with their full place.
class JsonObjectReader final
{
public:
    explicit JsonObjectReader(QJsonObject object, QString place = {})
        : m_object(std::move(object))
        , m_place(std::move(place))
    {}

    [[nodiscard]] QString string(const JsonField& field) const;
    [[nodiscard]] double number(const JsonField& field) const;
    /// A whole number within 64 bits.
    [[nodiscard]] qint64 integer(const JsonField& field) const;
    [[nodiscard]] bool boolean(const JsonField& field) const;
    [[nodiscard]] QJsonArray array(const JsonField& field) const;
    [[nodiscard]] JsonObjectReader object(const JsonField& field) const;
    /// The elements of an array, each of which must be an object.
    [[nodiscard]] QList<JsonObjectReader> objects(const JsonField& field) const;
    /// Nothing where the field is absent or null.
    [[nodiscard]] std::optional<QString> optionalString(const JsonField& field) const;
    [[nodiscard]] std::optional<double> optionalNumber(const JsonField& field) const;

    /// Where a field stands in the document.
    [[nodiscard]] QString place(const JsonField& field) const;

private:
    [[nodiscard]] QJsonValue find(const JsonField& field) const;
    [[nodiscard]] QJsonValue required(const JsonField& field) const;
    void expect(bool matches, const JsonField& field, const QString& expected, const QJsonValue& actual) const;

    QJsonObject m_object;
    QString m_place; // empty for the document itself
};
