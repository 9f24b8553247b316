#include "Frames/ViewerContent.h"

ViewerContent ViewerContent::of(const SegmentList& list, const std::optional<CropParameters>& crop)
{
    ViewerContent content;
    content.videoURL = list.videoURL;
    content.crop = crop;
    content.events = list.events();
    content.segments = list.segments;
    if (const auto& payload = list.payload) {
        content.duration = payload->duration;
        content.framesPerSecond = payload->fps;
    }
    return content;
}
