#pragma once

#include <QItemSelectionModel>
#include <QScrollArea>
#include <QScrollBar>
#include <QTableView>

/// Holds a form that may be larger than its window. It scrolls to where the user goes by Tab or, in a table, by other
/// keys, but not to where the focus flees from a button that was disabled.
class FormScrollArea final : public QScrollArea
{
public:
    FormScrollArea()
    {
        setFrameShape(QFrame::NoFrame);
        setWidgetResizable(true);
        setFocusPolicy(Qt::NoFocus); // it follows the focus
    }

    /// The table lies in the form and has its model; it may be higher than what is seen of the form.
    void followRows(const QTableView* table)
    {
        connect(table->selectionModel(), &QItemSelectionModel::currentRowChanged, this, [this, table] {
            const QRect row = table->visualRect(table->currentIndex());
            const int y = table->viewport()->mapTo(widget(), row.center()).y();
            if (table->hasFocus())
                ensureVisible(horizontalScrollBar()->value(), y, 0, row.height());
        });
    }

protected:
    bool focusNextPrevChild(bool next) override
    {
        const QWidget* left = focusWidget();
        return left && !left->isEnabled() ? QWidget::focusNextPrevChild(next) : QScrollArea::focusNextPrevChild(next);
    }
};
