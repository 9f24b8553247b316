#pragma once

#include "Viewer/FrameSearch.h"

#include <QByteArray>
#include <QImage>
#include <QStringList>

#include <optional>

/// One call of ffmpeg for frame times and pictures: every frame of a stretch is timed, those wanted are drawn. Where
/// none is wanted and the packets tell the times, nothing is decoded, which takes a tenth of the time.
struct FrameQuery
{
    qint64 fromMilliseconds = 0;
    qint64 lengthMilliseconds = 0;
    QList<FrameNeed> needs;          ///< what the stretch serves
    QSize box;                       ///< device pixels into which a picture is fitted
    std::optional<VideoClock> clock; ///< nothing before the first reply has told it
    bool readsPackets = false;       ///< ffmpeg shall list packets instead of decoding them

    /// One query for all those needs.
    [[nodiscard]] static FrameQuery forNeeds(const QList<FrameNeed>& needs, QSize box,
                                             const std::optional<VideoClock>& clock);

    /// ffmpeg's words: times on standard error, pictures on standard output.
    [[nodiscard]] QStringList arguments(const QString& videoPath) const;
    [[nodiscard]] double fromSeconds() const { return static_cast<double>(fromMilliseconds) / 1000; }
    [[nodiscard]] double toSeconds() const { return static_cast<double>(fromMilliseconds + lengthMilliseconds) / 1000; }
    /// Whether the stretch and a need have anything in common.
    [[nodiscard]] bool touches(const FrameNeed& need) const;
};

/// A frame as a picture, turned upright and fitted into a box.
struct FramePicture
{
    qint64 ticks = 0;
    QImage image;
    QSize sourceSize; ///< of the upright frame, in pixels of the video
    QSize box;
};

/// What a query has brought.
struct FrameReply
{
    VideoClock clock;
    qint64 from = 0; ///< ticks; every frame from here on and before `to` is in `frames`
    qint64 to = 0;
    QList<qint64> frames;
    QList<FramePicture> pictures;
};

/// Puts a reply together from what ffmpeg prints, as it arrives.
class FrameReplyReader final
{
public:
    explicit FrameReplyReader(FrameQuery query)
        : m_query(std::move(query))
        , m_clock(m_query.clock.value_or(VideoClock()))
    {}

    /// A line of standard error.
    void readLine(const QByteArray& line);
    /// A piece of standard output: pictures in the PPM form, one after another.
    void readPictures(const QByteArray& chunk);

    [[nodiscard]] const FrameQuery& query() const { return m_query; }
    /// Once ffmpeg has ended well; nothing when it found no video at all, or packets that do not tell the frames.
    [[nodiscard]] std::optional<FrameReply> reply() const;
    /// The last line that is neither empty nor about a frame: ffmpeg's reason, when it failed.
    [[nodiscard]] const QByteArray& lastWords() const { return m_lastWords; }

private:
    void readPacket(const QByteArray& line);
    void readTimedFrame(const QByteArray& line);
    [[nodiscard]] std::optional<FrameReply> packetReply() const;

    FrameQuery m_query;
    VideoClock m_clock;
    bool m_hasClock = false; ///< a decoder has told it
    bool m_hasStart = false;
    int m_streamCount = 0;
    int m_videoStreamCount = 0;
    QSize m_sourceSize;
    QList<qint64> m_frames;
    QList<qint64> m_drawnFrames;
    QList<QImage> m_images;
    QByteArray m_pending;
    QByteArray m_lastWords;

    // Of the packets, in ticks.
    std::optional<qint64> m_firstDecoded;
    std::optional<qint64> m_firstRestart; ///< where a decoder can start with nothing else
    qint64 m_lastDecoded = 0;
    bool m_hasOddPackets = false;
};
