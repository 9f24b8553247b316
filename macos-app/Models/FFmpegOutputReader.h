#pragma once

#include "Models/LineSplitter.h"
#include "Models/SourceBanner.h"

#include <QString>

#include <optional>

/// What ffmpeg has said about the clip it writes. Times are seconds.
struct FFmpegReport
{
    std::optional<double> sourceDuration; ///< as the banner has it, to the hundredth
    std::optional<double> sourceStart;    ///< to the microsecond; below 0 some of it cannot be reached
    bool startsAtKeyFrames = false;       ///< the source's container does not let ffmpeg start at any picture
    std::optional<double> frameRate;      ///< of the clip's video; absent where the source's varies
    bool hasSound = false;                ///< the clip has
    std::optional<qint64> frames;         ///< given to the encoder so far; absent for a clip without video
    std::optional<qint64> repeatedFrames; ///< of these, pictures that stand in for missing ones
    std::optional<double> outTime;        ///< how far the written file reaches; behind `frames` by the encoder's delay
    std::optional<double> speed;          ///< 2.4 = a minute of video in 25 seconds
    QString firstError;                   ///< the first line that names an error, decoders' aside
    QString lastError;                    ///< the last line that tells of an error
    QString lastWords;                    ///< the line that the log ends with, if it is ffmpeg's own message
    QString fault;                        ///< the first line that proves a bad clip even when ffmpeg ends with success

    /// Why ffmpeg failed, if it did and said so.
    [[nodiscard]] QString reason() const;
    /// How long the clip is by the more generous of both counts; nothing before the first progress.
    [[nodiscard]] std::optional<double> length() const;

    friend bool operator==(const FFmpegReport&, const FFmpegReport&) = default;
};

/// Follows what ffmpeg prints while it writes one clip: the banner, the blocks of -progress, and its messages.
/// Chunks may be cut anywhere; what a line cut in two means is known once its end has come.
class FFmpegOutputReader final
{
public:
    FFmpegOutputReader();
    Q_DISABLE_COPY_MOVE(FFmpegOutputReader)

    void append(const QByteArray& chunk) { m_lines.append(chunk); }
    /// Takes what follows the last line's end for a line, too.
    void finish() { m_lines.finish(); }

    [[nodiscard]] const FFmpegReport& report() const { return m_report; }

private:
    void readLine(const QByteArray& line);
    [[nodiscard]] bool readProgress(QByteArrayView line);
    [[nodiscard]] bool readBanner(const QByteArray& line);
    void readOutputStream(const QByteArray& line);
    void readMessage(const QByteArray& line);
    [[nodiscard]] bool isSoundBeforeOutput(const QByteArray& lowerCaseLine) const;
    [[nodiscard]] bool isFromDecoder(const QByteArray& lowerCaseLine) const;

    FFmpegReport m_report;
    FFmpegReport m_block; ///< the progress block that is being read; counts once it is whole
    SourceBannerReader m_source;
    bool m_hasOutput = false;
    bool m_lastErrorIsGeneral = true;
    LineSplitter m_lines;
};
