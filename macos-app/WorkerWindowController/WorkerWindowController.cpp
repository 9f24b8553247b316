#include "WorkerWindowController/WorkerWindowController.h"

#include "Controls/Appearance.h"
#include "Controls/FittingLabel.h"
#include "Controls/OnScreen.h"
#include "WorkerWindowController/LogView.h"

#include <QGuiApplication>
#include <QScreen>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize windowSize(760, 420);
constexpr int margin = 16;
constexpr int spacing = 10;
constexpr int smallestLogHeight = 240;

QLabel* makeLabel(const QString& objectName, const QString& subject, int pixelSize, QFont::Weight weight)
{
    auto* label = new FittingLabel(1, {});
    label->setObjectName(objectName);
    label->setAccessibleName(subject);
    QFont font = label->font();
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    label->setFont(font);
    return label;
}

/// Every worker window opens at the same place, the lower left corner of the screen.
QRect openingGeometry()
{
    QRect geometry(QPoint(), windowSize);
    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    geometry.moveBottomLeft(available.bottomLeft());
    geometry.moveTop(std::max(geometry.top(), available.top()));
    return geometry;
}

} // namespace

WorkerWindowController::WorkerWindowController(int workerIndex, int totalWorkers)
{
    buildWindow(workerIndex, totalWorkers);
}

WorkerWindowController::~WorkerWindowController()
{
    if (!m_window->isVisible())
        return;
    m_window->setAttribute(Qt::WA_DeleteOnClose);
    static_cast<void>(m_window.release()); // Qt deletes it when it is closed
}

void WorkerWindowController::prepareForDisplay()
{
    m_window->show();
    m_window->raise();
}

void WorkerWindowController::setIdle(const QString& detail)
{
    m_statusLabel->setText(u"空闲"_s);
    m_detailLabel->setText(detail);
}

void WorkerWindowController::setRunning(const FFmpegJob& job, int position, int total)
{
    m_statusLabel->setText(u"运行中"_s);
    m_detailLabel->setText(u"第 %1/%2 段 -> %3"_s.arg(QString::number(position), QString::number(total),
                                                      job.outputURL.lastPathComponent()));
    appendLog(u">>> "_s + job.commandPreview() + u'\n');
}

void WorkerWindowController::setFinished(bool success, const QString& detail)
{
    m_statusLabel->setText(success ? u"完成"_s : u"失败"_s);
    m_detailLabel->setText(detail);
}

void WorkerWindowController::appendLog(const QString& text)
{
    if (!text.isEmpty())
        m_textView->append(text);
}

void WorkerWindowController::buildWindow(int workerIndex, int totalWorkers)
{
    m_window = std::make_unique<QWidget>();
    m_window->setWindowTitle(u"分解任务 %1/%2"_s.arg(QString::number(workerIndex), QString::number(totalWorkers)));
    m_window->setGeometry(openingGeometry());

    m_statusLabel = makeLabel(u"statusLabel"_s, u"状态"_s, 13, QFont::Bold);
    m_statusLabel->setText(u"等待任务"_s);
    m_detailLabel = makeLabel(u"detailLabel"_s, u"任务"_s, 12, QFont::Normal);
    QPalette secondary; // the platform's own is too faint
    secondary.setColor(QPalette::PlaceholderText, secondaryTextColor(m_window->palette()));
    m_detailLabel->setPalette(secondary);
    m_detailLabel->setForegroundRole(QPalette::PlaceholderText);
    m_textView = new LogView;
    m_textView->setObjectName(u"textView"_s);
    m_textView->setAccessibleName(u"日志"_s);
    m_textView->setMinimumHeight(smallestLogHeight);

    auto* layout = new QVBoxLayout(m_window.get());
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->setSpacing(spacing);
    layout->addWidget(m_statusLabel);
    layout->addWidget(m_detailLabel);
    layout->addWidget(m_textView, 1);
    keepOnScreen(m_window.get());
}
