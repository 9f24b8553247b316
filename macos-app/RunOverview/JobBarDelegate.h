#pragma once

#include <QStyledItemDelegate>

/// Paints how much of a clip is written as a bar with its percentage beside it.
class JobBarDelegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};
