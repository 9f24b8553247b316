#include "MainWindowController/SegmentListEditor.h"

#include <algorithm>
#include <numeric>

void SegmentListEditor::replace(const SegmentList& list)
{
    Q_EMIT aboutToBeReplaced();
    m_list = list;
    Q_EMIT replaced();
}

void SegmentListEditor::changeVideo(const FileURL& videoURL)
{
    if (m_list.videoURL == videoURL)
        return;
    m_list.videoURL = videoURL;
    Q_EMIT videoChanged();
}

void SegmentListEditor::setEnabled(const QList<int>& rows, bool enabled)
{
    QList<int> changed;
    for (const int row : rows) {
        if (m_list.segments.at(row).isEnabled != enabled)
            changed.append(row);
    }
    if (changed.isEmpty())
        return;
    for (const int row : std::as_const(changed))
        m_list.segments[row].isEnabled = enabled;
    const auto [first, last] = std::minmax_element(changed.cbegin(), changed.cend());
    Q_EMIT fieldChanged(*first, *last, Field::enabled);
    Q_EMIT edited();
}

void SegmentListEditor::setAllEnabled(bool enabled)
{
    QList<int> rows(segments().size());
    std::iota(rows.begin(), rows.end(), 0);
    setEnabled(rows, enabled);
}

std::optional<QString> SegmentListEditor::retime(int row, SegmentEdge edge, const QString& text)
{
    EditableSegment segment = segments().at(row);
    if (auto message = retimeSegment(segment, edge, text))
        return message;
    if (segment == segments().at(row))
        return std::nullopt;
    m_list.segments[row] = segment;
    Q_EMIT fieldChanged(row, row, edge == SegmentEdge::start ? Field::start : Field::end);
    Q_EMIT edited();
    return std::nullopt;
}

void SegmentListEditor::append()
{
    const int row = static_cast<int>(segments().size());
    Q_EMIT aboutToBeInserted(row);
    m_list.segments.append(makeManualSegment(m_list.segments, m_list.payload));
    Q_EMIT inserted(row);
    Q_EMIT edited();
}

void SegmentListEditor::remove(int row)
{
    if (row < 0 || row >= segments().size() || !segments().at(row).isManual)
        return;
    Q_EMIT aboutToBeRemoved(row);
    m_list.segments.removeAt(row);
    Q_EMIT removed(row);
    Q_EMIT edited();
}
