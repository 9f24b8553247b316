#include "RunOverview/RunOverview.h"

#include "Models/NumberText.h"
#include "RunOverview/FileRevealing.h"
#include "RunOverview/RunOverviewWindow.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QAction>
#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QLabel>
#include <QProgressBar>
#include <QTableView>
#include <QThread>
#include <QUrl>

#include <algorithm>
#include <cmath>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

constexpr int updateMilliseconds = 500; ///< as often as ffmpeg reports
/// Below it the time left is told in words: one clip that takes a second longer would make any number wrong.
constexpr double leastNumberedSeconds = 15;
constexpr double longestShownSeconds = 1000 * 3600 - 1;

/// "5:09", "1:05:09". An estimate may be of any size.
QString clockText(double seconds)
{
    const auto whole = static_cast<qint64>(std::min(clampedToZero(seconds), longestShownSeconds));
    const auto twoDigits = [](qint64 number) { return formatZeroFilled(number, 2); };
    const QString minutesAndSeconds = twoDigits(whole % 60);
    if (whole < 3600)
        return u"%1:%2"_s.arg(whole / 60).arg(minutesAndSeconds);
    return u"%1:%2:%3"_s.arg(QString::number(whole / 3600), twoDigits(whole / 60 % 60), minutesAndSeconds);
}

void setTextIfDifferent(QLabel* label, const QString& text)
{
    if (label->text() != text)
        label->setText(text);
}

void bringToUser(QWidget* window)
{
    window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    window->show();
    window->raise();
    window->activateWindow();
}

QString timeLeftText(std::optional<double> seconds)
{
    if (!seconds)
        return u"正在估计剩余时间…"_s;
    const double whole = std::round(*seconds);
    return whole < leastNumberedSeconds ? u"剩余不到 15 秒"_s : u"剩余约 "_s + clockText(whole);
}

} // namespace

RunOverview::RunOverview()
    : m_window(std::make_unique<RunOverviewWindow>(&m_model))
{
    m_updateTimer.setInterval(updateMilliseconds);
    connect(&m_updateTimer, &QTimer::timeout, this, &RunOverview::update);
    connectActions();
}

RunOverview::~RunOverview() = default;

void RunOverview::connectActions()
{
    connect(m_window->stopSelectedAction, &QAction::triggered, this, &RunOverview::stopSelected);
    connect(m_window->stopAllAction, &QAction::triggered, this, &RunOverview::stopAll);
    connect(m_window->retryAction, &QAction::triggered, this, &RunOverview::retry);
    connect(m_window->openAction, &QAction::triggered, this, &RunOverview::openClip);
    connect(m_window->showLogAction, &QAction::triggered, this, &RunOverview::showLog);
    connect(m_window->closeIdleLogsAction, &QAction::triggered, this, &RunOverview::closeIdleLogs);
    connect(m_window->revealAction, &QAction::triggered, this, &RunOverview::reveal);
    connect(m_window->showAction, &QAction::triggered, this, &RunOverview::showWindow);
    connect(m_window->copyCommandAction, &QAction::triggered, this, &RunOverview::copyCommands);
    connect(m_window->jobTableView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &RunOverview::updateActions);
}

QList<FFmpegJob> RunOverview::jobs(const QList<int>& rows) const
{
    QList<FFmpegJob> jobs;
    for (const int row : rows)
        jobs.append(m_model.rows().at(row).job);
    return jobs;
}

void RunOverview::watch(const QList<FFmpegJob>& jobs, int lanes, const std::shared_ptr<SplitCoordinator>& coordinator)
{
    m_model.setJobs(jobs);
    QList<int> rows(jobs.size());
    std::iota(rows.begin(), rows.end(), 0);
    watchAgain(rows, lanes, coordinator);
}

void RunOverview::watchAgain(const QList<int>& rows, int lanes, const std::shared_ptr<SplitCoordinator>& coordinator)
{
    m_rowOfJob = rows;
    QList<double> durations;
    for (const int row : rows) {
        m_model.setWaiting(row);
        durations.append(m_model.rows().at(row).job.duration);
    }
    m_remainingTime.emplace(durations, lanes, QThread::idealThreadCount());
    m_coordinator = coordinator;
    coordinator->observer = this;
    m_clock.start();
    m_updateTimer.start();
    m_sleepInhibitor = std::make_unique<SleepInhibitor>();
    for (QWidget* log : coordinator->logs()) {
        m_logs.append(log);
        connect(log, &QObject::destroyed, this, &RunOverview::updateActions);
    }
    m_window->showAction->setEnabled(true);
    m_window->startFollowing();
    update();
}

void RunOverview::splitDidFinish()
{
    if (!isRunning())
        return;
    m_updateTimer.stop();
    m_sleepInhibitor.reset();
    m_remainingTime.reset();
    update();
    m_taskbarProgress.clear();
}

void RunOverview::setMayRetry(bool mayRetry)
{
    m_mayRetry = mayRetry;
    updateActions();
}

void RunOverview::jobDidLaunch(int job, QWidget* log)
{
    m_remainingTime->launch(job, now());
    m_model.setRunning(m_rowOfJob.at(job), log);
}

void RunOverview::jobDidProgress(int job, const FFmpegReport& report)
{
    m_model.setReport(m_rowOfJob.at(job), report);
    // The encoder's delay lies between both counts, and so does the work.
    const double length = report.length().value_or(0);
    m_remainingTime->progress(job, (2 * length + report.outTime.value_or(length)) / 3, now());
}

