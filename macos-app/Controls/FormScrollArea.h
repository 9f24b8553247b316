#pragma once

#include <QScrollArea>

/// Holds a form that may be larger than its window. It scrolls to where the user goes by Tab, but not to where the
/// focus flees from a button that was disabled.
class FormScrollArea final : public QScrollArea
{
public:
    FormScrollArea()
    {
        setFrameShape(QFrame::NoFrame);
        setWidgetResizable(true);
        setFocusPolicy(Qt::NoFocus); // it follows the focus
    }

protected:
    bool focusNextPrevChild(bool next) override
    {
        const QWidget* left = focusWidget();
        return left && !left->isEnabled() ? QWidget::focusNextPrevChild(next) : QScrollArea::focusNextPrevChild(next);
    }
};
