#include "Review/ReviewPictures.h"

#include "Frames/FrameWords.h"
#include "Models/TimeText.h"

#include <QFileInfo>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// While rows rush past, nothing is fetched; that long a row must stay.
constexpr int restMilliseconds = 60;
constexpr int mostProcesses = 2;
constexpr qsizetype pictureBytes = qsizetype(180) * 1024 * 1024;
/// The rows to have at hand whichever way the user steps.
constexpr int rowsBack = 4;
/// So much is asked for at a time, the most important first.
constexpr int mostNeedsAhead = 24;
constexpr int mostPicturesOfRow = 5;

} // namespace

ReviewPictures::ReviewPictures()
    : m_source(pictureBytes)
{
    m_source.setStore(PictureStore::standard());
    m_restTimer.setSingleShot(true);
    m_restTimer.setInterval(restMilliseconds);
    connect(&m_restTimer, &QTimer::timeout, this, [this] {
        m_isRushing = false;
        fetch();
    });
    connect(&m_source, &FrameSource::changed, this, [this] {
        if (std::exchange(m_clock, m_source.clock()) != m_source.clock())
            m_plans.clear();
        else
            m_plans.removeIf([](const auto& plan) { return !plan.value().needs.isEmpty(); });
        Q_EMIT changed();
        fetch();
    });
}

void ReviewPictures::setContent(const ViewerContent& content)
{
    const FileURL videoURL = content.videoURL.value_or(FileURL());
    const QDateTime modified = QFileInfo(videoURL.path()).lastModified();
    const bool isOtherVideo = content.videoURL != m_content.videoURL || modified != m_videoModified;
    if (content == m_content && !isOtherVideo)
        return;
    m_content = content;
    m_videoModified = modified;
    m_plans.clear();
    if (isOtherVideo)
        m_source.setVideo(videoURL, content.framesPerSecond.value_or(0));
    Q_EMIT changed();
    fetch();
}

void ReviewPictures::setRuntime(const std::optional<RuntimeConfiguration>& runtime, const QString& reason)
{
    m_source.setRuntime(runtime, reason);
    m_source.forgetFailures();
    fetch();
}

void ReviewPictures::setShownEvents(const QList<int>& events)
{
    m_events = events;
    m_current = -1;
}

/// The first row after a rest is fetched at once; while others follow fast, only what is known is shown.
void ReviewPictures::setCurrent(int place)
{
    if (place == m_current)
        return;
    m_current = place;
    m_source.forgetFailures();
    m_isRushing = m_restTimer.isActive();
    m_restTimer.start();
    fetch();
}

void ReviewPictures::setInSight(int firstPlace, int lastPlace)
{
    if (firstPlace == m_firstInSight && lastPlace == m_lastInSight)
        return;
    m_firstInSight = firstPlace;
    m_lastInSight = lastPlace;
    fetch();
}

void ReviewPictures::setBox(QSize box, bool isForCurrentAlone)
{
    m_source.setBox(box);
    m_isBoxForCurrentAlone = isForCurrentAlone;
    fetch();
}

void ReviewPictures::setSplitRunning(bool isRunning)
{
    m_source.setProcessLimit(isRunning ? 1 : mostProcesses);
}

void ReviewPictures::setWatched(bool isWatched)
{
    m_isWatched = isWatched;
    m_source.forgetFailures();
    if (!isWatched)
        m_source.request({}, {});
    fetch();
}

QList<ReviewPicture> ReviewPictures::picturesOf(int event) const
{
    const FramePlan& plan = planOf(event);
    QList<ReviewPicture> pictures;
    for (const PlannedFrame& planned : plan.frames) {
        ReviewPicture shown = {planned, captionOf(planned.role), {}, {}};
        const FramePicture* picture = planned.frame.isKnown() ? m_source.picture(planned.frame.ticks) : nullptr;
        if (planned.frame.state == FrameAnswer::State::none) {
            const qint64 start = m_source.clock().ticksAt(microsecondsOf(m_content.events.at(event).start));
            shown.message = absenceText(planned.role, m_source.index().firstFrom(start) == noFrame);
        } else if (picture) {
            shown.image = picture->image;
        } else {
            shown.message = missingText(plan, planned.frame);
        }
        if (planned.frame.isKnown())
            shown.caption += u"　"_s + formatShownTime(m_source.clock().secondsAt(planned.frame.ticks));
        pictures.append(shown);
    }
    return pictures;
}

