#include "Frames/FrameQuery.h"

#include "Models/NumberText.h"

#include <algorithm>
#include <cmath>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

/// A slack for the wanted pictures, which may be counted from the first frame of the stretch.
constexpr double pictureSlackSeconds = 0.05;
/// How much earlier to begin where the first frames after a seek may be lost: the usual distance of key frames.
constexpr double inexactSeekSeconds = 10;
/// More pictures than this are never drawn in one call.
constexpr int mostPictures = 128;

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

/// Both time stamps are known by their places among the filters to the reader of the reply.
QStringList pictureArguments(const FrameQuery& query, const QString& videoPath)
{
    const QString filters =
        u"trim=duration=%1,showinfo=checksum=0,select='%2',scale=w='max(1,min(%3,%4*dar))':h='max(1,min(%4,%3/dar))',"
        "showinfo=checksum=0,settb=1/25,setpts=N"_s.arg(
            secondsWord(static_cast<double>(query.lengthMilliseconds) / 1000), selection(query),
            QString::number(query.box.width()), QString::number(query.box.height()));
    // The stream is chosen as for a clip. The last two filters and the rate keep ffmpeg from evening out the frames.
    return {u"-nostdin"_s, u"-hide_banner"_s, u"-nostats"_s,   u"-copyts"_s, u"-ss"_s, secondsWord(query.fromSeconds()),
            u"-i"_s,       videoPath,         u"-an"_s,        u"-sn"_s,     u"-dn"_s, u"-vf"_s,
            filters,       u"-r"_s,           u"25"_s,         u"-c:v"_s,    u"ppm"_s, u"-pix_fmt"_s,
            u"rgb24"_s,    u"-f"_s,           u"image2pipe"_s, u"pipe:1"_s};
}

/// Every frame is timed and none is drawn.
QStringList timingArguments(const QString& videoPath)
{
    return {u"-nostdin"_s,
            u"-hide_banner"_s,
            u"-nostats"_s,
            u"-copyts"_s,
            u"-i"_s,
            videoPath,
            u"-an"_s,
            u"-sn"_s,
            u"-dn"_s,
            u"-vf"_s,
            u"null,showinfo=checksum=0"_s,
            u"-f"_s,
            u"null"_s,
            u"-"_s};
}

/// Every packet once as stream 0, and those that begin with a picture from which a decoder can start (an IDR picture,
/// unit 5 in H.264) once more as stream 1.
QStringList packetArguments(const FrameQuery& query, const QString& videoPath)
{
    QStringList from;
    QStringList to;
    if (!query.readsAll) {
        from = {u"-ss"_s, secondsWord(query.fromSeconds())};
        to = {u"-to"_s, secondsWord(query.toSeconds() + query.clock->startSeconds())};
    }
    return QStringList{u"-nostdin"_s, u"-v"_s, u"error"_s, u"-copyts"_s} + from +
           QStringList{u"-i"_s,
                       videoPath,
                       u"-map"_s,
                       u"0:v"_s,
                       u"-map"_s,
                       u"0:v"_s,
                       u"-c"_s,
                       u"copy"_s,
                       u"-copyinkf"_s,
                       u"-bsf:v:1"_s,
                       u"filter_units=pass_types=5"_s} +
           to + QStringList{u"-f"_s, u"framecrc"_s, u"pipe:2"_s};
}

} // namespace

FrameQuery FrameQuery::forAll(const VideoClock& clock, bool readsPackets)
{
    return {0, 0, {}, {}, clock, readsPackets, true};
}

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
    if (readsPackets)
        return packetArguments(*this, videoPath);
    return readsAll ? timingArguments(videoPath) : pictureArguments(*this, videoPath);
}

bool FrameQuery::touches(const FrameNeed& need) const
{
    return need.from < toSeconds() && fromSeconds() < need.to;
}

bool FrameQuery::serves(const FrameNeed& need) const
{
    return std::any_of(needs.begin(), needs.end(),
                       [&need](const FrameNeed& served) { return need.from < served.to && served.from < need.to; });
}
