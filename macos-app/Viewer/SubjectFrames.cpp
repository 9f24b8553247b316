#include "Viewer/SubjectFrames.h"

#include "Models/EventRejection.h"

#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// While rows rush past, nothing is fetched; that long a row must stay.
constexpr int restMilliseconds = 60;
constexpr int mostProcesses = 2;

} // namespace

SubjectFrames::SubjectFrames()
{
    m_subjectTimer.setSingleShot(true);
    m_subjectTimer.setInterval(restMilliseconds);
    connect(&m_subjectTimer, &QTimer::timeout, this, [this] {
        m_isRushing = false;
        refresh();
    });
    connect(&m_source, &FrameSource::changed, this, &SubjectFrames::refresh);
}

void SubjectFrames::setContent(const ViewerContent& content)
{
    const FileURL videoURL = content.videoURL.value_or(FileURL());
    const QDateTime modified = QFileInfo(videoURL.path()).lastModified();
    const bool isOtherVideo = content.videoURL != m_content.videoURL || modified != m_videoModified;
    if (content == m_content && !isOtherVideo)
        return;
    m_content = content;
    m_videoModified = modified;
    if (isOtherVideo)
        m_source.setVideo(videoURL, content.framesPerSecond.value_or(0));
    refresh();
}

void SubjectFrames::setSubject(const ViewerSubject& subject)
{
    if (subject == m_subject)
        return;
    m_subject = subject;
    m_source.forgetFailures();
    // The first row after a rest is fetched at once; while others follow fast, only what is known is shown.
    m_isRushing = m_subjectTimer.isActive();
    m_subjectTimer.start();
    if (m_isRushing)
        m_source.request({}, {});
    refresh();
}

void SubjectFrames::setPlace(const std::optional<double>& place)
{
    if (place == m_place)
        return;
    m_place = place;
    refresh();
}

void SubjectFrames::setRuntime(const std::optional<RuntimeConfiguration>& runtime, const QString& reason)
{
    m_source.setRuntime(runtime, reason);
    m_source.forgetFailures();
    refresh();
}

void SubjectFrames::setBox(QSize box, std::optional<qsizetype> only)
{
    if (box == m_source.box() && only == m_only)
        return;
    m_source.setBox(box);
    m_only = only;
    refresh();
}

void SubjectFrames::setSplitRunning(bool isRunning)
{
    m_source.setProcessLimit(isRunning ? 1 : mostProcesses);
}

void SubjectFrames::setWatched(bool isWatched)
{
    m_isWatched = isWatched;
    m_source.forgetFailures();
    if (!isWatched)
        m_source.request({}, {});
    refresh();
}

const TransitionEvent* SubjectFrames::transition() const
{
    const bool isShown = m_subject.kind == ViewerSubject::Kind::transition && m_subject.row >= 0 &&
                         m_subject.row < m_content.events.size();
    return isShown ? &m_content.events[m_subject.row] : nullptr;
}

const EditableSegment* SubjectFrames::segment() const
{
    const bool isShown = m_subject.kind == ViewerSubject::Kind::segment && m_subject.row >= 0 &&
                         m_subject.row < m_content.segments.size();
    return isShown ? &m_content.segments[m_subject.row] : nullptr;
}

QString SubjectFrames::missingPictureText(const PlannedFrame& planned) const
{
    const QList<FrameNeed> needs =
        planned.frame.isKnown() ? QList{FrameSearch::pictureNeed(m_source.clock(), planned.frame.ticks)} : m_plan.needs;
    for (const FrameNeed& need : needs) {
        if (const auto failure = m_source.failure(need))
            return *failure;
    }
    return u"读取中…"_s;
}

bool SubjectFrames::isRejected() const
{
    return transition() && ::isRejected(*transition(), m_content.segments, m_content.keepSegments);
}

bool SubjectFrames::isBeyondEnd(double seconds) const
{
    const FrameAnswer frame = m_source.index().firstFrom(m_source.clock().ticksAt(microsecondsOf(seconds)));
    return frame.state == FrameAnswer::State::none;
}

void SubjectFrames::refresh()
{
    m_plan = planFrames(m_content, m_subject, m_place, m_source.index(), m_source.clock());
    Q_EMIT changed();
    if (m_isWatched && !m_isRushing)
        m_source.request(missing(m_plan), m_subjectTimer.isActive() ? QList<FrameNeed>() : missingAhead());
}

/// Every frame time and picture that a plan lacks.
QList<FrameNeed> SubjectFrames::missing(const FramePlan& plan) const
{
    QList<FrameNeed> needs = plan.needs;
    for (qsizetype i = 0; i < plan.frames.size(); ++i) {
        const FrameAnswer& frame = plan.frames[i].frame;
        const FramePicture* picture = frame.isKnown() ? m_source.picture(frame.ticks) : nullptr;
        const bool mayBeSmall = m_only && *m_only != i;
        if (frame.isKnown() && (!picture || !(mayBeSmall || picture->fills(m_source.box()))))
            needs.append(FrameSearch::pictureNeed(m_source.clock(), frame.ticks));
    }
    return needs;
}

/// The next steps of the edges, and the rows above and below.
QList<FrameNeed> SubjectFrames::missingAhead() const
{
    QList<FrameNeed> needs;
    for (const qint64 ticks : m_plan.nearby) {
        if (!m_source.picture(ticks))
            needs.append(FrameSearch::pictureNeed(m_source.clock(), ticks));
    }
    for (const int step : {1, -1}) {
        const ViewerSubject neighbour = {m_subject.kind, m_subject.row + step};
        needs += missing(planFrames(m_content, neighbour, std::nullopt, m_source.index(), m_source.clock()));
    }
    return needs;
}
