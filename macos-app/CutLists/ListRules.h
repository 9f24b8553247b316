#pragma once

#include "Models/EditableSegment.h"

#include <optional>

/// What is wrong with the clips of a list that was read, in words for the user: one lies before or beyond the video, or
/// two of them overlap. Nothing when all is in order. What is disabled or has no length is no clip. `duration` is the
/// video's in seconds, 0 when it is not known.
[[nodiscard]] std::optional<QString> faultOfClips(const QList<EditableSegment>& segments, double duration);
