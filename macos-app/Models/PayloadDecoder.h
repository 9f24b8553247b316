#pragma once

#include "Models/DetectorPayload.h"
#include "Models/JsonObjectReader.h"

/// The payload in a JSON document (UTF-8). Object keys are converted from snake case before they are matched; unknown
/// keys are ignored. Every required field must be present and of its type, integers within 64 bits, and only
/// "fade_removal_profile" may be absent or null. Throws PayloadDecodingError.
[[nodiscard]] DetectorPayload decodePayload(const QByteArray& json);

/// The payload in an object that has been read already.
[[nodiscard]] DetectorPayload decodePayload(const QJsonObject& object);
