#pragma once

#include "MainWindowController/MonospacedDelegate.h"

#include <optional>

class QTableView;

/// Paints the cells of the segment table (check box, time field, tint of manual rows, "✕") and opens a
/// SegmentTimeField over the one time that is being edited.
class SegmentTableDelegate final : public MonospacedDelegate
{
    Q_OBJECT

public:
    explicit SegmentTableDelegate(QTableView* table);

    /// Whether it is a cell in which a click on the "✕" deletes the row.
    static bool hasDeleteMark(const QModelIndex& index);
    /// The place of the "✕" in an end cell, as high as the cell.
    static QRect deleteRect(const QRect& cell);

    /// The row whose "✕" is shown if it is a manual one.
    void setHoveredRow(std::optional<int> row);
    void toggleSelectedRows();
    /// Asks for the end of the current row if it is a manual one.
    void deleteCurrentRow();

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    /// The user clicked on the "✕" of that manual row, or pressed Delete there.
    void deleteRequested(int row);

private:
    QTableView* m_table;
    std::optional<int> m_hoveredRow;
    mutable bool m_lastCommitWasRefused = false;
    bool m_deletePressed = false;
    bool m_clickOpensField = false;
};
