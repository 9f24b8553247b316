#pragma once

#include "Controls/Appearance.h"

#include <QStyledItemDelegate>

/// Cells in the font of fixed pitch. The table keeps its own font, which its header inherits.
class MonospacedDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        const bool isStruckOut = option->font.strikeOut();
        option->font = m_font;
        option->font.setStrikeOut(isStruckOut);
        option->fontMetrics = m_fontMetrics;
    }

private:
    const QFont m_font = monospacedFont();
    const QFontMetrics m_fontMetrics{m_font};
};
