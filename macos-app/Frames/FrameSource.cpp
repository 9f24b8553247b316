#include "Frames/FrameSource.h"

#include "Frames/FrameFetch.h"

#include <QCoreApplication>
#include <QPointer>

#include <algorithm>
#include <cmath>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize usualShape(16, 9);
/// Which needs are read in one go: those so close that decoding on costs less than another process, which begins at the
/// key frame before its need.
struct Merging
{
    double gapSeconds;
    double longestSeconds;
};
constexpr Merging forNow = {2, 10};
/// Pictures come as they are decoded, so nobody waits for the end of it.
constexpr Merging forLater = {5, 30};
/// One call draws only so many. Needs around one place overlap, so this counts most of them twice.
constexpr double mostMergedPictures = 200;

/// How many pictures a need may bring.
double pictureCount(const FrameNeed& need, const VideoClock& clock)
{
    return need.wantsPictures() ? (need.picturesTo - need.picturesFrom) * clock.framesPerSecond() + 1 : 0;
}

bool touch(const FrameNeed& left, const FrameNeed& right)
{
    return left.from < right.to && right.from < left.to;
}

bool brings(const FrameReply& reply, const FrameNeed& need)
{
    return std::any_of(reply.pictures.begin(), reply.pictures.end(), [&](const FramePicture& picture) {
        const double at = reply.clock.secondsAt(picture.ticks);
        return at > need.picturesFrom && at < need.picturesTo;
    });
}

} // namespace

FrameSource::FrameSource(qsizetype cacheBytes)
    : m_pictures(cacheBytes)
    , m_shape(usualShape)
{
    m_storeThread.setMaxThreadCount(1);
}

FrameSource::~FrameSource()
{
    stopFetches();
    m_storeThread.waitForDone();
}

void FrameSource::setVideo(const FileURL& videoURL, double framesPerSecond)
{
    stopFetches();
    m_videoURL = videoURL;
    m_clock = {1, 90000, 25, 1, 0};
    m_isClockKnown = false;
    m_mayReadPackets = true;
    if (framesPerSecond > 1 && framesPerSecond < 1000)
        m_clock.rateNumerator = std::llround(framesPerSecond);
    m_index = {};
    m_pictures.clear();
    m_stored.clear();
    m_storedBytes = 0;
    m_shape = usualShape;
    m_needs.clear();
    m_ahead.clear();
    forgetFailures();
    loadStored();
}

void FrameSource::setRuntime(const std::optional<RuntimeConfiguration>& runtime, const QString& reason)
{
    m_runtime = runtime;
    m_missingRuntimeReason = reason;
}

void FrameSource::setBox(QSize box)
{
    if (box == m_box || box.isEmpty())
        return;
    m_box = box;
    m_tried.clear(); // the pictures are wanted once more
}

void FrameSource::setProcessLimit(int limit)
{
    m_processLimit = limit;
    for (auto i = static_cast<std::size_t>(limit); i < m_fetches.size(); ++i)
        stop(*m_fetches[i]);
    startNext();
}

void FrameSource::forgetFailures()
{
    m_failures.clear();
    m_tried.clear();
}

void FrameSource::request(const QList<FrameNeed>& needs, const QList<FrameNeed>& ahead)
{
    m_needs = needs;
    m_ahead = ahead;
    for (const auto& fetch : m_fetches) {
        const auto isServed = [&fetch](const FrameNeed& need) { return fetch->query().touches(need); };
        if (!fetch->isStopped() && std::none_of(needs.begin(), needs.end(), isServed) &&
            std::none_of(ahead.begin(), ahead.end(), isServed))
            stop(*fetch);
    }
    startNext();
}

std::optional<QString> FrameSource::failure(const FrameNeed& need) const
{
    if (!m_runtime)
        return m_missingRuntimeReason;
    for (const Failure& failure : m_failures) {
        if (touch(failure.need, need))
            return failure.text;
    }
    if (m_tried.contains(need))
        return u"无法读取这一帧。"_s;
    return std::nullopt;
}

void FrameSource::startNext()
{
    while (m_runtime && static_cast<int>(m_fetches.size()) < m_processLimit) {
        const QList<FrameNeed> needs = nextNeeds();
        if (needs.isEmpty())
            return;
        startFetch(needs);
    }
}

