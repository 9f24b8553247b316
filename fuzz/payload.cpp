#include "FuzzTarget.h"
#include "Models/EventSummary.h"
#include "Models/JobBuilder.h"
#include "Models/PayloadDecoder.h"
#include "Models/SegmentEditing.h"
#include "Models/TimeText.h"

using namespace Qt::StringLiterals;

/// Any output of a detector is decoded or refused, and what is decoded can be shown, edited and cut.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        const DetectorPayload payload = decodePayload(bytesOf(data, size).toByteArray());
        require(!buildEventSummary(payload).isEmpty());
        QList<EditableSegment> segments = buildEditableSegments(payload);
        segments.append(makeManualSegment(segments, payload));
        for (const EditableSegment& segment : segments)
            require(parseHMS(formatShownTime(segment.start)) || segment.start > 1e15);
        for (const TransitionEvent& event : payload.events)
            require(relatedKeepSegmentIndices(event, payload.keepSegments).size() <= payload.keepSegments.size());
        const auto jobs = buildJobs(segments, FileURL(u"/v.mp4"_s), FileURL(u"/o"_s), payload.video, std::nullopt);
        for (const FFmpegJob& job : jobs)
            require(!job.commandPreview().isEmpty() && !job.executionArguments().contains(QString()));
    } catch (const PayloadDecodingError& error) {
        require(!error.description().isEmpty());
    }
    return 0;
}
