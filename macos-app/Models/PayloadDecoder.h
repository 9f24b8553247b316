#pragma once

#include "Models/DetectorPayload.h"

#include <QByteArray>

#include <exception>

/// Why a text is no payload. The description is in Chinese and names the place, "keep_segments[3].end", and what was
/// wrong there, so that the author of a detector can mend it.
class PayloadDecodingError final : public std::exception
{
public:
    explicit PayloadDecodingError(QString description)
        : m_description(std::move(description))
    {}

    [[nodiscard]] const QString& description() const { return m_description; }
    [[nodiscard]] const char* what() const noexcept override { return "the text is not a detector payload"; }

private:
    QString m_description;
};

/// The payload in a JSON document (UTF-8). Object keys are converted from snake case before they are matched; unknown
/// keys are ignored. Every required field must be present and of its type, integers within 64 bits, and only
/// "fade_removal_profile" may be absent or null. Throws PayloadDecodingError.
[[nodiscard]] DetectorPayload decodePayload(const QByteArray& json);
