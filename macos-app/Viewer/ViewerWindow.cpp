#include "Viewer/ViewerWindow.h"

#include "Controls/Appearance.h"
#include "Controls/FittingLabel.h"
#include "Controls/OnScreen.h"
#include "Frames/FrameWords.h"
#include "Models/TimeText.h"
#include "Viewer/FramePages.h"
#include "Viewer/PlaceInSegment.h"
#include "Viewer/TimelineView.h"

#include <QAccessibleWidget>
#include <QAction>
#include <QKeyEvent>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize usualSize(1010, 270);
constexpr int resizeRestMilliseconds = 150;
constexpr qsizetype edgePictures = 3;

/// What the viewer draws itself is a picture to a screen reader.
QAccessibleInterface* speakPicture(const QString& /*className*/, QObject* object)
{
    const bool isPicture = dynamic_cast<FrameView*>(object) || dynamic_cast<TimelineView*>(object);
    return isPicture ? new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::Graphic) : nullptr;
}

} // namespace

ViewerWindow::ViewerWindow(QWidget* parent)
    : QWidget(parent, Qt::Tool)
    , m_title(new FittingLabel(1, {}))
    , m_pages(new FramePages)
    , m_timeline(new TimelineView)
    , m_hint(new FittingLabel(1, {}))
{
    setObjectName(u"viewerWindow"_s);
    setWindowTitle(u"画面"_s);
    setAttribute(Qt::WA_QuitOnClose, false);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::StrongFocus);
    QAccessible::installFactory(speakPicture); // at most once

    m_title->setObjectName(u"titleLabel"_s);
    m_timeline->setObjectName(u"timelineView"_s);
    m_hint->setForegroundRole(QPalette::PlaceholderText);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(14, 12, 14, 10);
    column->setSpacing(8);
    column->addWidget(m_title);
    column->addWidget(m_pages, 1);
    column->addWidget(m_timeline);
    column->addWidget(m_hint);
    resize(usualSize);
    updateSecondaryColor();
    buildActions();

    m_pages->onDoubleClick = [this](qsizetype place) { switchLarge(place); };
    m_timeline->onClick = [this](double seconds) { goTo(seconds); };
    m_timeline->onActivated = [this](const ViewerSubject& subject) { Q_EMIT subjectActivated(subject); };
    m_timeline->onZoom = [this](bool isZoomed) { m_wholeVideoAction->setEnabled(isZoomed); };
    m_boxTimer.setSingleShot(true);
    m_boxTimer.setInterval(resizeRestMilliseconds);
    connect(&m_boxTimer, &QTimer::timeout, this, &ViewerWindow::updateBox);
    connect(&m_frames, &SubjectFrames::changed, this, &ViewerWindow::showFrames);
    showFrames();
}

void ViewerWindow::buildActions()
{
    m_largeAction = new QAction(u"放大一幅画面"_s, this);
    m_largeAction->setObjectName(u"largePictureAction"_s);
    m_largeAction->setCheckable(true);
    m_largeAction->setShortcuts({Qt::Key_Return, Qt::Key_Enter});
    connect(m_largeAction, &QAction::triggered, this, [this] { switchLarge(usualLargePlace()); });
    m_splitAction = new QAction(u"在此切开"_s, this);
    m_splitAction->setObjectName(u"splitSegmentAction"_s);
    m_splitAction->setShortcut(Qt::Key_S);
    connect(m_splitAction, &QAction::triggered, this, [this] { Q_EMIT splitRequested(subject().row, *timeToSplit()); });
    m_wholeVideoAction = new QAction(u"时间线显示整个视频"_s, this);
    m_wholeVideoAction->setObjectName(u"wholeVideoAction"_s);
    m_wholeVideoAction->setEnabled(false);
    connect(m_wholeVideoAction, &QAction::triggered, this, [this] { m_timeline->showWhole(); });
    addActions({m_largeAction, m_splitAction, m_wholeVideoAction});
    setContextMenuPolicy(Qt::ActionsContextMenu);
}

/// The palette's own placeholder colour is too faint.
void ViewerWindow::updateSecondaryColor()
{
    QPalette secondary;
    secondary.setColor(QPalette::PlaceholderText, secondaryTextColor(palette()));
    m_pages->setPalette(secondary);
    m_hint->setPalette(secondary);
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
    m_frames.setPlace(place());
}

void ViewerWindow::setRuntime(const std::optional<RuntimeConfiguration>& runtime, const QString& reason)
{
    m_frames.setRuntime(runtime, reason);
}

void ViewerWindow::setSubject(const ViewerSubject& subject)
{
    const bool isOtherKind = subject.kind != this->subject().kind;
    if (m_standing && subject != this->subject() &&
        subject != ViewerSubject{ViewerSubject::Kind::segment, m_standing->row})
        m_standing.reset();
    m_frames.setPlace(std::nullopt);
    m_frames.setSubject(subject);
    m_frames.setPlace(place());
    if (isOtherKind && m_pages->large())
        showLarge(plan().frames.isEmpty() ? std::nullopt : std::optional(usualLargePlace()));
}