/// The first need that nobody serves, and those that can be read along with it. Nothing is fetched ahead while a
/// need is still being served.
QList<FrameNeed> FrameSource::nextNeeds() const
{
    QList<FrameNeed> open;
    Merging merging = forNow;
    for (const QList<FrameNeed>& list : {m_needs, m_ahead}) {
        for (const FrameNeed& need : list) {
            if (!failure(need) && !isBeingServed(need))
                open.append(need);
        }
        const bool isWorking =
            std::any_of(m_needs.begin(), m_needs.end(), [this](const FrameNeed& need) { return isBeingServed(need); });
        if (!open.isEmpty() || isWorking)
            break;
        merging = forLater;
    }
    if (open.isEmpty())
        return {};
    QList<FrameNeed> merged = {open.takeFirst()};
    double from = merged.first().from;
    double to = merged.first().to;
    double pictures = pictureCount(merged.first(), m_clock);
    for (bool grown = true; grown;) {
        grown = false;
        for (qsizetype i = 0; i < open.size(); ++i) {
            const FrameNeed need = open[i];
            const bool isClose = need.from < to + merging.gapSeconds && need.to > from - merging.gapSeconds;
            const bool isLong = std::max(to, need.to) - std::min(from, need.from) > merging.longestSeconds;
            if (!isClose || isLong)
                continue;
            pictures += pictureCount(need, m_clock);
            if (pictures > mostMergedPictures)
                return merged;
            from = std::min(from, need.from);
            to = std::max(to, need.to);
            merged.append(open.takeAt(i));
            grown = true;
            break;
        }
    }
    return merged;
}

bool FrameSource::isBeingServed(const FrameNeed& need) const
{
    return std::any_of(m_fetches.begin(), m_fetches.end(),
                       [&need](const auto& fetch) { return !fetch->isStopped() && fetch->query().serves(need); });
}

void FrameSource::startFetch(const QList<FrameNeed>& needs)
{
    FrameQuery query = FrameQuery::forNeeds(needs, m_box, m_isClockKnown ? std::optional(m_clock) : std::nullopt);
    query.readsPackets = query.readsPackets && m_mayReadPackets;
    m_fetches.push_back(std::make_unique<FrameFetch>(
        query, m_videoURL, *m_runtime, [this, query](const std::optional<FrameReply>& reply, const QString& failure) {
            take(query, reply, failure);
        }));
    FrameFetch* fetch = m_fetches.back().get();
    fetch->onProgress = [this](const FrameReply& soFar) {
        if (!m_isClockKnown || soFar.clock != m_clock)
            return;
        learn(soFar);
        announceChange();
    };
    fetch->onEnd = [this, fetch] { removeFetch(fetch); };
    fetch->start();
}

void FrameSource::take(const FrameQuery& query, const std::optional<FrameReply>& reply, const QString& failure)
{
    if (query.readsPackets && (!reply || reply->clock != m_clock)) {
        m_mayReadPackets = false; // what is missing now will be decoded
        return;
    }
    if (!reply) {
        for (const FrameNeed& need : query.needs)
            m_failures.append({need, failure});
        return;
    }
    if (m_isClockKnown && m_clock == reply->clock) {
        const auto isTried = [&](const FrameNeed& need) { return !need.isOnePicture || !brings(*reply, need); };
        std::copy_if(query.needs.begin(), query.needs.end(), std::back_inserter(m_tried), isTried);
    } else { // the first reply, or the file was replaced
        m_clock = reply->clock;
        m_isClockKnown = true;
        m_index = {};
        m_pictures.clear();
        m_stored.clear();
        m_storedBytes = 0;
        m_tried.clear();
    }
    learn(*reply);
    store(*reply);
}

void FrameSource::learn(const FrameReply& reply)
{
    m_index.learn(reply.from, reply.to, reply.frames);
    for (const FramePicture& picture : reply.pictures) {
        learnShape(picture.image.size());
        m_pictures.insert(picture.ticks, new FramePicture(picture), picture.image.sizeInBytes());
    }
}

/// Sizes are rounded: what differs by less than a fiftieth is the same shape, which stays as it was.
void FrameSource::learnShape(QSize size)
{
    const qint64 one = qint64(m_shape.width()) * size.height();
    const qint64 other = qint64(m_shape.height()) * size.width();
    if (std::abs(one - other) * 50 > one)
        m_shape = size;
}

