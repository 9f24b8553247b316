#pragma once

#include "Models/FFmpegJob.h"

#include <QObject>
#include <QWidget>

#include <memory>

class QLabel;
class QPlainTextEdit;

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
    void setIdle(const QString& detail = defaultIdleDetail());
    /// `position` counts from 1 among the `total` jobs of the run. The log goes on with the job's command line.
    void setRunning(const FFmpegJob& job, int position, int total);
    void setFinished(bool success, const QString& detail);
    /// Adds exactly this text to the log's end and scrolls there; the user's selection stays. Nothing is ever dropped.
    void appendLog(const QString& text);

    [[nodiscard]] QWidget* window() const { return m_window.get(); }

private:
    [[nodiscard]] static QString defaultIdleDetail();
    void buildWindow(int workerIndex, int totalWorkers);
    void buildLog();

    std::unique_ptr<QWidget> m_window;
    QLabel* m_statusLabel = nullptr;
    QLabel* m_detailLabel = nullptr;
    QPlainTextEdit* m_textView = nullptr;
};
