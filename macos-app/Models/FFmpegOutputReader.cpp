#include "Models/FFmpegOutputReader.h"

#include "Models/NumberText.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

/// A message holds one of these when it is about an error. ffmpeg gives no level with its lines.
constexpr std::array errorWords = {"error",     "fail",          "invalid",        "corrupt",   "cannot",
                                   "could not", "unable",        "no such",        "not found", "denied",
                                   "no space",  "not supported", "received signal"};

/// Damage that ffmpeg works around, filling the gap with what it has, and a file's end that could not be written: after
/// both it may still end with success. Each as it stands in one or another release.
constexpr std::array faultWords = {
    "error while decoding",   "corrupt decoded frame",    "error submitting packet to decoder",
    "decoding error",         "error writing trailer of", "error closing file",
    "no space left on device"};

template<typename Words>
bool holdsAny(const QByteArray& lowerCaseLine, const Words& words)
{
    return std::any_of(words.begin(), words.end(), [&](const char* word) { return lowerCaseLine.contains(word); });
}

/// Without the address of the part that speaks, "[h264 @ 0x55d1c0]", which tells nobody anything.
QString readable(QByteArrayView line)
{
    static const QRegularExpression address(u"^\\[([^\\]]+) @ 0x[0-9a-f]+\\]"_s);
    return QString::fromUtf8(line).trimmed().replace(address, u"[\\1]"_s);
}

std::optional<double> decimal(QByteArrayView text)
{
    return parseDecimal(QString::fromLatin1(text));
}

std::optional<qint64> integer(QByteArrayView text)
{
    return parseInteger(QString::fromLatin1(text));
}

/// "01:02:03.45"; nothing for "N/A".
std::optional<double> bannerTime(QByteArrayView text)
{
    double seconds = 0;
    const QByteArrayList pieces = text.toByteArray().split(':');
    for (const QByteArray& piece : pieces) {
        const auto value = decimal(piece);
        if (!value || pieces.size() != 3)
            return std::nullopt;
        seconds = seconds * 60 + *value;
    }
    return seconds;
}

/// Of "Stream #0:0: Video: h264, 640x360, 25 fps, 50 tbr", the 25 that stands before " fps".
std::optional<double> rateOf(const QByteArray& line, QByteArrayView unit)
{
    for (const QByteArray& piece : line.split(',')) {
        const QByteArray property = piece.trimmed();
        if (const auto rate = property.endsWith(unit) ? decimal(property.chopped(unit.size())) : std::nullopt)
            return rate;
    }
    return std::nullopt;
}

/// The banner rounds: 23.98 stands for 24000/1001.
double exactFrameRate(double shown)
{
    const double whole = std::round(shown);
    const double broadcast = whole * 1000 / 1001;
    return shown < whole && std::abs(shown - broadcast) < 0.006 ? broadcast : shown;
}

} // namespace

std::optional<double> FFmpegReport::length() const
{
    std::optional<double> counted;
    if (frames && frameRate)
        counted = static_cast<double>(*frames) / *frameRate;
    return std::max(counted, outTime);
}

void FFmpegOutputReader::append(QByteArrayView chunk)
{
    const auto endsLine = [](char c) { return c == '\n' || c == '\r'; };
    const auto* start = chunk.begin();
    for (const auto* end = std::find_if(start, chunk.end(), endsLine); end != chunk.end();
         end = std::find_if(start, chunk.end(), endsLine)) {
        if (m_pending.isEmpty()) {
            readLine(QByteArrayView(start, end));
        } else {
            m_pending.append(QByteArrayView(start, end));
            readLine(std::exchange(m_pending, QByteArray()));
        }
        start = end + 1;
    }
    m_pending.append(QByteArrayView(start, chunk.end()));
}

void FFmpegOutputReader::finish()
{
    readLine(std::exchange(m_pending, QByteArray()));
}

void FFmpegOutputReader::readLine(QByteArrayView line)
{
    if (line.trimmed().isEmpty() || line.startsWith("Conversion failed"))
        return;
    m_report.lastWords.clear();
    if (readProgress(line))
        return;
    readBanner(line);
    readMessage(line);
}

