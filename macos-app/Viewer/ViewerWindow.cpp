#include "Viewer/ViewerWindow.h"

#include "Models/TimeText.h"
#include "Viewer/FrameStrip.h"
#include "Viewer/FrameWords.h"
#include "Viewer/TimelineView.h"

#include <QAccessibleWidget>
#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int transitionPictures = 5;
constexpr int edgePictures = 3;
constexpr int resizeRestMilliseconds = 150;
/// A window that was never shown does not know yet what frame the system puts around it.
constexpr int titleBarRoom = 30;

/// Paler than other text in every appearance; palettes do not agree about a role for that.
void makePale(QLabel* label)
{
    auto* effect = new QGraphicsOpacityEffect(label);
    effect->setOpacity(0.65);
    label->setGraphicsEffect(effect);
}

/// What the viewer draws itself is a picture to a screen reader.
QAccessibleInterface* speakPicture(const QString& /*className*/, QObject* object)
{
    const bool isPicture = dynamic_cast<FrameView*>(object) || dynamic_cast<TimelineView*>(object);
    return isPicture ? new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::Graphic) : nullptr;
}

} // namespace

ViewerWindow::ViewerWindow(QWidget* parent)
    : QWidget(parent, Qt::Tool)
{
    setObjectName(u"viewerWindow"_s);
    setWindowTitle(u"画面"_s);
    setAttribute(Qt::WA_QuitOnClose, false);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::StrongFocus);
    QAccessible::installFactory(speakPicture); // at most once

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(14, 12, 14, 10);
    column->setSpacing(8);
    buildPictures();
    buildBelowPictures();
    resize(1010, 270);

    m_boxTimer.setSingleShot(true);
    m_boxTimer.setInterval(resizeRestMilliseconds);
    connect(&m_boxTimer, &QTimer::timeout, this, &ViewerWindow::updateBox);
    connect(&m_frames, &SubjectFrames::changed, this, &ViewerWindow::showFrames);
    showFrames();
}

void ViewerWindow::buildPictures()
{
    m_title = new QLabel;
    m_title->setObjectName(u"titleLabel"_s);
    m_title->setTextFormat(Qt::PlainText);

    auto* emptyLabel = new QLabel(u"在表格中选择一个换场或片段。"_s);
    emptyLabel->setAlignment(Qt::AlignCenter);
    makePale(emptyLabel);
    m_emptyPage = emptyLabel;

    m_transitionStrip = new FrameStrip(transitionPictures);
    m_startStrip = new FrameStrip(edgePictures);
    m_endStrip = new FrameStrip(edgePictures);
    auto* pictures = new QHBoxLayout;
    pictures->setSpacing(24);
    pictures->addWidget(m_emptyPage, 1);
    pictures->addWidget(m_transitionStrip, 1);
    pictures->addWidget(m_startStrip, 1);
    pictures->addWidget(m_endStrip, 1);

    auto* column = static_cast<QVBoxLayout*>(layout());
    column->addWidget(m_title);
    column->addLayout(pictures, 1);
}

void ViewerWindow::buildBelowPictures()
{
    m_timeline = new TimelineView;
    m_timeline->setObjectName(u"timelineView"_s);
    m_timeline->onActivated = [this](const ViewerSubject& subject) { Q_EMIT subjectActivated(subject); };
    m_hint = new QLabel;
    makePale(m_hint);
    layout()->addWidget(m_timeline);
    layout()->addWidget(m_hint);
}

void ViewerWindow::open()
{
    show();
    raise();
}

void ViewerWindow::setContent(const ViewerContent& content)
{
    m_timeline->setContent(content);
    m_frames.setContent(content);
}

void ViewerWindow::setRuntime(const std::optional<RuntimeConfiguration>& runtime, const QString& reason)
{
    m_frames.setRuntime(runtime, reason);
}

