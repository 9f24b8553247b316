#pragma once

#include "MainWindowController/SegmentListEditor.h"

#include <QAbstractTableModel>

#include <functional>

/// The segments that the user edits, one a row, in display order.
class SegmentTableModel final : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column {
        enabledColumn, ///< CheckStateRole alone
        startColumn,
        endColumn,
        columns
    };
    static constexpr int isManualRole = Qt::UserRole; ///< bool, the same in every column

    /// Shows and edits that list, which lives longer. Another list is other data: the selection and an open editor are
    /// lost then.
    SegmentTableModel(SegmentListEditor* list, QObject* parent);

    /// What there is to tell about a row where the pointer rests.
    std::function<QString(int row)> rowToolTip;

    /// Disables the rows of these cells when all of them are enabled, else enables them.
    void toggle(const QModelIndexList& cells);

    [[nodiscard]] int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    /// CheckStateRole enables or disables the row. EditRole on a time is what committing that typed text is: nothing
    /// when the text is the one shown, a refusal when it is no time or would turn the segment round.
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

Q_SIGNALS:
    /// Once for each refused commit. The segment, and a field that edits it, are as they were.
    void editRefused(const QString& message);

private:
    bool retime(const QModelIndex& index, const QString& text);

    SegmentListEditor* m_list;
};
