#pragma once

#include "Services/DetectorService.h"

#include <QObject>

/// The window's detections on their way. Any number may run at once, because a detector cannot be called back; only
/// the newest one that is still wanted reports anything but its end.
class DetectionRequests final : public QObject
{
public:
    using QObject::QObject;

    /// The newest line of the wanted request. Lines that come faster than they could be shown are left out.
    std::function<void(const QString& line)> onProgress;
    /// The result of the wanted request, after `onEnd`.
    std::function<void(const DetectionRequest& request, const DetectionResult& result)> onResult;
    /// Some request has ended, wanted or not.
    std::function<void()> onEnd;

    /// From now on this request is the wanted one.
    void start(const DetectorService& service, const DetectionRequest& request);
    /// Whatever runs is no longer wanted.
    void forget() { m_wanted = 0; }
    /// Whether any detector still runs, wanted or not.
    [[nodiscard]] bool areRunning() const { return m_running > 0; }

private:
    void finish(quint64 number, const DetectionRequest& request, const DetectionResult& result);

    quint64 m_latest = 0;
    quint64 m_wanted = 0; ///< 0: none
    int m_running = 0;
};
