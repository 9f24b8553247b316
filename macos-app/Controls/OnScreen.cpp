#include "Controls/OnScreen.h"

#include <QEvent>
#include <QScreen>
#include <QWidget>

#include <algorithm>

namespace {

/// What most systems put around a window that was not shown yet.
constexpr QMargins usualFrame(2, 32, 2, 4);

QMargins frameOf(const QWidget* window)
{
    const QRect inside = window->geometry();
    const QRect whole = window->frameGeometry();
    if (whole == inside && !window->windowFlags().testFlag(Qt::FramelessWindowHint))
        return usualFrame;
    return {inside.left() - whole.left(), inside.top() - whole.top(), whole.right() - inside.right(),
            whole.bottom() - inside.bottom()};
}

void fit(QWidget* window)
{
    if (window->isMaximized() || window->isFullScreen())
        return;
    const QMargins frame = frameOf(window);
    const QRect available = window->screen()->availableGeometry();
    const QRect room = available.marginsRemoved(frame);
    window->setMinimumSize(window->minimumSize().boundedTo(room.size()));
    if (const QSize size = window->size().boundedTo(room.size()); size != window->size())
        window->resize(size);
    const QSize whole = window->size().grownBy(frame);
    const QPoint place(std::max(available.left(), std::min(window->x(), available.right() + 1 - whole.width())),
                       std::max(available.top(), std::min(window->y(), available.bottom() + 1 - whole.height())));
    if (place != window->pos())
        window->move(place);
}

/// By the first painting the system has put its frame around the window.
class FirstPainting final : public QObject
{
public:
    explicit FirstPainting(QWidget* window)
        : QObject(window)
        , m_window(window)
    {
        window->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) {
            watched->removeEventFilter(this);
            QMetaObject::invokeMethod(this, &FirstPainting::fitAgain, Qt::QueuedConnection);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    void fitAgain()
    {
        fit(m_window);
        deleteLater();
    }

    QWidget* m_window;
};

} // namespace

void keepOnScreen(QWidget* window)
{
    fit(window);
    new FirstPainting(window);
}
