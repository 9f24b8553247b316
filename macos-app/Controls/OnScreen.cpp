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
    // By what is inside the frame: a place that counts the frame would be asked of the system in another way from then
    // on.
    const QPoint place(std::max(room.left(), std::min(window->geometry().left(), room.right() + 1 - window->width())),
                       std::max(room.top(), std::min(window->geometry().top(), room.bottom() + 1 - window->height())));
    if (place != window->geometry().topLeft())
        window->setGeometry(QRect(place, window->size()));
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
