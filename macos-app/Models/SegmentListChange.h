#pragma once

#include "Models/SegmentRowsChange.h"

#include <variant>

/// What one step did to a list, small enough to be kept by the thousand: another list in its place, or other rows.
class SegmentListChange final
{
public:
    /// Between two states of one list: `after` has the video and the detection of `before`.
    [[nodiscard]] static SegmentListChange between(const SegmentList& before, const SegmentList& after);
    /// From one list to another one.
    [[nodiscard]] static SegmentListChange replacement(const SegmentList& before, const SegmentList& after);

    [[nodiscard]] bool isNothing() const;
    [[nodiscard]] SegmentListChange inverted() const;
    /// Both in one, where this one was made before `next`: replacements, and changes of the same rows. Whether it could
    /// be done.
    [[nodiscard]] bool absorb(const SegmentListChange& next);

    /// What happens to the rows; nothing for a replacement.
    [[nodiscard]] const SegmentRowsChange* rows() const { return std::get_if<SegmentRowsChange>(&m_change); }
    /// The list that a replacement leads to.
    [[nodiscard]] SegmentList replacingList() const { return std::get<Replacement>(m_change).second.list(); }
    /// What `payload` has in common with the detections of a replacement is kept once from now on.
    void shareWith(DetectorPayload& payload) const;

private:
    /// A list without its segments, but for what the user made of the detected ones.
    struct KeptList
    {
        explicit KeptList(const SegmentList& list);
        [[nodiscard]] SegmentList list() const;

        std::optional<FileURL> videoURL;
        std::optional<DetectorPayload> payload;
        SegmentRowsChange edits;
    };
    using Replacement = std::pair<KeptList, KeptList>;

    std::variant<SegmentRowsChange, Replacement> m_change;
};
