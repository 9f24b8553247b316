#pragma once

#include "Models/FFmpegJob.h"

#include <QObject>
#include <QWidget>

#include <memory>

class LogView;
class QLabel;

/// One worker's window: what it is doing, and the log of everything that ran on it. Closing it by hand only hides it.
/// A window that is open when its controller goes stays open for reading until the user closes it.
class WorkerWindowController final : public QObject
{
public:
    /// `workerIndex` counts from 1. The window is not shown yet.
    WorkerWindowController(int workerIndex, int totalWorkers);
    ~WorkerWindowController() override;

    /// Shows the window in front of all others.
    void prepareForDisplay();
    void setIdle(const QString& detail = QStringLiteral("等待分配任务"));
    /// `position` counts from 1 among the `total` jobs of the run. The log goes on with the job's command line.
    void setRunning(const FFmpegJob& job, int position, int total);
    void setFinished(bool success, const QString& detail);
    /// Adds exactly this text to the log and scrolls to its end. What comes in a flood is shown later.
    void appendLog(const QString& text);

    [[nodiscard]] QWidget* window() const { return m_window.get(); }

private:
    void buildWindow(int workerIndex, int totalWorkers);

    std::unique_ptr<QWidget> m_window;
    QLabel* m_statusLabel = nullptr;
    QLabel* m_detailLabel = nullptr;
    LogView* m_textView = nullptr;
};
