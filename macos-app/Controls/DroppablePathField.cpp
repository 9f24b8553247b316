#include "Controls/DroppablePathField.h"

#include "Controls/Appearance.h"

#include <QDragEnterEvent>
#include <QFileInfo>
#include <QMimeData>
#include <QPainter>
#include <QStyleOptionFrame>
#include <QSysInfo>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

constexpr qreal cornerRadius = 10;
constexpr qreal borderAlpha = 0.25;
constexpr int sideMargin = 7;
constexpr int heightMargin = 4;
constexpr int lineEditMargin = 2; // QLineEdit's own, on either side of its text

/// Empty for anything but a file of this machine. A file manager may name the machine: "file://localhost/clip.mp4".
QString localPath(QUrl url)
{
    if (!url.isLocalFile())
        return QString();
    if (url.host() == u"localhost"_s || url.host().compare(QSysInfo::machineHostName(), Qt::CaseInsensitive) == 0)
        url.setHost(QString());
    QString path = url.toLocalFile();
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    return path;
}

bool isOfKind(const QString& path, DroppablePathField::AcceptKind kind)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists())
        return false;
    return kind == DroppablePathField::AcceptKind::any ||
           info.isDir() == (kind == DroppablePathField::AcceptKind::directory);
}

} // namespace

DroppablePathField::DroppablePathField(AcceptKind kind, QWidget* parent)
    : QLineEdit(parent)
    , acceptKind(kind)
{
    setFrame(false); // the rounded one is painted here
    setFont(monospacedFont());
    setTextMargins(sideMargin, heightMargin, sideMargin, heightMargin);
    centerMixedText(this);
}

void DroppablePathField::dragEnterEvent(QDragEnterEvent* event)
{
    setDropHighlight(!firstAcceptedPath(event->mimeData()).isEmpty());
    dragMoveEvent(event);
}

void DroppablePathField::dragMoveEvent(QDragMoveEvent* event)
{
    event->setDropAction(Qt::CopyAction);
    event->setAccepted(m_isHighlightedForDrop);
}

void DroppablePathField::dragLeaveEvent(QDragLeaveEvent* /*event*/)
{
    setDropHighlight(false);
}

void DroppablePathField::dropEvent(QDropEvent* event)
{
    setDropHighlight(false);
    const QString path = firstAcceptedPath(event->mimeData());
    if (path.isEmpty()) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    setText(path);
    if (const auto notify = onURLDropped)
        notify(path);
}

void DroppablePathField::paintEvent(QPaintEvent* event)
{
    const qreal borderWidth = m_isHighlightedForDrop ? 2 : 1;
    const QRectF frame = QRectF(rect()).adjusted(borderWidth / 2, borderWidth / 2, -borderWidth / 2, -borderWidth / 2);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(
        QPen(m_isHighlightedForDrop ? palette().color(QPalette::Highlight) : separatorColor(palette(), borderAlpha),
             borderWidth));
    painter.setBrush(palette().brush(QPalette::Base));
    painter.drawRoundedRect(frame, cornerRadius, cornerRadius);

    const QRect textRect = rect().marginsRemoved(textMargins()).adjusted(lineEditMargin, 0, -lineEditMargin, 0);
    const QFontMetrics metrics = fontMetrics();
    if (hasFocus() || metrics.horizontalAdvance(displayText()) <= textRect.width()) {
        painter.end();
        QLineEdit::paintEvent(event);
        return;
    }
    painter.setPen(palette().color(QPalette::Text));
    const int baseLine = textRect.top() + (textRect.height() - metrics.height() + 1) / 2 + metrics.ascent();
    painter.drawText(textRect.left(), baseLine, metrics.elidedText(displayText(), Qt::ElideMiddle, textRect.width()));
}

void DroppablePathField::initStyleOption(QStyleOptionFrame* option) const
{
    QLineEdit::initStyleOption(option);
    option->palette.setBrush(QPalette::Base, Qt::transparent); // else the style paints over the round corners
}

/// The first of the dragged items that exists here and is of the accepted kind; empty when there is none.
QString DroppablePathField::firstAcceptedPath(const QMimeData* dragged) const
{
    const QList<QUrl> urls = dragged->urls();
    for (const QUrl& url : urls) {
        QString path = localPath(url);
        if (isOfKind(path, acceptKind))
            return path;
    }
    return QString();
}

void DroppablePathField::setDropHighlight(bool highlighted)
{
    m_isHighlightedForDrop = highlighted;
    update();
}
