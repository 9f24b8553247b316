#include "MainWindowController/SegmentPanel.h"

#include "Controls/HoverAwareTableRowView.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentTableDelegate.h"
#include "MainWindowController/SegmentTableModel.h"

#include <QCheckBox>
#include <QPushButton>
#include <QSet>
#include <QTableView>

namespace {

QList<int> rowsWithIndices(const QList<EditableSegment>& segments, const QList<qint64>& indices)
{
    const QSet<qint64> wanted(indices.begin(), indices.end());
    QList<int> rows;
    for (int row = 0; row < segments.size(); ++row) {
        if (wanted.contains(segments.at(row).index))
            rows.append(row);
    }
    return rows;
}

/// Selects exactly these rows, given in ascending order. Neighbours go in together.
void selectRows(QTableView* table, const QList<int>& rows)
{
    QItemSelection selection;
    for (auto first = rows.begin(); first != rows.end();) {
        auto last = first;
        while (last + 1 != rows.end() && *(last + 1) == *last + 1)
            ++last;
        selection.select(table->model()->index(*first, 0), table->model()->index(*last, 0));
        first = last + 1;
    }
    table->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

} // namespace

SegmentPanel::SegmentPanel(MainWindow& window)
    : m_window(window)
{
    connect(window.eventTableView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { selectRelatedRows(true); });
    connect(window.segmentList, &SegmentListEditor::replaced, this, &SegmentPanel::forgetHoveredRow);
    connect(window.segmentTableDelegate, &SegmentTableDelegate::deleteRequested, this, &SegmentPanel::deleteRow);
    connect(window.segmentMasterCheckbox, &QAbstractButton::clicked, this, &SegmentPanel::setAllEnabled);
    connect(window.addSegmentButton, &QAbstractButton::clicked, this, &SegmentPanel::appendRow);
    window.segmentRowHover->hoverChanged = [this](int row, bool entered) { rowHovered(row, entered); };
    updateMasterCheckbox();
}

void SegmentPanel::updateMasterCheckbox()
{
    const MasterState state = masterState(m_window.segmentList->segments());
    m_window.segmentMasterCheckbox->setEnabled(state != MasterState::unavailable);
    m_window.segmentMasterCheckbox->setCheckState(state == MasterState::on      ? Qt::Checked
                                                  : state == MasterState::mixed ? Qt::PartiallyChecked
                                                                                : Qt::Unchecked);
}

void SegmentPanel::selectRelatedRows(bool scrollThere)
{
    const QModelIndexList selectedEvents = m_window.eventTableView->selectionModel()->selectedRows();
    const SegmentList& list = m_window.segmentList->list();
    QList<int> rows;
    if (list.payload && !selectedEvents.isEmpty() && selectedEvents.first().row() < list.payload->events.size()) {
        const TransitionEvent& event = list.payload->events.at(selectedEvents.first().row());
        rows = rowsWithIndices(list.segments, relatedKeepSegmentIndices(event, list.payload->keepSegments));
    }
    selectRows(m_window.segmentTableView, rows);
    if (scrollThere && !rows.isEmpty())
        m_window.segmentTableView->scrollTo(m_window.segmentTableModel->index(rows.first(), 0));
}

void SegmentPanel::setAllEnabled()
{
    m_window.segmentList->setAllEnabled(m_window.segmentMasterCheckbox->checkState() != Qt::Unchecked);
    updateMasterCheckbox(); // the click may have changed nothing but the box
}

void SegmentPanel::appendRow()
{
    m_window.segmentList->append();
    const int lastRow = m_window.segmentTableModel->rowCount() - 1;
    m_window.segmentTableView->scrollTo(m_window.segmentTableModel->index(lastRow, 0));
    m_window.segmentTableView->selectRow(lastRow);
}

void SegmentPanel::deleteRow(int row)
{
    forgetHoveredRow();
    m_window.segmentList->remove(row);
}

void SegmentPanel::rowHovered(int row, bool entered)
{
    if (entered)
        m_hoveredRow = row;
    else if (m_hoveredRow == row)
        m_hoveredRow.reset();
    m_window.segmentTableDelegate->setHoveredRow(m_hoveredRow);
}

void SegmentPanel::forgetHoveredRow()
{
    m_hoveredRow.reset();
    m_window.segmentTableDelegate->setHoveredRow(std::nullopt);
}
