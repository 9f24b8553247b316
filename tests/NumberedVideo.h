#pragma once

#include <QImage>
#include <QProcess>
#include <QStringList>

/// Videos whose frames say which they are: sixteen blocks, light or dark, are the bits of the frame's number. They
/// outlive encoding, scaling and turning, so frames can be compared by what they show.
namespace NumberedVideo {

inline constexpr int width = 320;
inline constexpr int height = 180;
inline constexpr int columns = 8;
inline constexpr int rows = 2;

/// The number that a picture shows. A turned picture shows another number than the upright one, yet still its own.
inline int number(const QImage& image)
{
    const bool isTurned = image.height() > image.width();
    const int across = isTurned ? rows : columns;
    const int down = isTurned ? columns : rows;
    int bits = 0;
    for (int i = 0; i < columns * rows; ++i) {
        const int x = (2 * (i % across) + 1) * image.width() / (2 * across);
        const int y = (2 * (i / across) + 1) * image.height() / (2 * down);
        bits |= int(qGray(image.pixel(x, y)) > 128) << i;
    }
    return bits;
}

inline QByteArray frame(int shown)
{
    QByteArray pixels(qsizetype(width) * height, '\0');
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int bit = y * rows / height * columns + x * columns / width;
            pixels[y * width + x] = (shown >> bit & 1) != 0 ? char(210) : char(40);
        }
    }
    return pixels;
}

/// Writes the numbers from 0 on to a file; `options` are ffmpeg's words for the output. False when ffmpeg failed.
inline bool make(const QString& path, const QString& rate, int frameCount, const QStringList& options)
{
    QProcess ffmpeg;
    ffmpeg.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const QString words = QStringLiteral("-v error -y -f rawvideo -pix_fmt gray -s %1x%2 -r %3 -i -");
    ffmpeg.start(QStringLiteral("ffmpeg"),
                 words.arg(width).arg(height).arg(rate).split(QLatin1Char(' ')) + options + QStringList{path});
    for (int i = 0; i < frameCount; ++i) {
        ffmpeg.write(frame(i));
        ffmpeg.waitForBytesWritten(-1);
    }
    ffmpeg.closeWriteChannel();
    return ffmpeg.waitForFinished(-1) && ffmpeg.exitCode() == 0;
}

/// The numbers of all frames of a file, in their order, as a player shows them.
inline QList<int> numbers(const QString& path)
{
    QProcess ffmpeg;
    const QString words = QStringLiteral(
        "-vf scale='if(gt(iw,ih),80,48)':'if(gt(iw,ih),48,80)',settb=1/25,setpts=N -r 25 -pix_fmt gray -c:v pgm -f "
        "image2pipe -");
    ffmpeg.start(QStringLiteral("ffmpeg"), QStringList{QStringLiteral("-i"), path} + words.split(QLatin1Char(' ')));
    ffmpeg.waitForFinished(-1);
    QByteArray output = ffmpeg.readAllStandardOutput();
    constexpr qsizetype length = 13 + 80 * 48; // "P5\n80 48\n255\n"
    QList<int> found;
    for (qsizetype at = 0; at + length <= output.size(); at += length)
        found.append(number(QImage::fromData(output.mid(at, length), "PGM")));
    return found;
}

} // namespace NumberedVideo
