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
/// What is on disk, at most 64 MB of one video, is kept as it is there besides.
constexpr qsizetype pictureBytes = qsizetype(130) * 1024 * 1024;
/// The rows to have at hand whichever way the user steps.
constexpr int rowsBack = 4;
/// So much is asked for at a time, the most important first.
constexpr int mostNeedsAhead = 100;
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
    if (isOtherVideo) {
        m_complete.clear();
        m_source.setVideo(videoURL, content.framesPerSecond.value_or(0));
    }
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
    const QSize room = mayBeSmall ? QSize() : m_source.box();
    for (const PlannedFrame& planned : plan.frames) {
        const qint64 ticks = planned.frame.ticks;
        if (planned.frame.isKnown() && !m_source.hasPicture(ticks, room))
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
    QList<FrameNeed> needs;
    for (const int place : placesAhead()) {
        const int event = m_events[place];
        QList<FrameNeed> missed = missing(event, m_isBoxForCurrentAlone);
        if (missed.isEmpty())
            m_complete.insert(event);
        missed.removeIf([this](const FrameNeed& need) { return m_source.failure(need).has_value(); });
        needs += missed;
        if (needs.size() >= mostNeedsAhead)
            break;
    }
    return needs;
}

/// Those in sight, then those that the memory holds around the current one, then, where small copies will do, the
/// others that have not been looked at yet.
QList<int> ReviewPictures::placesAhead() const
{
    const int count = static_cast<int>(m_events.size());
    QList<int> places;
    const auto add = [&](int place) {
        if (place >= 0 && place < count)
            places.append(place);
    };
    for (int place = m_firstInSight; place <= m_lastInSight; ++place)
        add(place);
    const int near = rowsInMemory();
    for (int step = 1; step <= near; ++step) {
        add(m_current + step);
        if (step <= rowsBack)
            add(m_current - step);
    }
    const QSize box = m_source.box();
    if (box.boundedTo(PictureStore::box) != box || !m_source.keepsSmallPictures())
        return places;
    for (int step = near + 1; step < count; ++step) {
        const int place = (m_current + step) % count;
        if (!m_complete.contains(m_events[place]))
            places.append(place);
    }
    return places;
}

/// Beside those behind, so that nothing is fetched twice.
int ReviewPictures::rowsInMemory() const
{
    const QSize box = m_source.box();
    const qsizetype bytesOfRow = qsizetype(4) * box.width() * box.height() * mostPicturesOfRow;
    return static_cast<int>(std::max<qsizetype>(pictureBytes / 2 / bytesOfRow, rowsBack));
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
