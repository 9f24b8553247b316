#pragma once

#include "MainWindowController/AlertQueue.h"
#include "MainWindowController/DetectionRequests.h"
#include "MainWindowController/ViewerConnection.h"
#include "Models/FFmpegJob.h"
#include "Models/SegmentList.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <functional>
#include <memory>
#include <optional>

class MainWindow;
class RunOverview;

/// The workflow of the one main window: reads and validates its fields, runs detections, keeps the jobs in step with
/// every edit, and runs the split. The rules themselves are functions over values in Models.
class MainWindowController final : public SplitCoordinatorDelegate
{
    Q_OBJECT
public:
    MainWindowController();
    ~MainWindowController() override;

    [[nodiscard]] MainWindow* window() const { return m_window.get(); }

    [[nodiscard]] bool splitIsRunning() const { return m_splitCoordinator != nullptr; }
    /// How many jobs of the running split have not ended; 0 without one.
    [[nodiscard]] int unfinishedJobs() const;
    /// Ends the running split as an orderly quit does: no alert follows. `splitEnded` tells when all of it is over.
    void stopSplit();

    void splitCoordinatorDidStart(int totalJobs, int workerCount) override;
    void splitCoordinatorDidUpdate(int completed, int failed, int total) override;
    void splitCoordinatorDidFinish(int completed, int failed, int total) override;

Q_SIGNALS:
    void splitEnded();

private:
    void connectInputs();
    void connectFadeStrategies();
    void connectTables();

    void selectVideo();
    void selectOutputDirectory();
    void applyVideoURL(const FileURL& url);
    void applyOutputDirectoryURL(const FileURL& url, bool manual);
    void resetOutputDirectory();
    void videoPathEdited();
    void outputDirectoryEdited();
    void fadePaddingEdited();
    void fadeStrategyChosen();
    void concurrencyEdited();

    void parseVideo();
    void showResult(const DetectionRequest& request, const DetectionResult& result);
    void showPayload(const DetectionRequest& request, const DetectorPayload& payload);
    void clearDetectionResults(const std::optional<FileURL>& videoURL);

    void splitVideo();
    /// Does what starts a split and shows why it could not.
    void tryToStart(const std::function<void()>& start);
    void startSplit();
    void runAgain(const QList<FFmpegJob>& jobs);
    void run(const QList<FFmpegJob>& jobs, const RuntimeConfiguration& runtime);

    void segmentListReplaced();
    void jobInputEdited();
    void refreshGeneratedJobs();
    void setAllSegmentsEnabled();
    void addSegmentRow();
    void deleteManualSegmentRow(int row);
    void segmentRowHovered(int row, bool entered);
    void forgetHoveredSegmentRow();
    void highlightRelatedSegments(bool scrollThere);

    void updateNamingPreview();
    void updateSegmentMasterCheckbox();
    void updateButtons();
    void showStatus(const QString& text);
    void showError(const QString& message);

    [[nodiscard]] const SegmentList& list() const;
    [[nodiscard]] std::optional<FileURL> resolvedOutputDirectoryURL() const;
    [[nodiscard]] bool followsVideoDirectory() const;
    [[nodiscard]] FadeRemovalStrategy currentFadeRemovalStrategy() const;
    [[nodiscard]] DetectionRequest currentDetectionRequest() const;
    [[nodiscard]] int currentConcurrency();
    [[nodiscard]] std::optional<QString> validateInputs() const;
    [[nodiscard]] ViewerContent viewerContent() const;

    std::unique_ptr<MainWindow> m_window;
    ViewerConnection m_viewer;
    AlertQueue m_alerts;
    DetectionRequests m_detections;

    std::optional<FileURL> m_selectedOutputDirectoryURL;
    bool m_outputDirectoryWasChosenManually = false;
    QList<FFmpegJob> m_generatedJobs;
    std::shared_ptr<SplitCoordinator> m_splitCoordinator; ///< present exactly while a split runs
    std::optional<int> m_hoveredSegmentRow;
    bool m_isStoppingSplit = false;
    std::unique_ptr<RunOverview> m_runOverview;
};
