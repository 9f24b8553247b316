#include "Controls/SharedActions.h"

#include <QAction>
#include <QApplication>
#include <QEvent>
#include <QWidget>

namespace {

class ActionSharing final : public QObject
{
public:
    explicit ActionSharing(QAction* action)
        : QObject(action)
        , m_action(action)
    {
        qApp->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && watched->isWidgetType()) {
            auto* widget = static_cast<QWidget*>(watched);
            if (widget->windowType() == Qt::Window)
                widget->addAction(m_action);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    QAction* m_action;
};

} // namespace

void shareWithEveryWindow(QAction* action)
{
    action->setShortcutContext(Qt::ApplicationShortcut);
    new ActionSharing(action);
}