bool ViewerWindow::handleKey(const QKeyEvent& event)
{
    const bool hasEdges = m_frames.segment() != nullptr;
    const Qt::KeyboardModifiers modifiers = event.modifiers() & ~Qt::KeypadModifier;
    const bool isPlain = modifiers == Qt::NoModifier;
    const bool isShifted = modifiers == Qt::ShiftModifier;
    const bool isNew = !event.isAutoRepeat(); // a key held down would open and close in turns
    switch (event.key()) {
    case Qt::Key_Escape:
    case Qt::Key_Space:
        if (isPlain && isNew && event.key() == Qt::Key_Escape && m_pages->large())
            showLarge(std::nullopt);
        else if (isPlain && isNew)
            hide();
        return isPlain;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (isPlain && isNew)
            m_largeAction->trigger();
        return isPlain;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        if (!hasEdges || !(isPlain || isShifted))
            return false;
        chooseNext(event.key() == Qt::Key_Tab && isPlain ? 1 : -1);
        return true;
    case Qt::Key_S:
        if (!place() || !isPlain)
            return false;
        m_splitAction->trigger();
        return true;
    case Qt::Key_Left:
    case Qt::Key_Right:
        if (!(hasEdges || m_pages->large()) || !(isPlain || isShifted))
            return false;
        stepSideways(event.key() == Qt::Key_Left ? -1 : 1, isShifted);
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
    placeOnScreen();
    layout()->activate(); // the pictures' room is that of the pages
    updateBox();
    m_frames.setWatched(true);
}

void ViewerWindow::hideEvent(QHideEvent* event)
{
    m_place = pos();
    m_frames.setWatched(false);
    showLarge(std::nullopt);
    QWidget::hideEvent(event);
}

void ViewerWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    m_boxTimer.start();
}

void ViewerWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange)
        updateSecondaryColor();
    QWidget::changeEvent(event);
}

/// Where it was, at first below the window that it belongs to, where it covers no table; and wholly on the screen.
void ViewerWindow::placeOnScreen()
{
    const QRect parent = parentWidget() ? parentWidget()->frameGeometry() : QRect(pos(), QSize());
    move(m_place.value_or(QPoint(parent.left(), parent.bottom() + 1)));
    keepOnScreen(this);
}

void ViewerWindow::updateBox()
{
    m_frames.setBox(m_pages->box(), m_pages->large());
}

void ViewerWindow::showFrames()
{
    QList<ShownFrame> shown;
    for (const PlannedFrame& planned : plan().frames)
        shown.append(shownFrame(planned));
    if (const EditableSegment* segment = m_frames.segment(); segment && !place())
        m_pages->showSegment(shown, u"起点　"_s + formatShownTime(segment->start),
                             u"终点　"_s + formatShownTime(segment->end), m_edge == SegmentEdge::end);
    else if (!shown.isEmpty())
        m_pages->showRow(shown);
    else
        m_pages->showNothing();
    m_largeAction->setEnabled(!shown.isEmpty());
    m_splitAction->setEnabled(timeToSplit().has_value());
    m_largeAction->setChecked(m_pages->large().has_value());
    for (QWidget* below : {static_cast<QWidget*>(m_timeline), static_cast<QWidget*>(m_hint)})
        below->setVisible(!m_pages->large()); // there is little room
    m_timeline->setPosition(position());
    showTitle();
    describeForScreenReaders(shown);
}

void ViewerWindow::showTitle()
{
    QString title;
    QString hint = u"↑ ↓ 换行　　回车 放大　　空格 关闭"_s;
    if (const EditableSegment* segment = m_frames.segment()) {
        title = u"片段 %1　%2 – %3"_s.arg(QString::number(segment->index), formatShownTime(segment->start),
                                          formatShownTime(segment->end));
        title += segment->isEnabled ? QString() : u"　（未启用）"_s;
        const QString what = place() ? u"S 在此切开　　"_s : u"Tab 起点、终点或中间　　"_s;
        hint = what + u"← → 移动一帧　　Shift + ← → 移动一秒　　"_s + hint;
        title += place() ? u"　　片段中 %1"_s.arg(formatShownTime(*place())) : QString();
    } else if (const TransitionEvent* event = m_frames.transition()) {
        title = QStringList{u"换场 %1"_s.arg(event->index), event->type,
                            formatShownTime(event->start) + u" – "_s + formatShownTime(event->end)}
                    .join(u'　');
        title += m_frames.isRejected() ? u"　（已否决）"_s : QString();
    }
    if (!source().clock().seeksExactly)
        hint = u"这种格式不能精确定位，实际的切点可能不同。　　"_s + hint;
    m_title->setText(title);
    m_hint->setText(hint);
}

