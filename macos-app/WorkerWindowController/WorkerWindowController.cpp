#include "WorkerWindowController/WorkerWindowController.h"

#include "WorkerWindowController/LogView.h"

#include <QGuiApplication>
#include <QLabel>
#include <QPainter>
#include <QScreen>
#include <QStyle>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize windowSize(760, 420);
constexpr int margin = 16;
constexpr int spacing = 10;
constexpr int smallestLogHeight = 240;

/// A label whose text never widens its window: what does not fit is left out of the picture, not of `text()`.
class ElidedLabel final : public QLabel
{
public:
    using QLabel::QLabel;

    [[nodiscard]] QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        const QString visible = fontMetrics().elidedText(text(), Qt::ElideMiddle, width());
        style()->drawItemText(&painter, rect(), int(alignment()), palette(), isEnabled(), visible, foregroundRole());
    }
};

QLabel* makeLabel(const QString& objectName, int pixelSize, QFont::Weight weight)
{
    auto* label = new ElidedLabel;
    label->setObjectName(objectName);
    label->setTextFormat(Qt::PlainText);
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

void WorkerWindowController::completeLog()
{
    m_textView->catchUp();
}

void WorkerWindowController::buildWindow(int workerIndex, int totalWorkers)
{
    m_window = std::make_unique<QWidget>();
    m_window->setWindowTitle(u"分解任务 %1/%2"_s.arg(QString::number(workerIndex), QString::number(totalWorkers)));
    m_window->setGeometry(openingGeometry());

    m_statusLabel = makeLabel(u"statusLabel"_s, 13, QFont::Bold);
    m_statusLabel->setText(u"等待任务"_s);
    m_detailLabel = makeLabel(u"detailLabel"_s, 12, QFont::Normal);
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
}
