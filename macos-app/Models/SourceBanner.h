#pragma once

#include <QByteArray>
#include <QList>

#include <optional>

struct SourceStream
{
    enum class Kind {
        video,
        audio,
        other
    };
    Kind kind = Kind::other;
    QByteArray name;        ///< "stream #0:1", as messages have it
    QByteArray codec;       ///< "h264"
    QByteArray description; ///< all that follows the kind
    bool frameRateVaries = false;
};

/// What ffmpeg tells about a source before it does anything.
struct SourceBanner
{
    /// The container lets ffmpeg start at any picture. In others those before the next whole picture may be missing.
    bool seeksExactly = true;
    std::optional<double> duration; ///< seconds, to the hundredth
    std::optional<qint64> startMicroseconds;
    QByteArray startTimecode; ///< of the first picture, as the source states it: "01:00:00;00"; may be empty
    QList<SourceStream> streams;
};

/// Reads the first source that ffmpeg tells about, line by line.
class SourceBannerReader final
{
public:
    /// Whether the line belongs to the banner.
    bool readLine(const QByteArray& line);

    [[nodiscard]] const SourceBanner& banner() const { return m_banner; }

private:
    void readStream(const QByteArray& line);

    SourceBanner m_banner;
    bool m_isInside = false;
};

/// Of "Stream #0:0: Video: h264, 640x360, 25 fps, 50 tbr" and " fps", the 25.
[[nodiscard]] std::optional<double> bannerRate(const QByteArray& line, QByteArrayView unit);