const FramePicture* FrameSource::picture(qint64 ticks) const
{
    if (const FramePicture* kept = m_pictures.object(ticks))
        return kept;
    const auto stored = m_stored.constFind(ticks);
    const auto picture = stored == m_stored.constEnd() ? std::nullopt : stored->picture();
    if (!picture) {
        m_stored.remove(ticks);
        return nullptr;
    }
    m_pictures.insert(ticks, new FramePicture(*picture), picture->image.sizeInBytes());
    return m_pictures.object(ticks);
}

bool FrameSource::hasPicture(qint64 ticks, QSize room) const
{
    const auto fills = [room](QSize box) { return room.boundedTo(box) == room; };
    const FramePicture* kept = m_pictures.object(ticks);
    const auto stored = m_stored.constFind(ticks);
    return (kept && fills(kept->box)) || (stored != m_stored.constEnd() && fills(stored->box));
}

bool FrameSource::keepsSmallPictures() const
{
    return m_storeName && m_storedBytes < m_store->mostBytesOfVideo();
}

// On disk

void FrameSource::loadStored()
{
    m_storeName = m_store ? PictureStore::nameFor(m_videoURL) : std::nullopt;
    if (!m_storeName)
        return;
    m_storeThread.start([self = QPointer(this), store = *m_store, name = *m_storeName] {
        const QList<StoredReply> replies = store.load(name);
        const auto take = [self, name, replies] {
            if (self && self->m_storeName == name)
                self->takeStored(replies);
        };
        QMetaObject::invokeMethod(QCoreApplication::instance(), take, Qt::QueuedConnection);
    });
}

void FrameSource::takeStored(const QList<StoredReply>& replies)
{
    for (const StoredReply& stored : replies) {
        if (!m_isClockKnown)
            m_clock = stored.times.clock;
        m_isClockKnown = true;
        if (stored.times.clock != m_clock)
            continue;
        learn(stored.times);
        keepSmall(stored.pictures);
    }
    if (!m_stored.isEmpty()) {
        if (const auto first = m_stored.constBegin()->picture())
            learnShape(first->image.size());
    }
    startNext();
    announceChange();
}

void FrameSource::keepSmall(const QList<StoredPicture>& pictures)
{
    for (const StoredPicture& picture : pictures) {
        if (!keepsSmallPictures())
            return;
        m_storedBytes += picture.jpeg.size() - m_stored.value(picture.ticks).jpeg.size();
        m_stored.insert(picture.ticks, picture);
    }
}

/// Times, and those pictures that are not kept yet.
void FrameSource::store(const FrameReply& reply)
{
    if (!m_store || !m_storeName)
        return;
    FrameReply news = reply;
    news.pictures.removeIf([this](const FramePicture& picture) {
        const QSize small = picture.box.boundedTo(PictureStore::box);
        return small.boundedTo(m_stored.value(picture.ticks).box) == small;
    });
    m_storeThread.start([self = QPointer(this), store = *m_store, name = *m_storeName, news] {
        StoredReply small = {news, {}};
        small.times.pictures.clear();
        for (const FramePicture& picture : news.pictures)
            small.pictures.append(StoredPicture::of(picture));
        store.append(name, small);
        const auto keep = [self, name, small] {
            if (self && self->m_storeName == name && self->m_clock == small.times.clock)
                self->keepSmall(small.pictures);
        };
        QMetaObject::invokeMethod(QCoreApplication::instance(), keep, Qt::QueuedConnection);
    });
}

/// Called inside the fetch's own callback, so the fetch goes later.
void FrameSource::removeFetch(FrameFetch* fetch)
{
    const auto found =
        std::find_if(m_fetches.begin(), m_fetches.end(), [fetch](const auto& owned) { return owned.get() == fetch; });
    if (found == m_fetches.end())
        return;
    found->release()->deleteLater();
    m_fetches.erase(found);
    startNext();
    announceChange();
}

/// Once for all that happens before the event loop runs again; never from inside a caller's own request.
void FrameSource::announceChange()
{
    if (std::exchange(m_isChangeDue, true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_isChangeDue = false;
            Q_EMIT changed();
        },
        Qt::QueuedConnection);
}

void FrameSource::stopFetches()
{
    for (const auto& fetch : m_fetches)
        stop(*fetch);
}

/// What was brought until now is not lost.
void FrameSource::stop(FrameFetch& fetch)
{
    const auto soFar = fetch.isStopped() ? std::nullopt : fetch.soFar();
    fetch.stop();
    if (soFar && m_isClockKnown && soFar->clock == m_clock)
        store(*soFar);
}
