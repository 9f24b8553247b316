#include "FuzzTarget.h"
#include "Models/InputReading.h"
#include "Models/NumberText.h"
#include "Models/SegmentEditing.h"
#include "Models/TimeText.h"

#include <cmath>

namespace {

/// A time that was accepted is shown as the same time, to the millisecond, as long as a double can hold that.
void checkTime(const QString& text)
{
    const auto seconds = parseHMS(text);
    if (!seconds)
        return;
    require(*seconds >= 0 && std::isfinite(*seconds));
    const auto shown = parseHMS(formatShownTime(*seconds));
    require(*seconds > 1e12 || (shown && std::abs(*shown - *seconds) <= 0.000501));
}

void checkFields(const QString& text)
{
    if (!validateSkipStart(text))
        require(readSkipStartSeconds(text) >= 0 && readSkipStartSeconds(text) <= 86400);
    if (!validateCropParameters(text) && !text.trimmed().isEmpty())
        require(readCropParameters(text)->width > 0);
    if (!validateFadePadding({text})) {
        const auto padding = readFadePadding(text, text, FadeRemovalStrategy::defaultValue);
        require(padding.leftSeconds >= 0 && padding.leftSeconds <= 5);
    }
    require(readConcurrency(text) >= 1 && readConcurrency(text) <= 12);
    if (const auto value = parseDecimal(text)) {
        require(!std::isnan(*value));
        require(std::isinf(*value) || parseDecimal(formatRoundTrip(*value)) == std::max(*value, 0.0));
    }
}

void checkRetiming(const QString& text)
{
    EditableSegment segment = {0, true, 10, 20, false};
    for (const SegmentEdge edge : {SegmentEdge::start, SegmentEdge::end}) {
        const EditableSegment before = segment;
        const bool refused = retimeSegment(segment, edge, text).has_value();
        require(segment.start < segment.end && (!refused || segment == before));
    }
}

} // namespace

/// Whatever is typed into a field is read to a value in range, or refused.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString text = typedText(data, size);
    checkTime(text);
    checkFields(text);
    checkRetiming(text);
    return 0;
}
