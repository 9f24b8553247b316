#include "Frames/FrameReplyReader.h"

#include <QRegularExpression>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

/// The places of the two time stamps among the filters of a query, by which ffmpeg names their lines.
const QByteArray timedPrefix = "[Parsed_showinfo_1 @";
const QByteArray drawnPrefix = "[Parsed_showinfo_4 @";

/// What lies farther away is damage, and could not be reckoned with.
constexpr qint64 farthestTicks = qint64(1) << 60;

std::optional<QRegularExpressionMatch> matched(const QRegularExpression& expression, const QByteArray& line)
{
    auto match = expression.match(QString::fromUtf8(line));
    return match.hasMatch() ? std::optional(std::move(match)) : std::nullopt;
}

} // namespace

void FrameReplyReader::readLine(const QByteArray& line)
{
    if (m_query.readsPackets) {
        m_packets.readLine(line);
        return;
    }
    static const QRegularExpression clock(uR"(config in time_base: (\d+)/(\d+), frame_rate: (\d+)/(\d+))"_s);
    if (line.startsWith(timedPrefix)) {
        if (const auto match = matched(clock, line)) {
            m_clock.tickNumerator = match->captured(1).toLongLong();
            m_clock.tickDenominator = match->captured(2).toLongLong();
            if (match->captured(3) != u"0" && match->captured(4) != u"0") {
                m_clock.rateNumerator = match->captured(3).toLongLong();
                m_clock.rateDenominator = match->captured(4).toLongLong();
            }
            m_hasClock = m_clock.tickNumerator > 0 && m_clock.tickDenominator > 0;
        }
        readTimedFrame(line);
    } else if (line.startsWith(drawnPrefix)) {
        readTimedFrame(line);
    } else if (m_source.readLine(line)) {
        takeBanner();
    } else if (!line.trimmed().isEmpty()) {
        m_lastWords = line.trimmed();
    }
}

void FrameReplyReader::takeBanner()
{
    const SourceBanner& source = m_source.banner();
    const auto isVideo = [](const SourceStream& stream) { return stream.kind == SourceStream::Kind::video; };
    const auto video = std::find_if(source.streams.begin(), source.streams.end(), isVideo);
    m_clock.seeksExactly = source.seeksExactly;
    m_clock.startMicroseconds = source.startMicroseconds.value_or(0);
    m_clock.hasOneStream = source.streams.size() <= 1;
    m_clock.packetsAreFrames = std::count_if(source.streams.begin(), source.streams.end(), isVideo) == 1 &&
                               video->codec == "h264" && video->description.contains("progressive");
}

void FrameReplyReader::readTimedFrame(const QByteArray& line)
{
    static const QRegularExpression frame(uR"(\] n: *\d+ pts: *(-?\d+|NOPTS) .* s:(\d+)x(\d+) )"_s);
    const auto match = matched(frame, line);
    if (!match)
        return;
    bool hasTime = false;
    const qint64 ticks = match->captured(1).toLongLong(&hasTime);
    if (line.startsWith(drawnPrefix)) {
        m_drawnFrames.append(hasTime ? std::optional(ticks) : std::nullopt);
    } else if (hasTime && std::abs(ticks) < farthestTicks) {
        m_frames.append(ticks);
        m_sourceSize = QSize(match->captured(2).toInt(), match->captured(3).toInt());
    }
}

void FrameReplyReader::readPictures(const QByteArray& chunk)
{
    static const QRegularExpression header(uR"(^P6\n(\d{1,5}) (\d{1,5})\n255\n)"_s);
    m_pending += chunk;
    while (const auto match = matched(header, m_pending.left(32))) {
        const QSize size(match->captured(1).toInt(), match->captured(2).toInt());
        const qsizetype bytesPerLine = qsizetype(3) * size.width();
        const qsizetype length = match->capturedLength() + bytesPerLine * size.height();
        if (size.isEmpty() || m_pending.size() < length)
            return;
        const auto* pixels = reinterpret_cast<const uchar*>(m_pending.constData()) + match->capturedLength();
        m_images.append(QImage(pixels, size.width(), size.height(), bytesPerLine, QImage::Format_RGB888)
                            .convertToFormat(QImage::Format_RGB32));
        m_pending.remove(0, length);
    }
}

double FrameReplyReader::secondsReached() const
{
    const QList<qint64>& frames = m_query.readsPackets ? m_packets.frames() : m_frames;
    return frames.isEmpty() ? 0 : m_clock.secondsAt(frames.last());
}

std::optional<FrameReply> FrameReplyReader::reply() const
{
    return m_query.readsPackets ? packetReply() : decodedReply();
}

/// A decoder hands frames over in their order, so that all before the last one are known.
std::optional<FrameReply> FrameReplyReader::replySoFar() const
{
    if (m_query.readsPackets || m_frames.isEmpty() || !std::is_sorted(m_frames.begin(), m_frames.end()))
        return std::nullopt;
    auto reply = decodedReply();
    if (reply)
        reply->to = m_frames.last();
    return reply;
}

std::optional<FrameReply> FrameReplyReader::packetReply() const
{
    if (!m_packets.tellFrames())
        return std::nullopt;
    FrameReply reply;
    reply.clock = m_clock;
    if (const auto& tick = m_packets.tick()) {
        reply.clock.tickNumerator = tick->numerator;
        reply.clock.tickDenominator = tick->denominator;
    }
    reply.from = m_query.readsAll ? FrameIndex::beginning : reply.clock.ticksAt(m_query.fromMilliseconds * 1000);
    reply.to = m_query.readsAll ? FrameIndex::end : m_packets.knownUpTo();
    std::copy_if(m_packets.frames().begin(), m_packets.frames().end(), std::back_inserter(reply.frames),
                 [&reply](qint64 ticks) { return ticks >= reply.from && ticks < reply.to; });
    std::sort(reply.frames.begin(), reply.frames.end());
    return reply.frames.isEmpty() ? std::nullopt : std::optional(reply);
}

std::optional<FrameReply> FrameReplyReader::decodedReply() const
{
    if (!m_hasClock)
        return std::nullopt;
    FrameReply reply;
    reply.clock = m_clock;
    reply.frames = m_frames;
    std::sort(reply.frames.begin(), reply.frames.end());
    reply.from =
        m_query.fromMilliseconds > 0 ? m_clock.ticksAt(m_query.fromMilliseconds * 1000) : FrameIndex::beginning;
    reply.to = m_frames.isEmpty() || m_query.readsAll
                   ? FrameIndex::end
                   : m_frames.first() + m_clock.ticksIn(m_query.lengthMilliseconds * 1000);
    reply.duration = m_source.banner().duration;
    reply.startTimecode = m_source.banner().startTimecode;
    if (!m_clock.seeksExactly && m_query.fromMilliseconds > 0 && !m_frames.isEmpty()) {
        // The first frames may be lost, and the end shows only by what is missing behind the early beginning.
        reply.from = reply.frames.first();
        const double last = m_clock.secondsAt(reply.frames.last());
        if (std::all_of(m_query.needs.begin(), m_query.needs.end(),
                        [last](const FrameNeed& need) { return last < need.from; }))
            reply.to = FrameIndex::end;
    }
    for (qsizetype i = 0; i < pictureCount(); ++i) {
        // Of several frames at one time a clip begins with the first.
        if (m_drawnFrames[i] && m_drawnFrames.indexOf(m_drawnFrames[i]) == i)
            reply.pictures.append({*m_drawnFrames[i], m_images[i], m_sourceSize, m_query.box});
    }
    return reply;
}
