#pragma once

#include "MainWindowController/AlertQueue.h"
#include "MainWindowController/DetectionRequests.h"
#include "MainWindowController/EditReapplication.h"
#include "MainWindowController/EditRecovery.h"
#include "MainWindowController/ListActions.h"
#include "MainWindowController/ListDocuments.h"
#include "MainWindowController/OutputFields.h"
#include "MainWindowController/ReviewConnection.h"
#include "MainWindowController/RunningSplit.h"
#include "MainWindowController/SegmentPanel.h"
#include "MainWindowController/ViewerConnection.h"
#include "Models/FFmpegJob.h"
#include "Models/SegmentList.h"

#include <memory>
#include <optional>

class MainWindow;

/// The workflow of the one main window: reads and validates its fields, runs detections, keeps the jobs in step with
/// every edit, and starts the split. The rules themselves are functions over values in Models.
class MainWindowController final : public QObject
{
    Q_OBJECT
public:
    MainWindowController();
    ~MainWindowController() override;

    [[nodiscard]] MainWindow* window() const { return m_window.get(); }

    [[nodiscard]] RunningSplit& split() { return m_split; }

    /// What the file manager opens with this program: as if it were dropped on its field. The window comes to the
    /// front.
    void openVideo(const FileURL& url);

private:
    void connectInputs();
    void connectFadeStrategies();
    void connectTables();

    void selectVideo();
    void applyVideoURL(const FileURL& url);
    void videoPathEdited();
    void fadePaddingEdited();
    void fadeStrategyChosen();

    void parseVideo();
    void parse(SegmentListEditor::Series series);
    void showResult(const DetectionRequest& request, const DetectionResult& result);
    void showPayload(const DetectionRequest& request, const DetectorPayload& payload);
    void clearDetectionResults(const QString& stepName, const std::optional<FileURL>& videoURL,
                               SegmentListEditor::Series series = SegmentListEditor::Series::none);

    void splitVideo();

    void connectHistory();
    void connectDocuments();
    void showVideoOfList();
    void segmentListReplaced();
    void jobInputEdited();
    void refreshGeneratedJobs();

    void updateButtons();
    void showStatus(const QString& text);
    void showHint(const QString& text);
    void showError(const QString& message);

    [[nodiscard]] const SegmentList& list() const;
    [[nodiscard]] FadeRemovalStrategy currentFadeRemovalStrategy() const;
    [[nodiscard]] DetectionRequest currentDetectionRequest() const;
    [[nodiscard]] int currentConcurrency();
    [[nodiscard]] std::optional<QString> validateInputs() const;
    [[nodiscard]] ViewerContent viewerContent() const;

    std::unique_ptr<MainWindow> m_window;
    OutputFields m_output;
    SegmentPanel m_segmentPanel;
    ViewerConnection m_viewer;
    ReviewConnection m_review;
    ListActions m_listActions;
    EditReapplication m_editReapplication;
    EditRecovery m_editRecovery;
    ListDocuments m_listDocuments;
    AlertQueue m_alerts;
    DetectionRequests m_detections;
    RunningSplit m_split;

    QList<FFmpegJob> m_generatedJobs;
    SegmentListEditor::Series m_parseSeries = SegmentListEditor::Series::none; ///< of the newest parse
    QString m_hint; ///< for the status line, once its fixed sentence has been read
    QTimer m_hintTimer;
};
