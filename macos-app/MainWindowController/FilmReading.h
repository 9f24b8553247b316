#pragma once

#include "Frames/FilmScan.h"

#include <QDateTime>
#include <QPointer>
#include <QTimer>

class QProgressDialog;

/// Has a video read for one who waits for it, the newest alone. What takes long is shown in a small window that does
/// not stand in the way and can end it. What was read last is kept.
class FilmReading final : public QObject
{
public:
    /// With the film, or without one and with the reason; both are missing when the user has ended it.
    using Completion = std::function<void(const std::optional<FilmTimes>& film, const QString& failure)>;

    explicit FilmReading(QWidget& window);
    ~FilmReading() override;

    /// Called when a reading of all frames begins, with words for the status line.
    std::function<void(const QString& status)> onBegin;

    /// Calls `completion` later, or never when another reading begins before.
    void read(const FileURL& video, FilmScan::Extent extent, const Completion& completion);

private:
    struct State
    {
        FileURL video;
        qint64 size = 0;
        QDateTime changed;

        friend bool operator==(const State&, const State&) = default;
    };

    void showProgress();
    void finish(const std::optional<FilmTimes>& film, const QString& failure);
    [[nodiscard]] static State stateOf(const FileURL& video);

    QWidget& m_window;
    std::unique_ptr<FilmScan> m_scan;
    Completion m_completion;
    int m_number = 0; ///< of the newest reading
    QPointer<QProgressDialog> m_progress;
    QTimer m_timer;
    State m_state; ///< of the video that is or was read
    std::optional<FilmTimes> m_film;
};