bool ViewerWindow::handleKey(const QKeyEvent& event)
{
    const bool hasEdges = m_frames.segment() != nullptr;
    const Qt::KeyboardModifiers modifiers = event.modifiers() & ~Qt::KeypadModifier;
    const bool isPlain = modifiers == Qt::NoModifier;
    const bool isShifted = modifiers == Qt::ShiftModifier;
    switch (event.key()) {
    case Qt::Key_Space:
    case Qt::Key_Escape:
        if (isPlain && !event.isAutoRepeat()) // a key held down would open and close it in turns
            hide();
        return isPlain;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        if (!hasEdges || !(isPlain || isShifted))
            return false;
        chooseOtherEdge();
        return true;
    case Qt::Key_Left:
    case Qt::Key_Right:
        if (!hasEdges || !(isPlain || isShifted))
            return false;
        moveEdge(event.key() == Qt::Key_Left ? -1 : 1, isShifted);
        return true;
    default:
        return false;
    }
}

bool ViewerWindow::event(QEvent* event)
{
    // Tab never reaches keyPressEvent.
    if (event->type() == QEvent::KeyPress && handleKey(*static_cast<QKeyEvent*>(event)))
        return true;
    return QWidget::event(event);
}

void ViewerWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down)
        Q_EMIT rowStepRequested(event->key() == Qt::Key_Up ? -1 : 1);
    else
        QWidget::keyPressEvent(event);
}

void ViewerWindow::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    move(m_place.value_or(firstPlace()));
    updateBox();
    m_frames.setWatched(true);
}

void ViewerWindow::hideEvent(QHideEvent* event)
{
    m_place = pos();
    m_frames.setWatched(false);
    QWidget::hideEvent(event);
}

void ViewerWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    m_boxTimer.start();
}

/// Below the window that it belongs to, where it covers no table, as far as the screen allows.
QPoint ViewerWindow::firstPlace() const
{
    if (!parentWidget())
        return pos();
    const QRect room = screen()->availableGeometry();
    const QRect parent = parentWidget()->frameGeometry();
    const int left = std::min(parent.left(), room.right() - frameGeometry().width());
    const int top = std::min(parent.bottom() + 1, room.bottom() - frameGeometry().height() - titleBarRoom);
    return {std::max(room.left(), left), std::max(room.top(), top)};
}

/// One size of pictures serves both kinds of rows, so that walking between the tables fetches nothing twice.
void ViewerWindow::updateBox()
{
    const FrameView* view = m_transitionStrip->views().first();
    // From the window's own size, so that it is the same before the layout and after.
    const QSize inside = size().shrunkBy(layout()->contentsMargins());
    const int width = (inside.width() + FrameStrip::spacing) / transitionPictures;
    int height = inside.height();
    for (const QWidget* other :
         {static_cast<QWidget*>(m_title), static_cast<QWidget*>(m_timeline), static_cast<QWidget*>(m_hint)})
        height -= other->sizeHint().height() + layout()->spacing();
    const QSize room = view->pictureRoom({width - FrameStrip::spacing, height});
    m_frames.setBox((QSizeF(room) * devicePixelRatioF()).toSize());
}

void ViewerWindow::showFrames()
{
    const bool isTransition = m_frames.transition() != nullptr;
    const bool isSegment = m_frames.segment() != nullptr;
    m_emptyPage->setVisible(!isTransition && !isSegment);
    m_transitionStrip->setVisible(isTransition);
    m_startStrip->setVisible(isSegment);
    m_endStrip->setVisible(isSegment);
    const QList<FrameView*> views =
        isTransition ? m_transitionStrip->views() : m_startStrip->views() + m_endStrip->views();
    for (qsizetype i = 0; i < plan().frames.size(); ++i)
        views[i]->setFrame(shownFrame(plan().frames[i]));
    m_timeline->setPosition(position());
    showTitle();
    showEdgeHeadings();
    describeForScreenReaders();
}

