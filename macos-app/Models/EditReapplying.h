#pragma once

#include "Models/SegmentList.h"

/// A parsed list with the edits that an earlier list of the same video had.
struct ReappliedEdits
{
    SegmentList list;
    qsizetype count = 0;        ///< edits that were made again
    QStringList withoutPartner; ///< what the others were about, in words for the user
};

/// Makes the confirmations, rejections and moved edges of `edited` again in `parsed`, wherever the same transition or
/// the same edge is there again within one picture.
[[nodiscard]] ReappliedEdits reapplyEdits(const SegmentList& parsed, const SegmentList& edited);