void RunOverview::jobDidEnd(int job, const JobEnd& end)
{
    m_remainingTime->end(job, end.succeeded(), end.processorTime, now());
    m_model.setEnded(m_rowOfJob.at(job), end);
}

void RunOverview::update()
{
    m_model.announceReports();
    updateTotal();
    updateActions();
    followRunningRows();
}

void RunOverview::updateTotal()
{
    const double fraction = m_model.totalFraction();
    m_window->totalProgressBar->setValue(static_cast<int>(fraction * m_window->totalProgressBar->maximum()));
    m_taskbarProgress.show(fraction);
    setTextIfDifferent(m_window->elapsedLabel, u"已用时 "_s + clockText(now()));
    setTextIfDifferent(m_window->remainingLabel, timeLeft());
}

QString RunOverview::timeLeft()
{
    if (!isRunning())
        return u"已结束"_s;
    const auto has = [this](auto... states) {
        return std::any_of(m_model.rows().begin(), m_model.rows().end(),
                           [=](const JobRow& row) { return ((row.state == states) || ...); });
    };
    if (has(JobState::stopping) && !has(JobState::waiting, JobState::running))
        return u"正在停止"_s;
    return timeLeftText(m_remainingTime->update(now()));
}

void RunOverview::followRunningRows()
{
    const QList<JobRow>& rows = m_model.rows();
    const auto isRunningRow = [](const JobRow& row) { return row.state == JobState::running; };
    const auto first = std::find_if(rows.begin(), rows.end(), isRunningRow);
    if (first == rows.end())
        return;
    const auto last = std::find_if(rows.rbegin(), rows.rend(), isRunningRow);
    m_window->follow(static_cast<int>(first - rows.begin()), static_cast<int>(rows.rend() - last) - 1);
}

void RunOverview::updateActions()
{
    const QList<int> selected = m_window->selectedRows();
    const JobRow* first = selected.isEmpty() ? nullptr : &m_model.rows().at(selected.first());
    const bool canStopSelected =
        std::any_of(selected.begin(), selected.end(), [this](int row) { return !m_model.rows().at(row).hasEnded(); });
    m_window->stopSelectedAction->setEnabled(isRunning() && canStopSelected);
    m_window->stopAllAction->setEnabled(isRunning());
    m_window->retryAction->setEnabled(!isRunning() && m_mayRetry && !rowsToRetry().isEmpty());
    m_window->openAction->setEnabled(first && first->hasClip());
    m_window->revealAction->setEnabled(first);
    m_window->copyCommandAction->setEnabled(first);
    m_window->showLogAction->setEnabled(first && first->log);
    m_window->closeIdleLogsAction->setEnabled(std::any_of(
        m_logs.begin(), m_logs.end(), [this](const QWidget* log) { return log && log->isVisible() && !isBusy(log); }));
}

QList<int> RunOverview::rowsToRetry() const
{
    QList<int> rows;
    for (int row = 0; row < m_model.rows().size(); ++row) {
        const JobState state = m_model.rows().at(row).state;
        if (state == JobState::failed || state == JobState::stopped)
            rows.append(row);
    }
    return rows;
}

void RunOverview::stopSelected()
{
    stop(m_window->selectedRows());
}

void RunOverview::stopAll()
{
    stop(m_rowOfJob);
}

void RunOverview::stop(const QList<int>& rows)
{
    const auto coordinator = m_coordinator.lock();
    if (!coordinator)
        return;
    for (const int row : rows) {
        const auto job = std::lower_bound(m_rowOfJob.begin(), m_rowOfJob.end(), row);
        if (job == m_rowOfJob.end() || *job != row)
            continue;
        if (m_model.rows().at(row).state == JobState::running)
            m_model.setStopping(row);
        coordinator->stop(static_cast<int>(job - m_rowOfJob.begin()));
    }
    update();
}

bool RunOverview::hasFailures() const
{
    return std::any_of(m_rowOfJob.begin(), m_rowOfJob.end(),
                       [this](int row) { return m_model.rows().at(row).state == JobState::failed; });
}

void RunOverview::retry()
{
    if (onRetry)
        onRetry(rowsToRetry());
}

void RunOverview::openClip()
{
    for (const int row : m_window->selectedRows().first(1))
        QDesktopServices::openUrl(QUrl::fromLocalFile(m_model.rows().at(row).job.outputURL.path()));
}

void RunOverview::reveal()
{
    for (const int row : m_window->selectedRows().first(1))
        revealInFolder(m_model.rows().at(row).job.outputURL);
}

void RunOverview::showLog()
{
    for (const int row : m_window->selectedRows().first(1)) {
        if (QWidget* log = m_model.rows().at(row).log)
            bringToUser(log);
    }
}

/// Those of earlier splits and those whose worker has nothing to do.
void RunOverview::closeIdleLogs()
{
    for (const QPointer<QWidget>& log : std::exchange(m_logs, {})) {
        if (log && isBusy(log))
            m_logs.append(log);
        else if (log)
            log->close();
    }
    updateActions();
}

bool RunOverview::isBusy(const QWidget* log) const
{
    return std::any_of(m_model.rows().begin(), m_model.rows().end(), [log](const JobRow& row) {
        return row.log == log && (row.state == JobState::running || row.state == JobState::stopping);
    });
}

void RunOverview::present()
{
    m_window->present();
}

void RunOverview::showWindow()
{
    m_window->present();
    bringToUser(m_window.get());
}

void RunOverview::copyCommands()
{
    QStringList commands;
    for (const int row : m_window->selectedRows())
        commands.append(m_model.rows().at(row).job.shellCommand());
    QGuiApplication::clipboard()->setText(commands.join(u'\n'));
}
