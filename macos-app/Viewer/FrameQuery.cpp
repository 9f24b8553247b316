#include "Viewer/FrameQuery.h"

#include "Models/NumberText.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

/// A slack for the wanted pictures, which may be counted from the first frame of the stretch.
constexpr double pictureSlackSeconds = 0.05;
/// How much earlier to begin where the first frames after a seek may be lost: the usual distance of key frames.
constexpr double inexactSeekSeconds = 10;
/// More pictures than this are never drawn in one call.
constexpr int mostPictures = 48;

/// The places of the two time stamps in the chain of filters below, by which ffmpeg names their lines.
const QByteArray timedPrefix = "[Parsed_showinfo_1 @";
const QByteArray drawnPrefix = "[Parsed_showinfo_4 @";

QString secondsWord(double seconds)
{
    return formatFixed(seconds, 3);
}

/// Which frames are drawn: by their times, or by their distance from the first frame of the stretch while it is not
/// known from where the container counts.
QString selection(const FrameQuery& query)
{
    const QString time = query.clock ? u"t"_s : u"t-start_t"_s;
    const double shift = query.clock ? query.clock->startSeconds() : -query.fromSeconds();
    QStringList ranges = {u"0"_s};
    for (const FrameNeed& need : query.needs) {
        if (need.wantsPictures())
            ranges << u"between(%1,%2,%3)"_s.arg(time, secondsWord(need.picturesFrom + shift - pictureSlackSeconds),
                                                 secondsWord(need.picturesTo + shift));
    }
    return u"lt(selected_n,%1)*(%2)"_s.arg(mostPictures).arg(ranges.join(u'+'));
}

QStringList pictureArguments(const FrameQuery& query, const QString& videoPath)
{
    const QString filters =
        u"trim=duration=%1,showinfo,select='%2',scale=w='max(1,min(%3,%4*dar))':h='max(1,min(%4,%3/dar))',showinfo,"
        "settb=1/25,setpts=N"_s.arg(secondsWord(static_cast<double>(query.lengthMilliseconds) / 1000), selection(query),
                                    QString::number(query.box.width()), QString::number(query.box.height()));
    // The stream is chosen as for a clip. The last two filters and the rate keep ffmpeg from evening out the frames.
    return {u"-nostdin"_s, u"-hide_banner"_s, u"-nostats"_s,   u"-copyts"_s, u"-ss"_s, secondsWord(query.fromSeconds()),
            u"-i"_s,       videoPath,         u"-an"_s,        u"-sn"_s,     u"-dn"_s, u"-vf"_s,
            filters,       u"-r"_s,           u"25"_s,         u"-c:v"_s,    u"ppm"_s, u"-pix_fmt"_s,
            u"rgb24"_s,    u"-f"_s,           u"image2pipe"_s, u"pipe:1"_s};
}

/// Every packet once as stream 0, and those that begin with a picture from which a decoder can start (an IDR picture,
/// unit 5 in H.264) once more as stream 1.
QStringList packetArguments(const FrameQuery& query, const QString& videoPath)
{
    return {u"-nostdin"_s,
            u"-v"_s,
            u"error"_s,
            u"-copyts"_s,
            u"-ss"_s,
            secondsWord(query.fromSeconds()),
            u"-i"_s,
            videoPath,
            u"-map"_s,
            u"0:v"_s,
            u"-map"_s,
            u"0:v"_s,
            u"-c"_s,
            u"copy"_s,
            u"-copyinkf"_s,
            u"-bsf:v:1"_s,
            u"filter_units=pass_types=5"_s,
            u"-to"_s,
            secondsWord(query.toSeconds() + query.clock->startSeconds()),
            u"-f"_s,
            u"framecrc"_s,
            u"pipe:2"_s};
}

std::optional<QRegularExpressionMatch> matched(const QRegularExpression& expression, const QByteArray& line)
{
    auto match = expression.match(QString::fromUtf8(line));
    return match.hasMatch() ? std::optional(std::move(match)) : std::nullopt;
}

} // namespace

FrameQuery FrameQuery::forNeeds(const QList<FrameNeed>& needs, QSize box, const std::optional<VideoClock>& clock)
{
    double from = needs.first().from;
    double to = needs.first().to;
    for (const FrameNeed& need : needs) {
        from = std::min(from, need.from);
        to = std::max(to, need.to);
    }
    if (clock && !clock->seeksExactly)
        from -= inexactSeekSeconds;
    const auto fromMilliseconds = std::max<qint64>(0, static_cast<qint64>(std::floor(from * 1000)));
    const auto toMilliseconds = static_cast<qint64>(std::ceil(to * 1000));
    const bool readsPackets = clock && clock->packetsAreFrames && clock->seeksExactly && fromMilliseconds > 0 &&
                              std::none_of(needs.begin(), needs.end(), std::mem_fn(&FrameNeed::wantsPictures));
    return {fromMilliseconds, std::max<qint64>(1, toMilliseconds - fromMilliseconds), needs, box, clock, readsPackets};
}

QStringList FrameQuery::arguments(const QString& videoPath) const
{
    return readsPackets ? packetArguments(*this, videoPath) : pictureArguments(*this, videoPath);
}

bool FrameQuery::touches(const FrameNeed& need) const
{
    return need.from < toSeconds() && fromSeconds() < need.to;
}

