#pragma once

#include "Frames/FrameQuery.h"
#include "Frames/PacketTimes.h"
#include "Models/SourceBanner.h"

#include <QByteArray>
#include <QImage>

#include <algorithm>
#include <optional>

/// A frame as a picture, turned upright and fitted into a box.
struct FramePicture
{
    qint64 ticks = 0;
    QImage image;
    QSize sourceSize; ///< of the upright frame, in pixels of the video
    QSize box;

    /// Whether it is large enough to be shown in that box.
    [[nodiscard]] bool fills(QSize room) const { return box.width() >= room.width() && box.height() >= room.height(); }
};

/// What a query has brought.
struct FrameReply
{
    VideoClock clock;
    qint64 from = 0; ///< ticks; every frame from here on and before `to` is in `frames`
    qint64 to = 0;
    QList<qint64> frames;
    QList<FramePicture> pictures;
    std::optional<double> duration; ///< of the video as its file states it, seconds
    QByteArray startTimecode;       ///< of the first frame, as the file states it: "01:00:00;00"; may be empty
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
    /// The same from what has been decoded so far; nothing while it would tell nothing, or what may yet change.
    [[nodiscard]] std::optional<FrameReply> replySoFar() const;
    /// Pictures that have come.
    [[nodiscard]] qsizetype pictureCount() const { return std::min(m_images.size(), m_drawnFrames.size()); }
    /// The time of the frame, or of the packet, that was read last; 0 while there is none.
    [[nodiscard]] double secondsReached() const;
    /// The last line that is neither empty nor about a frame: ffmpeg's reason, when it failed.
    [[nodiscard]] const QByteArray& lastWords() const { return m_lastWords; }

private:
    void takeBanner();
    void readTimedFrame(const QByteArray& line);
    [[nodiscard]] std::optional<FrameReply> packetReply() const;
    [[nodiscard]] std::optional<FrameReply> decodedReply() const;

    FrameQuery m_query;
    VideoClock m_clock;
    PacketTimes m_packets;
    bool m_hasClock = false; ///< a decoder has told it
    SourceBannerReader m_source;
    QSize m_sourceSize;
    QList<qint64> m_frames;
    QList<std::optional<qint64>> m_drawnFrames; ///< nothing for a frame without a time
    QList<QImage> m_images;
    QByteArray m_pending;
    QByteArray m_lastWords;
};
