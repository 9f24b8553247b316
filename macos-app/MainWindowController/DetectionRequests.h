#pragma once

#include "Services/DetectorService.h"

#include <QObject>

/// The window's detections on their way. Only the newest one that is still wanted reports anything but its end; the
/// detectors of the others are ended, which takes a moment.
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
    void forget();
    /// Whether any detector still runs, wanted or not.
    [[nodiscard]] bool areRunning() const { return m_running > 0; }

private:
    void finish(quint64 number, const DetectionRequest& request, const DetectionResult& result);

    quint64 m_latest = 0;
    quint64 m_wanted = 0;                              ///< 0: none
    std::shared_ptr<std::atomic<bool>> m_cancellation; ///< of the wanted one
    int m_running = 0;
};