void FrameReplyReader::readLine(const QByteArray& line)
{
    if (m_query.readsPackets) {
        readPacket(line);
        return;
    }
    static const QRegularExpression containerStart(uR"(^\s*Duration: [^,]+, start: (-?)(\d+)\.(\d{6}))"_s);
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
    } else if (line.startsWith("Input #0, ")) {
        m_clock.seeksExactly = line.startsWith("Input #0, mov,") || line.startsWith("Input #0, matroska,");
    } else if (line.startsWith("  Stream #0:") && !line.contains(" -> ") && !m_hasClock) {
        m_clock.hasOneStream = ++m_streamCount == 1;
        if (line.contains(": Video: "))
            m_clock.packetsAreFrames =
                ++m_videoStreamCount == 1 && line.contains(": h264") && line.contains("progressive");
    } else if (line.startsWith(drawnPrefix)) {
        readTimedFrame(line);
    } else if (const auto match = m_hasStart ? std::nullopt : matched(containerStart, line)) {
        m_hasStart = true;
        const qint64 start = match->captured(2).toLongLong() * 1'000'000 + match->captured(3).toLongLong();
        m_clock.startMicroseconds = match->captured(1).isEmpty() ? start : -start;
    } else if (!line.trimmed().isEmpty()) {
        m_lastWords = line.trimmed();
    }
}

/// Stream, decoding time, showing time, and flags of a packet that is neither damaged nor to be left out.
void FrameReplyReader::readPacket(const QByteArray& line)
{
    static const QRegularExpression packet(
        uR"(^([01]), +(-?\d+), +(-?\d+), +\d+, +\d+, 0x[0-9a-f]{8}(, F=0x1?0)?(, S=.*)?$)"_s);
    static const QRegularExpression tick(uR"(^#tb 0: (\d+)/(\d+)$)"_s);
    if (const auto match = matched(packet, line)) {
        const qint64 decoded = match->captured(2).toLongLong();
        const qint64 shown = match->captured(3).toLongLong();
        if (match->captured(1) == u"1") {
            m_firstRestart = m_firstRestart.value_or(decoded);
            return;
        }
        m_firstDecoded = m_firstDecoded.value_or(decoded);
        m_lastDecoded = decoded;
        m_frames.append(shown);
        m_hasOddPackets = m_hasOddPackets || shown < decoded;
    } else if (const auto ticks = matched(tick, line)) {
        m_clock.tickNumerator = ticks->captured(1).toLongLong();
        m_clock.tickDenominator = ticks->captured(2).toLongLong();
    } else {
        m_hasOddPackets = m_hasOddPackets || !line.startsWith('#');
    }
}

void FrameReplyReader::readTimedFrame(const QByteArray& line)
{
    static const QRegularExpression frame(uR"(\] n: *\d+ pts: *(-?\d+) .* s:(\d+)x(\d+) )"_s);
    const auto match = matched(frame, line);
    if (!match)
        return;
    const qint64 ticks = match->captured(1).toLongLong();
    if (line.startsWith(drawnPrefix)) {
        m_drawnFrames.append(ticks);
    } else {
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

/// A decoder that is started with nothing else shows all these packets; and no packet shows before it is decoded, so up
/// to where decoding has come every frame is known.
std::optional<FrameReply> FrameReplyReader::packetReply() const
{
    if (m_hasOddPackets || !m_firstDecoded || m_firstRestart != m_firstDecoded)
        return std::nullopt;
    FrameReply reply;
    reply.clock = m_clock;
    reply.from = m_clock.ticksAt(m_query.fromMilliseconds * 1000);
    reply.to = m_lastDecoded;
    std::copy_if(m_frames.begin(), m_frames.end(), std::back_inserter(reply.frames),
                 [&reply](qint64 ticks) { return ticks >= reply.from && ticks < reply.to; });
    std::sort(reply.frames.begin(), reply.frames.end());
    return reply.frames.isEmpty() ? std::nullopt : std::optional(reply);
}

std::optional<FrameReply> FrameReplyReader::reply() const
{
    if (m_query.readsPackets)
        return packetReply();
    if (!m_hasClock)
        return std::nullopt;
    FrameReply reply;
    reply.clock = m_clock;
    reply.frames = m_frames;
    std::sort(reply.frames.begin(), reply.frames.end());
    reply.from =
        m_query.fromMilliseconds > 0 ? m_clock.ticksAt(m_query.fromMilliseconds * 1000) : FrameIndex::beginning;
    reply.to =
        m_frames.isEmpty() ? FrameIndex::end : m_frames.first() + m_clock.ticksIn(m_query.lengthMilliseconds * 1000);
    if (!m_clock.seeksExactly && m_query.fromMilliseconds > 0 && !m_frames.isEmpty()) {
        // The first frames may be lost, and the end shows only by what is missing behind the early beginning.
        reply.from = reply.frames.first();
        const double last = m_clock.secondsAt(reply.frames.last());
        if (std::all_of(m_query.needs.begin(), m_query.needs.end(),
                        [last](const FrameNeed& need) { return last < need.from; }))
            reply.to = FrameIndex::end;
    }
    for (qsizetype i = 0; i < std::min(m_images.size(), m_drawnFrames.size()); ++i)
        reply.pictures.append({m_drawnFrames[i], m_images[i], m_sourceSize, m_query.box});
    return reply;
}