bool ReviewPictures::isComplete(int event) const
{
    const FramePlan& plan = planOf(event);
    return plan.needs.isEmpty() &&
           std::all_of(plan.frames.begin(), plan.frames.end(), [this](const PlannedFrame& planned) {
               return planned.frame == noFrame || m_source.picture(planned.frame.ticks);
           });
}

const FramePlan& ReviewPictures::planOf(int event) const
{
    auto plan = m_plans.find(event);
    if (plan == m_plans.end()) {
        const ViewerSubject subject = {ViewerSubject::Kind::transition, event};
        plan = m_plans.insert(event, planFrames(m_content, subject, std::nullopt, m_source.index(), m_source.clock()));
    }
    return *plan;
}

/// Every frame time and picture that a row lacks.
QList<FrameNeed> ReviewPictures::missing(int event, bool mayBeSmall) const
{
    const FramePlan& plan = planOf(event);
    QList<FrameNeed> needs = plan.needs;
    for (const PlannedFrame& planned : plan.frames) {
        const qint64 ticks = planned.frame.ticks;
        const FramePicture* picture = planned.frame.isKnown() ? m_source.picture(ticks) : nullptr;
        if (planned.frame.isKnown() && (!picture || !(mayBeSmall || picture->fills(m_source.box()))))
            needs.append(FrameSearch::pictureNeed(m_source.clock(), ticks));
    }
    return needs;
}

/// Why a frame has no picture yet: it is being read, or could not be.
QString ReviewPictures::missingText(const FramePlan& plan, const FrameAnswer& frame) const
{
    const QList<FrameNeed> needs =
        frame.isKnown() ? QList{FrameSearch::pictureNeed(m_source.clock(), frame.ticks)} : plan.needs;
    for (const FrameNeed& need : needs) {
        if (const auto failure = m_source.failure(need))
            return *failure;
    }
    return u"读取中…"_s;
}

QList<FrameNeed> ReviewPictures::missingAhead() const
{
    QList<int> places;
    for (int place = m_firstInSight; place <= m_lastInSight; ++place)
        places.append(place);
    const int ahead = rowsAhead();
    for (int step = 1; step <= ahead; ++step) {
        places.append(m_current + step);
        if (step <= rowsBack)
            places.append(m_current - step);
    }
    QList<FrameNeed> needs;
    for (const int place : std::as_const(places)) {
        if (place >= 0 && place < m_events.size())
            needs += missing(m_events[place], m_isBoxForCurrentAlone);
        needs.removeIf([this](const FrameNeed& need) { return m_source.failure(need).has_value(); });
        if (needs.size() >= mostNeedsAhead)
            break;
    }
    return needs;
}

/// As many as the memory holds beside those behind, so that nothing is fetched twice.
int ReviewPictures::rowsAhead() const
{
    const QSize box = m_source.box();
    const qsizetype bytesOfRow = qsizetype(4) * box.width() * box.height() * mostPicturesOfRow;
    return static_cast<int>(std::clamp<qsizetype>(pictureBytes / 2 / bytesOfRow, rowsBack, m_events.size() + rowsBack));
}

void ReviewPictures::fetch()
{
    const bool hasRow = m_current >= 0 && m_current < m_events.size();
    if (!m_isWatched || !hasRow)
        return;
    if (m_isRushing)
        m_source.request({}, {});
    else
        m_source.request(missing(m_events[m_current], false), missingAhead());
}