/// Besides the lines of a block, "key=value", this is the status line for people: "frame=   92 fps= 46 q=28.0 ...".
bool FFmpegOutputReader::readProgress(QByteArrayView line)
{
    const qsizetype equals = line.indexOf('=');
    const auto isKeyCharacter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_'; };
    if (equals <= 0 || !std::all_of(line.begin(), line.begin() + equals, isKeyCharacter))
        return false;
    const QByteArrayView key = line.first(equals);
    const QByteArrayView value = line.sliced(equals + 1).trimmed();
    if (key == "frame") {
        m_block.frames = integer(value);
    } else if (key == "out_time_us") {
        if (const auto microseconds = integer(value))
            m_block.outTime = clampedToZero(static_cast<double>(*microseconds) / 1e6);
    } else if (key == "speed") {
        m_block.speed = value.endsWith('x') ? decimal(value.chopped(1).trimmed()) : std::nullopt;
    } else if (key == "progress") {
        m_report.frames = m_block.frames;
        m_report.outTime = m_block.outTime;
        m_report.speed = m_block.speed;
        m_block = {};
    }
    return true;
}

void FFmpegOutputReader::readBanner(QByteArrayView line)
{
    const QByteArray text = line.trimmed().toByteArray();
    if (line.startsWith("Input #0, mpeg")) // a program or transport stream
        m_report.startsAtKeyFrames = true;
    if (line.startsWith("Input #"))
        m_section = Section::input;
    else if (line.startsWith("Output #"))
        m_section = Section::output;
    else if (m_section == Section::input && text.startsWith("Duration: ") && !m_report.sourceDuration)
        m_report.sourceDuration = bannerTime(text.mid(10, text.indexOf(',') - 10));
    else if (m_section == Section::input && text.startsWith("Stream #"))
        readInputStream(text);
    else if (m_section == Section::output && text.startsWith("Stream #"))
        readOutputStream(text);
}

/// "Stream #0:1[0x1](und): Audio: aac (LC)": what follows the number differs between formats.
void FFmpegOutputReader::readInputStream(const QByteArray& line)
{
    if (line.contains(": Video: ") && rateOf(line, " fps") != rateOf(line, " tbr"))
        m_frameRateVaries = true;
    if (line.contains(": Audio: ")) {
        static const QRegularExpression name(u"^Stream #\\d+:\\d+"_s);
        m_soundStreams.append(name.match(QString::fromLatin1(line)).captured().toLatin1().toLower() + ':');
    }
}

void FFmpegOutputReader::readOutputStream(const QByteArray& line)
{
    if (line.contains(": Audio: "))
        m_report.hasSound = true;
    if (const auto rate = rateOf(line, " fps"); rate > 0.0 && !m_frameRateVaries && line.contains(": Video: "))
        m_report.frameRate = exactFrameRate(*rate);
}

/// The banner's own lines are indented, or hold a file's name.
void FFmpegOutputReader::readMessage(QByteArrayView line)
{
    if (line.startsWith(' ') || line.startsWith("Input #") || line.startsWith("Output #"))
        return;
    const QByteArray lowerCase = line.toByteArray().toLower();
    if (!line.startsWith('[')) // which is a part of ffmpeg
        m_report.lastWords = readable(line);
    if (!holdsAny(lowerCase, errorWords))
        return;
    m_report.lastError = readable(line);
    if (m_report.fault.isEmpty() && holdsAny(lowerCase, faultWords) && !isSoundBeforeOutput(lowerCase))
        m_report.fault = m_report.lastError;
}

/// After a seek some sound decoders are given the rest of a frame first. The output begins with the first whole one.
bool FFmpegOutputReader::isSoundBeforeOutput(const QByteArray& lowerCaseLine) const
{
    const auto isNamed = [&](const QByteArray& stream) { return lowerCaseLine.contains(stream); };
    return m_section != Section::output &&
           (lowerCaseLine.startsWith("[aist#") || std::any_of(m_soundStreams.begin(), m_soundStreams.end(), isNamed));
}
