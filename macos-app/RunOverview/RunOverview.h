#pragma once

#include "Jobs/RemainingTime.h"
#include "RunOverview/JobTableModel.h"
#include "RunOverview/SleepInhibitor.h"
#include "RunOverview/TaskbarProgress.h"
#include "SplitCoordinator/SplitJobObserver.h"

#include <QElapsedTimer>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

class RunOverviewWindow;
class SplitCoordinator;

/// Shows how a split goes, job by job, and lets the user stop jobs, and run failed ones again once all have ended.
class RunOverview final : public SplitJobObserver
{
    Q_OBJECT

public:
    RunOverview();
    ~RunOverview() override;

    /// Asked to run the jobs of these rows again: the receiver makes a coordinator for exactly these, in this order,
    /// and has it watched again.
    std::function<void(const QList<int>& rows)> onRetry;

    [[nodiscard]] QList<FFmpegJob> jobs(const QList<int>& rows) const;

    /// Fills the window with new rows for a split that is about to start; `lanes` jobs run at a time.
    void watch(const QList<FFmpegJob>& jobs, int lanes, const std::shared_ptr<SplitCoordinator>& coordinator);
    /// The same for the jobs of these rows. The other rows stay as they were.
    void watchAgain(const QList<int>& rows, int lanes, const std::shared_ptr<SplitCoordinator>& coordinator);
    /// The coordinator has sent its last report.
    void splitDidFinish();
    void stopAll();
    /// Brings the window to the front without taking the focus from anybody.
    void present();
    /// Whether any job of the last split failed otherwise than by being stopped here.
    [[nodiscard]] bool hasFailures() const;
    /// Whether `onRetry` may be called at present; at first it may.
    void setMayRetry(bool mayRetry);

    [[nodiscard]] RunOverviewWindow* window() const { return m_window.get(); }

    void jobDidLaunch(int job, QWidget* log) override;
    void jobDidProgress(int job, const FFmpegReport& report) override;
    void jobDidEnd(int job, const JobEnd& end) override;

private:
    void connectActions();
    void update();
    void updateTotal();
    void updateActions();
    void stopSelected();
    void retry();
    void openClip();
    void reveal();
    void showLog();
    void closeIdleLogs();
    void showWindow();
    void copyCommands();
    void stop(const QList<int>& rows);
    void followRunningRows();
    [[nodiscard]] QList<int> rowsToRetry() const;
    [[nodiscard]] bool isBusy(const QWidget* log) const;
    [[nodiscard]] QString timeLeft();
    [[nodiscard]] bool isRunning() const { return m_updateTimer.isActive(); }
    [[nodiscard]] double now() const { return static_cast<double>(m_clock.elapsed()) / 1000; }

    JobTableModel m_model;
    std::unique_ptr<RunOverviewWindow> m_window;
    std::weak_ptr<SplitCoordinator> m_coordinator;
    QList<int> m_rowOfJob;           ///< ascending
    QList<QPointer<QWidget>> m_logs; ///< of all splits so far, whether anybody has closed them or not
    std::optional<RemainingTime> m_remainingTime;
    QElapsedTimer m_clock;
    QTimer m_updateTimer;
    bool m_mayRetry = true;
    TaskbarProgress m_taskbarProgress;
    std::unique_ptr<SleepInhibitor> m_sleepInhibitor;
};
