#pragma once

#include "Models/DetectorPayload.h"

/// A payload as plain text: the video, both counts, and a line for each event. No line feed at the end.
[[nodiscard]] QString buildEventSummary(const DetectorPayload& payload);
