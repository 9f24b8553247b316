#pragma once

#include "Review/ReviewLayout.h"

#include <QStyledItemDelegate>

class ReviewPictures;

/// Paints a whole row: what is known of the transition in a line, and its pictures below.
class ReviewDelegate final : public QStyledItemDelegate
{
public:
    ReviewDelegate(ReviewPictures& pictures, QObject* parent);

    /// Two lines of pictures instead of one.
    void setLarge(bool isLarge) { m_isLarge = isLarge; }
    [[nodiscard]] bool isLarge() const { return m_isLarge; }
    [[nodiscard]] ReviewLayout layoutFor(const QFontMetrics& metrics) const;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    void paintText(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
    void paintPictures(QPainter& painter, const QStyleOptionViewItem& option, int event) const;

    ReviewPictures& m_pictures;
    bool m_isLarge = false;
};
