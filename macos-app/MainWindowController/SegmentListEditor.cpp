#include "MainWindowController/SegmentListEditor.h"

#include <algorithm>
#include <numeric>
#include <utility>

using namespace Qt::StringLiterals;

/// One step of the history. Pushing it makes the change.
class SegmentListEditor::Step final : public QUndoCommand
{
public:
    Step(SegmentListEditor& editor, const QString& name, SegmentListChange change, Series series)
        : QUndoCommand(name)
        , m_editor(editor)
        , m_change(std::move(change))
        , m_series(series)
    {}

    void redo() override { m_editor.apply(m_change); }
    void undo() override { m_editor.apply(m_change.inverted()); }
    [[nodiscard]] const SegmentListChange& change() const { return m_change; }
    [[nodiscard]] int id() const override { return m_series == Series::none ? -1 : static_cast<int>(m_series); }
    bool mergeWith(const QUndoCommand* next) override
    {
        const bool isAbsorbed = m_change.absorb(static_cast<const Step*>(next)->m_change); // of our kind, as its id is
        setObsolete(isAbsorbed && m_change.isNothing());
        return isAbsorbed;
    }

private:
    SegmentListEditor& m_editor;
    SegmentListChange m_change;
    const Series m_series;
};

void SegmentListEditor::replace(const SegmentList& list, const QString& stepName, Series series)
{
    SegmentList sharing = list; // equal detections are kept once, however often a video is parsed
    for (int i = 0; sharing.payload && i < m_history.count(); ++i)
        static_cast<const Step*>(m_history.command(i))->change().shareWith(*sharing.payload);
    push(stepName, SegmentListChange::replacement(m_list, sharing), series);
}

void SegmentListEditor::changeVideo(const FileURL& videoURL, Series series)
{
    SegmentList list = m_list;
    list.videoURL = videoURL;
    replace(list, u"选择视频"_s, series);
}

void SegmentListEditor::setEnabled(const QList<int>& rows, bool enabled)
{
    std::ignore = edit(enabled ? u"启用片段"_s : u"停用片段"_s, [&](SegmentList& list) {
        for (const int row : rows)
            list.segments[row].isEnabled = enabled;
        return std::nullopt;
    });
}

void SegmentListEditor::setAllEnabled(bool enabled)
{
    QList<int> rows(segments().size());
    std::iota(rows.begin(), rows.end(), 0);
    setEnabled(rows, enabled);
}

std::optional<QString> SegmentListEditor::retime(int row, SegmentEdge edge, const QString& text, Series series)
{
    SegmentList list = m_list;
    if (auto message = retimeSegment(list.segments[row], edge, text))
        return message;
    push(u"改时间"_s, SegmentListChange::between(m_list, list), series);
    return std::nullopt;
}

void SegmentListEditor::append()
{
    std::ignore = edit(u"追加行"_s, [](SegmentList& list) {
        list.segments.append(makeManualSegment(list.segments, list.payload));
        return std::nullopt;
    });
}

void SegmentListEditor::remove(int row)
{
    if (row < 0 || row >= segments().size() || !segments().at(row).isManual)
        return;
    std::ignore = edit(u"删除行"_s, [row](SegmentList& list) {
        list.segments.removeAt(row);
        return std::nullopt;
    });
}

std::optional<QString> SegmentListEditor::edit(const QString& stepName, const Edit& change)
{
    SegmentList list = m_list;
    if (auto message = change(list))
        return message;
    push(stepName, SegmentListChange::between(m_list, list));
    return std::nullopt;
}

void SegmentListEditor::undo()
{
    if (!m_history.canUndo())
        return;
    const QString name = m_history.undoText();
    m_history.undo();
    Q_EMIT undone(name);
}

void SegmentListEditor::redo()
{
    if (!m_history.canRedo())
        return;
    const QString name = m_history.redoText();
    m_history.redo();
    Q_EMIT redone(name);
}

void SegmentListEditor::push(const QString& stepName, const SegmentListChange& change, Series series)
{
    if (change.isNothing())
        return;
    m_history.push(new Step(*this, stepName, change, series)); // the history owns it
}

void SegmentListEditor::apply(const SegmentListChange& change)
{
    if (const auto* rows = change.rows()) {
        applyToRows(*rows);
        Q_EMIT edited();
        return;
    }
    const SegmentList next = change.replacingList();
    const bool isOtherVideoAlone = next.payload == m_list.payload && next.segments == m_list.segments;
    if (isOtherVideoAlone && next.videoURL) {
        m_list = next;
        Q_EMIT videoChanged();
        return;
    }
    Q_EMIT aboutToBeReplaced();
    m_list = next;
    Q_EMIT replaced();
}

void SegmentListEditor::applyToRows(const SegmentRowsChange& change)
{
    change.applyBesideRows(m_list);
    const QList<int>& rows = change.switchedRows;
    for (const int row : rows)
        m_list.segments[row].isEnabled = !m_list.segments[row].isEnabled;
    if (!rows.isEmpty())
        Q_EMIT fieldChanged(rows.first(), rows.last(), Field::enabled);
    for (const SegmentRowsChange::Stretch& stretch : change.stretches)
        applyStretch(stretch);
}

void SegmentListEditor::applyStretch(const SegmentRowsChange::Stretch& stretch)
{
    const int end = stretch.row + stretch.staying();
    for (int row = stretch.row; row < end; ++row)
        setRow(row, stretch.coming[row - stretch.row]);
    for (int row = stretch.row + static_cast<int>(stretch.going.size()) - 1; row >= end; --row) {
        Q_EMIT aboutToBeRemoved(row);
        m_list.segments.removeAt(row);
        Q_EMIT removed(row);
    }
    for (int row = end; row < stretch.row + stretch.coming.size(); ++row) {
        Q_EMIT aboutToBeInserted(row);
        m_list.segments.insert(row, stretch.coming[row - stretch.row]);
        Q_EMIT inserted(row);
    }
}

void SegmentListEditor::setRow(int row, const EditableSegment& segment)
{
    const EditableSegment before = std::exchange(m_list.segments[row], segment);
    if (before.isEnabled != segment.isEnabled)
        Q_EMIT fieldChanged(row, row, Field::enabled);
    if (before.start != segment.start)
        Q_EMIT fieldChanged(row, row, Field::start);
    if (before.end != segment.end)
        Q_EMIT fieldChanged(row, row, Field::end);
    if (before.index != segment.index || before.isManual != segment.isManual) // as if it were another row
        Q_EMIT fieldChanged(row, row, Field::enabled);
}
