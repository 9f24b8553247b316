#include "MainWindowController/DetectionRequests.h"

#include <QCoreApplication>
#include <QMutex>
#include <QPointer>
#include <QTimer>

#include <memory>

namespace {

/// How long lines are collected of which only the newest is shown.
constexpr int collectedMilliseconds = 20;

/// Holds the newest line until the main thread comes to fetch it, so that a detector that floods its standard error
/// neither fills the event queue nor keeps the window busy.
class LatestLine final
{
public:
    /// True when the line must be announced, false when an earlier announcement is still on its way.
    [[nodiscard]] bool put(const QString& line)
    {
        const QMutexLocker locker(&m_mutex);
        const bool isFirst = m_line.isNull();
        m_line = line;
        return isFirst;
    }
    [[nodiscard]] QString take()
    {
        const QMutexLocker locker(&m_mutex);
        return std::exchange(m_line, QString());
    }

private:
    QMutex m_mutex;
    QString m_line;
};

void callOnMainThread(const std::function<void()>& function)
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), function, Qt::QueuedConnection);
}

} // namespace

void DetectionRequests::start(const DetectorService& service, const DetectionRequest& request)
{
    const QPointer<DetectionRequests> self(this);
    const quint64 number = ++m_latest;
    const auto latestLine = std::make_shared<LatestLine>();
    const auto progress = [self, number, latestLine](const QString& line) {
        if (!latestLine->put(line))
            return;
        callOnMainThread([self, number, latestLine] {
            QTimer::singleShot(collectedMilliseconds, [self, number, latestLine] {
                const QString newest = latestLine->take();
                if (self && self->m_wanted == number)
                    self->onProgress(newest);
            });
        });
    };
    const auto completion = [self, number, request](const DetectionResult& result) {
        callOnMainThread([self, number, request, result] {
            if (self)
                self->finish(number, request, result);
        });
    };
    const auto cancellation = std::make_shared<std::atomic<bool>>(false);
    service.detect(request, progress, completion, cancellation);
    forget();
    m_wanted = number;
    m_cancellation = cancellation;
    ++m_running;
}

void DetectionRequests::forget()
{
    m_wanted = 0;
    if (m_cancellation)
        *m_cancellation = true;
}

void DetectionRequests::finish(quint64 number, const DetectionRequest& request, const DetectionResult& result)
{
    const bool isWanted = m_wanted == number;
    if (isWanted)
        m_wanted = 0;
    --m_running;
    onEnd();
    if (isWanted)
        onResult(request, result);
}