void ViewerWindow::showTitle()
{
    QString title;
    QString hint = u"↑ ↓ 换行　　空格 关闭"_s;
    if (const EditableSegment* segment = m_frames.segment()) {
        title = u"片段 %1　%2 – %3"_s.arg(QString::number(segment->index), formatShownTime(segment->start),
                                          formatShownTime(segment->end));
        title += segment->isEnabled ? QString() : u"　（未启用）"_s;
        hint = u"Tab 选择起点或终点　　← → 移动一帧　　Shift + ← → 移动一秒　　"_s + hint;
    } else if (const TransitionEvent* event = m_frames.transition()) {
        title = QStringList{u"换场 %1"_s.arg(event->index), event->type,
                            formatShownTime(event->start) + u" – "_s + formatShownTime(event->end)}
                    .join(u'　');
    }
    if (!source().clock().seeksExactly)
        hint = u"这种格式不能精确定位，实际的切点可能不同。　　"_s + hint;
    m_title->setText(title);
    m_title->setVisible(!title.isEmpty());
    m_hint->setText(hint);
}

void ViewerWindow::showEdgeHeadings()
{
    const EditableSegment* segment = m_frames.segment();
    if (!segment)
        return;
    m_startStrip->setHeading(u"起点　"_s + formatShownTime(segment->start), m_edge == SegmentEdge::start);
    m_endStrip->setHeading(u"终点　"_s + formatShownTime(segment->end), m_edge == SegmentEdge::end);
}

/// The window has the focus when it is read, and its pictures are said in one go.
void ViewerWindow::describeForScreenReaders()
{
    QStringList sentences;
    if (m_frames.segment())
        sentences << (m_edge == SegmentEdge::start ? u"正在调整起点"_s : u"正在调整终点"_s);
    for (const PlannedFrame& planned : plan().frames) {
        const ShownFrame frame = shownFrame(planned);
        sentences << frame.caption + u' ' + frame.spoken();
    }
    const QString description = sentences.join(u'；');
    if (accessibleName() != m_title->text())
        setAccessibleName(m_title->text());
    if (accessibleDescription() != description)
        setAccessibleDescription(description);
}

ShownFrame ViewerWindow::shownFrame(const PlannedFrame& planned) const
{
    ShownFrame shown;
    shown.caption = captionOf(planned.role);
    if (planned.frame.state == FrameAnswer::State::none) {
        const double start = m_frames.segment() ? m_frames.segment()->start : m_frames.transition()->start;
        shown.message = absenceText(planned.role, m_frames.isBeyondEnd(start));
        return shown;
    }
    shown.isKept = planned.isKept;
    shown.crop = m_frames.content().crop;
    const FramePicture* picture = nullptr;
    if (planned.frame.isKnown()) {
        shown.time = formatShownTime(source().clock().secondsAt(planned.frame.ticks));
        picture = source().picture(planned.frame.ticks);
    }
    if (picture) {
        shown.image = picture->image;
        shown.sourceSize = picture->sourceSize;
    } else {
        shown.message = m_frames.missingPictureText(planned);
    }
    return shown;
}

/// Where the viewer looks, in seconds.
double ViewerWindow::position() const
{
    if (const EditableSegment* segment = m_frames.segment())
        return m_edge == SegmentEdge::start ? segment->start : segment->end;
    const TransitionEvent* event = m_frames.transition();
    return event ? (event->start + event->end) / 2 : -1;
}

void ViewerWindow::chooseOtherEdge()
{
    m_edge = m_edge == SegmentEdge::start ? SegmentEdge::end : SegmentEdge::start;
    showFrames();
}

/// A step for which the frames are not known yet is left out; holding the key goes on as soon as they are.
void ViewerWindow::moveEdge(int direction, bool byOneSecond)
{
    const EditableSegment& segment = *m_frames.segment();
    const double time = m_edge == SegmentEdge::start ? segment.start : segment.end;
    std::optional<double> moved = std::max(0.0, time + direction);
    if (!byOneSecond) {
        FrameSearch search(source().index(), source().clock());
        moved = edgeOneFrameOn(search, segment, m_edge, direction);
    }
    if (moved && formatShownTime(*moved) != formatShownTime(time))
        Q_EMIT retimeRequested(subject().row, m_edge, formatShownTime(*moved));
}
