#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <optional>

/// What ffmpeg has said about the clip it writes. Times are seconds.
struct FFmpegReport
{
    std::optional<double> sourceDuration; ///< as the banner has it, to the hundredth
    bool startsAtKeyFrames = false;       ///< the source's container; the pictures before the next one may be missing
    std::optional<double> frameRate;      ///< of the clip's video; absent where the source's varies
    bool hasSound = false;                ///< the clip has
    std::optional<qint64> frames;         ///< given to the encoder so far; absent for a clip without video
    std::optional<double> outTime;        ///< how far the written file reaches; behind `frames` by the encoder's delay
    std::optional<double> speed;          ///< 2.4 = a minute of video in 25 seconds
    QString lastError;                    ///< the last line that tells of an error
    QString lastWords;                    ///< the line that the log ends with, if it is ffmpeg's own message
    QString fault;                        ///< the first line that proves a bad clip even when ffmpeg ends with success

    /// Why ffmpeg failed, if it did and said so.
    [[nodiscard]] QString reason() const { return lastError.isEmpty() ? lastWords : lastError; }
    /// How long the clip is by the more generous of both counts; nothing before the first progress.
    [[nodiscard]] std::optional<double> length() const;

    friend bool operator==(const FFmpegReport&, const FFmpegReport&) = default;
};

/// Follows what ffmpeg prints while it writes one clip: the banner, the blocks of -progress, and its messages.
/// Chunks may be cut anywhere; what a line cut in two means is known once its end has come.
class FFmpegOutputReader final
{
public:
    void append(QByteArrayView chunk);
    /// Takes what follows the last line's end for a line, too.
    void finish();

    [[nodiscard]] const FFmpegReport& report() const { return m_report; }

private:
    enum class Section {
        none,
        input,
        output
    };

    void readLine(QByteArrayView line);
    [[nodiscard]] bool readProgress(QByteArrayView line);
    void readBanner(QByteArrayView line);
    void readInputStream(const QByteArray& line);
    void readOutputStream(const QByteArray& line);
    void readMessage(QByteArrayView line);
    [[nodiscard]] bool isSoundBeforeOutput(const QByteArray& lowerCaseLine) const;

    FFmpegReport m_report;
    FFmpegReport m_block; ///< the progress block that is being read; counts once it is whole
    Section m_section = Section::none;
    bool m_frameRateVaries = false;
    QByteArrayList m_soundStreams; ///< of the source, "stream #0:1:"
    QByteArray m_pending;
};
