#include "Controls/DroppablePathField.h"

#include "Controls/Appearance.h"

#include <QDragEnterEvent>
#include <QFileInfo>
#include <QMimeData>
#include <QPainter>
#include <QStyleOptionFrame>
#include <QSysInfo>
#include <QUrl>

#include <optional>

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

/// The path that is meant by a text in quotes or by a file's address; nothing for any other text, and for one that is
/// the name of something here.
std::optional<QString> plainPath(const QString& typed)
{
    const QString text = typed.trimmed();
    if (QFileInfo::exists(text))
        return std::nullopt;
    for (const QChar quote : {u'"', u'\''}) {
        if (text.size() > 2 && text.startsWith(quote) && text.endsWith(quote))
            return text.mid(1, text.size() - 2);
    }
    const QString path = text.startsWith(u"file://"_s) ? localPath(QUrl(text)) : QString();
    const bool isPlain = path.size() > 1 && !path.startsWith(u"//"_s); // else it names another machine, or nothing yet
    return isPlain ? std::optional(path) : std::nullopt;
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
    connect(this, &QLineEdit::textEdited, this, &DroppablePathField::replaceByPlainPath);
}

bool DroppablePathField::considerDrop(const QMimeData* dragged)
{
    setDropHighlight(!firstAcceptedPath(dragged).isEmpty());
    return m_isHighlightedForDrop;
}

void DroppablePathField::forgetDrop()
{
    setDropHighlight(false);
}

bool DroppablePathField::takeDrop(const QMimeData* dragged)
{
    setDropHighlight(false);
    const QString path = firstAcceptedPath(dragged);
    if (path.isEmpty())
        return false;
    setText(path);
    if (const auto notify = onURLDropped)
        notify(path);
    return true;
}

void DroppablePathField::dragEnterEvent(QDragEnterEvent* event)
{
    considerDrop(event->mimeData());
    dragMoveEvent(event);
}

void DroppablePathField::dragMoveEvent(QDragMoveEvent* event)
{
    event->setDropAction(Qt::CopyAction);
    event->setAccepted(m_isHighlightedForDrop);
}

void DroppablePathField::dragLeaveEvent(QDragLeaveEvent* /*event*/)
{
    forgetDrop();
}

void DroppablePathField::dropEvent(QDropEvent* event)
{
    event->setDropAction(Qt::CopyAction);
    event->setAccepted(takeDrop(event->mimeData()));
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

/// As an edit, which can be undone.
void DroppablePathField::replaceByPlainPath(const QString& typed)
{
    if (const auto path = plainPath(typed)) {
        selectAll();
        insert(*path);
    }
}

void DroppablePathField::setDropHighlight(bool highlighted)
{
    m_isHighlightedForDrop = highlighted;
    update();
}
