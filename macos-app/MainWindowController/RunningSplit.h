#pragma once

#include "Models/FFmpegJob.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <functional>
#include <memory>
#include <optional>

class RunOverview;

/// The one split that may run at a time, with the overview that shows it, from which jobs are stopped and retried.
/// Decides when a split may start. Its texts are the main window's.
class RunningSplit final : public SplitCoordinatorDelegate
{
    Q_OBJECT
public:
    /// `concurrency` tells how many jobs are to run at a time; it is asked at every start.
    explicit RunningSplit(std::function<int()> concurrency);
    ~RunningSplit() override;

    [[nodiscard]] bool isRunning() const { return m_coordinator != nullptr; }
    /// Neither a split nor a parse runs.
    [[nodiscard]] bool mayStart() const { return !isRunning() && !m_isParsing; }
    /// The clips that this window has written.
    [[nodiscard]] const WrittenClips& writtenClips() const { return *m_writtenClips; }
    /// How many jobs of the running split have not ended; 0 without one.
    [[nodiscard]] int unfinishedJobs() const;

    void setParsing(bool isParsing);
    /// Reports why it cannot be started. Nothing happens when none may start.
    void start(const QList<FFmpegJob>& jobs, const std::optional<FileURL>& outputDirectory);
    /// Stops every job as an orderly quit does: no failure is reported any more. `ended` tells when all of it is over.
    void stopForQuitting();

    void splitCoordinatorDidStart(int totalJobs, int workerCount) override;
    void splitCoordinatorDidUpdate(int completed, int failed, int total) override;
    void splitCoordinatorDidFinish(int completed, int failedJobs, int total) override;

Q_SIGNALS:
    /// `isRunning()` is another.
    void runningChanged();
    void statusChanged(const QString& text);
    void failed(const QString& message);
    /// After everything else that is told about a split which started.
    void ended();

private:
    void retry(const QList<int>& rows);
    void tryToStart(const QList<FFmpegJob>& jobs, const std::optional<FileURL>& outputDirectory,
                    const QList<int>& retriedRows);
    void run(const QList<FFmpegJob>& jobs, const RuntimeConfiguration& runtime, const QList<int>& retriedRows);
    void end();

    const std::function<int()> m_concurrency;
    const std::unique_ptr<RunOverview> m_overview;
    const std::shared_ptr<WrittenClips> m_writtenClips;
    std::shared_ptr<SplitCoordinator> m_coordinator; ///< present exactly while a split runs
    bool m_isParsing = false;
    bool m_isQuitting = false;
};