/// The window has the focus when it is read, and its pictures are said in one go.
void ViewerWindow::describeForScreenReaders(const QList<ShownFrame>& frames)
{
    QStringList sentences;
    if (place())
        sentences << u"在片段中"_s;
    else if (m_frames.segment())
        sentences << (m_edge == SegmentEdge::start ? u"正在调整起点"_s : u"正在调整终点"_s);
    if (const auto large = m_pages->large(); large && *large < frames.size())
        sentences << u"放大的是"_s + frames[*large].caption;
    for (const ShownFrame& frame : frames)
        sentences << frame.caption + u' ' + frame.spoken();
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
    shown.shape = source().shape();
    if (planned.frame.state == FrameAnswer::State::none) {
        const double start = m_frames.segment() ? m_frames.segment()->start : m_frames.transition()->start;
        shown.message = absenceText(planned.role, m_frames.isBeyondEnd(start));
        return shown;
    }
    shown.isKept = planned.isKept;
    shown.isMarked = planned.role == PlannedFrame::Role::atPlace;
    if (m_frames.transition())
        shown.fate = planned.isKept ? u"保留"_s : u"删除"_s;
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
    if (const auto seconds = place())
        return *seconds;
    if (const EditableSegment* segment = m_frames.segment())
        return m_edge == SegmentEdge::start ? segment->start : segment->end;
    const TransitionEvent* event = m_frames.transition();
    return event ? (event->start + event->end) / 2 : -1;
}

/// The picture that a user of the keyboard means: the one inside the chosen edge, or the one before the cut.
qsizetype ViewerWindow::usualLargePlace() const
{
    if (place())
        return 2;
    return m_frames.segment() && m_edge == SegmentEdge::end ? edgePictures + 1 : 1;
}

void ViewerWindow::showLarge(std::optional<qsizetype> place)
{
    if (place == m_pages->large())
        return;
    m_pages->setLarge(place);
    showFrames();
    layout()->activate();
    updateBox();
}

/// The picture at that place large, or all of them again; what the arrows move is the edge that the picture belongs to.
void ViewerWindow::switchLarge(qsizetype place)
{
    if (m_frames.segment() && !this->place())
        m_edge = place < edgePictures ? SegmentEdge::start : SegmentEdge::end;
    showLarge(m_pages->large() || plan().frames.isEmpty() ? std::nullopt : std::optional(place));
}

/// The start, the end and a place between them in turns.
void ViewerWindow::chooseNext(int direction)
{
    const EditableSegment& segment = *m_frames.segment();
    const bool wasEnd = m_edge == SegmentEdge::end;
    if (place()) {
        m_standing.reset();
        m_edge = direction > 0 ? SegmentEdge::start : SegmentEdge::end;
    } else if (wasEnd == (direction > 0)) {
        m_standing = {subject().row, segment.start + segment.duration() / 2};
    } else {
        m_edge = wasEnd ? SegmentEdge::start : SegmentEdge::end;
    }
    m_frames.setPlace(place());
    if (m_pages->large())
        showLarge(usualLargePlace());
    showFrames();
}

/// Moves what is chosen; from one large picture of a transition to the next. A step for which the frames are not known
/// yet is left out; holding the key goes on as soon as they are.
void ViewerWindow::stepSideways(int direction, bool byOneSecond)
{
    const qsizetype last = plan().frames.size() - 1;
    if (place())
        movePlace(direction, byOneSecond);
    else if (m_frames.segment())
        moveEdge(direction, byOneSecond);
    else
        showLarge(std::clamp<qsizetype>(std::min(*m_pages->large(), last) + direction, 0, last));
}

std::optional<double> ViewerWindow::place() const
{
    const EditableSegment* segment = m_frames.segment();
    const bool standsThere =
        m_standing && segment && subject().row == m_standing->row && isInside(*segment, m_standing->seconds);
    return standsThere ? std::optional(m_standing->seconds) : std::nullopt;
}

/// To that time in the segment there, the one that is shown before others; nowhere when there is none.
void ViewerWindow::goTo(double seconds)
{
    const bool isHere = m_frames.segment() && isInside(*m_frames.segment(), seconds);
    const std::optional<int> row = isHere ? subject().row : rowAround(m_frames.content().segments, seconds);
    if (!row)
        return;
    m_standing = {*row, seconds};
    m_frames.setPlace(place());
    if (!isHere)
        Q_EMIT subjectActivated({ViewerSubject::Kind::segment, *row});
}

void ViewerWindow::movePlace(int direction, bool byOneSecond)
{
    const EditableSegment& segment = *m_frames.segment();
    std::optional<double> moved = m_standing->seconds + direction;
    if (!byOneSecond) {
        FrameSearch search(source().index(), source().clock());
        moved = oneFrameOn(search, segment, m_standing->seconds, direction);
    }
    if (!moved || !isInside(segment, *moved))
        return;
    m_standing->seconds = *moved;
    m_frames.setPlace(place());
}

std::optional<double> ViewerWindow::timeToSplit() const
{
    const EditableSegment* segment = m_frames.segment();
    return segment ? splitTime(plan(), *segment, source().clock()) : std::nullopt;
}

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
