#include "Models/SourceBanner.h"

#include "Models/NumberText.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

std::optional<double> bannerRate(const QByteArray& line, QByteArrayView unit)
{
    for (const QByteArray& piece : line.split(',')) {
        const QByteArray property = piece.trimmed();
        if (!property.endsWith(unit))
            continue;
        if (const auto rate = parseDecimal(QString::fromLatin1(property.chopped(unit.size()))))
            return rate;
    }
    return std::nullopt;
}

namespace {

/// In others, frames before the next whole picture got lost in trials, in AVI and Flash files at their very beginning.
constexpr std::array containersWithIndex = {"mov", "matroska"};

/// "01:02:03.45"; nothing for "N/A".
std::optional<double> bannerTime(const QString& text)
{
    double seconds = 0;
    const QStringList pieces = text.split(u':');
    for (const QString& piece : pieces) {
        const auto value = parseDecimal(piece);
        if (!value || pieces.size() != 3)
            return std::nullopt;
        seconds = seconds * 60 + *value;
    }
    return seconds;
}

/// "1.400000", "-0.021000".
std::optional<qint64> bannerMicroseconds(QString text)
{
    const qsizetype point = text.indexOf(u'.');
    return point >= 0 && text.size() - point == 7 ? parseInteger(text.remove(point, 1)) : std::nullopt;
}

/// Of H.264 in AVI files, ffmpeg tells the rate of fields beside that of frames.
bool rateVaries(const QByteArray& line)
{
    const auto average = bannerRate(line, " fps");
    const auto nominal = bannerRate(line, " tbr");
    return average != nominal && !(average && nominal && *average == 2 * *nominal);
}

} // namespace

bool SourceBannerReader::readLine(const QByteArray& line)
{
    static const QRegularExpression times(u"^ +Duration: ([^,]+)(?:, start: (-?[0-9.]+))?"_s);
    if (line.startsWith("Input #0, ")) {
        const QByteArray container = line.mid(10, line.indexOf(',', 10) - 10);
        m_banner.seeksExactly =
            std::find(containersWithIndex.begin(), containersWithIndex.end(), container) != containersWithIndex.end();
        m_isInside = true;
    } else if (!line.startsWith(' ')) {
        m_isInside = false;
    } else if (m_isInside && line.trimmed().startsWith("Stream #")) {
        readStream(line.trimmed());
    } else if (m_isInside && line.trimmed().toLower().startsWith("timecode ") && m_banner.startTimecode.isEmpty()) {
        m_banner.startTimecode = line.mid(line.indexOf(':') + 1).trimmed();
    } else if (m_isInside && !m_banner.duration && !m_banner.startMicroseconds) {
        if (const auto match = times.match(QString::fromLatin1(line)); match.hasMatch()) {
            m_banner.duration = bannerTime(match.captured(1));
            m_banner.startMicroseconds = bannerMicroseconds(match.captured(2));
        }
    }
    return m_isInside;
}

/// "Stream #0:1[0x1](und): Audio: aac (LC), ...": what follows the number differs between formats.
void SourceBannerReader::readStream(const QByteArray& line)
{
    static const QRegularExpression pattern(u"^(Stream #\\d+:\\d+)[^ ]*: (\\w+): (([^ ,]+).*)"_s);
    const auto match = pattern.match(QString::fromLatin1(line));
    const QString kind = match.captured(2);
    m_banner.streams.append({.kind = kind == u"Video"   ? SourceStream::Kind::video
                                     : kind == u"Audio" ? SourceStream::Kind::audio
                                                        : SourceStream::Kind::other,
                             .name = match.captured(1).toLatin1().toLower(),
                             .codec = match.captured(4).toLatin1(),
                             .description = match.captured(3).toLatin1(),
                             .frameRateVaries = rateVaries(line)});
}
