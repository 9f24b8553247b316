#include "Frames/FilmScan.h"

#include <utility>

namespace {

/// Decoding the first frame is enough to be told about the file.
constexpr FrameNeed firstInstant = {0, 0.05};
constexpr QSize noBox(2, 2);

} // namespace

FilmScan::FilmScan(const FileURL& videoURL, const RuntimeConfiguration& runtime, Extent extent)
    : m_videoURL(videoURL)
    , m_runtime(runtime)
    , m_extent(extent)
{}

void FilmScan::start()
{
    fetch(FrameQuery::forNeeds({firstInstant}, noBox, std::nullopt));
}

double FilmScan::secondsReached() const
{
    return m_fetch && m_fetch->query().readsAll ? m_fetch->secondsReached() : 0;
}

void FilmScan::fetch(const FrameQuery& query)
{
    if (m_fetch)
        m_fetch.release()->deleteLater(); // we run inside its completion
    m_fetch = std::make_unique<FrameFetch>(
        query, m_videoURL, m_runtime,
        [this, query](const auto& reply, const QString& failure) { take(query, reply, failure); });
    m_fetch->start();
}

void FilmScan::take(const FrameQuery& query, const std::optional<FrameReply>& reply, const QString& failure)
{
    if (query.readsAll && query.readsPackets && (!reply || reply->clock != m_film.clock)) {
        fetch(FrameQuery::forAll(m_film.clock, false)); // the packets have told less than a decoder
        return;
    }
    if (!reply) {
        finish(failure);
        return;
    }
    if (query.readsAll) {
        m_film.frames = reply->frames;
        m_film.clock = reply->clock;
        finish({});
        return;
    }
    m_film = {reply->clock, {}, reply->duration, reply->startTimecode};
    if (m_extent == Extent::allFrames)
        fetch(FrameQuery::forAll(reply->clock, reply->clock.packetsAreFrames));
    else
        finish({});
}

void FilmScan::finish(const QString& failure)
{
    if (const auto notify = std::exchange(onEnd, nullptr))
        notify(failure.isEmpty() ? std::optional(m_film) : std::nullopt, failure);
}
