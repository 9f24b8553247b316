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

/// What ffmpeg says of the consequences, after it has named the error itself.
constexpr std::array generalities = {"error while processing",
                                     "error reinitializing filters",
                                     "error initializing output stream",
                                     "failed to inject frame into filter network",
                                     "error while filtering",
                                     "error sending frames to consumers",
                                     "task finished with error code",
                                     "error opening input file",
                                     "error opening output file",
                                     "error marking filters as finished"};

/// A decoder meets gaps and beginnings that are no reason for a failure.
constexpr std::array decoderWords = {"error while decoding",
                                     "error submitting packet to decoder",
                                     "decoding error",
                                     "corrupt decoded frame",
                                     "[vist#",
                                     "[aist#",
                                     "[dec:"};

constexpr qsizetype longestLine = 4096;
constexpr qsizetype longestMessage = 300; ///< that a person reads

template<typename Words>
bool holdsAny(const QByteArray& lowerCaseLine, const Words& words)
{
    return std::any_of(words.begin(), words.end(), [&](const char* word) { return lowerCaseLine.contains(word); });
}

/// Without the parts of ffmpeg that speak, "[aist#0:1/mp2] [dec:mp2 @ 0x564647d03d80]", which tell nobody anything.
QString readable(const QByteArray& line)
{
    static const QRegularExpression speakers(u"^(\\[[^\\]]*\\]\\s*)+"_s);
    const QString words = QString::fromUtf8(line).trimmed().remove(speakers);
    return words.size() > longestMessage ? words.first(longestMessage) + u'…' : words;
}

std::optional<double> decimal(QByteArrayView text)
{
    return parseDecimal(QString::fromLatin1(text));
}

std::optional<qint64> integer(QByteArrayView text)
{
    return parseInteger(QString::fromLatin1(text));
}

/// The banner rounds: 23.98 stands for 24000/1001.
double exactFrameRate(double shown)
{
    const double whole = std::round(shown);
    const double broadcast = whole * 1000 / 1001;
    return shown < whole && std::abs(shown - broadcast) < 0.006 ? broadcast : shown;
}

} // namespace

QString FFmpegReport::reason() const
{
    return !firstError.isEmpty() ? firstError : !lastError.isEmpty() ? lastError : lastWords;
}

std::optional<double> FFmpegReport::length() const
{
    std::optional<double> counted;
    if (frames && frameRate)
        counted = static_cast<double>(*frames) / *frameRate;
    return std::max(counted, outTime);
}

FFmpegOutputReader::FFmpegOutputReader()
    : m_lines([this](const QByteArray& line) { readLine(line); }, longestLine, "\n\r")
{}

void FFmpegOutputReader::readLine(const QByteArray& line)
{
    if (line.trimmed().isEmpty() || line.startsWith("Conversion failed"))
        return;
    m_report.lastWords.clear();
    if (!readProgress(line) && !readBanner(line))
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
    } else if (key == "dup_frames") {
        m_block.repeatedFrames = integer(value);
    } else if (key == "out_time_us") {
        if (const auto microseconds = integer(value))
            m_block.outTime = clampedToZero(static_cast<double>(*microseconds) / 1e6);
    } else if (key == "speed") {
        m_block.speed = value.endsWith('x') ? decimal(value.chopped(1).trimmed()) : std::nullopt;
    } else if (key == "progress") {
        m_report.frames = m_block.frames;
        m_report.repeatedFrames = m_block.repeatedFrames;
        m_report.outTime = m_block.outTime;
        m_report.speed = m_block.speed;
        m_block = {};
    }
    return true;
}

/// Its lines are indented, or hold a file's name.
bool FFmpegOutputReader::readBanner(const QByteArray& line)
{
    if (m_source.readLine(line)) {
        m_report.sourceDuration = m_source.banner().duration;
        if (const auto start = m_source.banner().startMicroseconds)
            m_report.sourceStart = static_cast<double>(*start) / 1e6;
        m_report.startsAtKeyFrames = !m_source.banner().seeksExactly;
        return true;
    }
    if (line.startsWith("Output #"))
        m_hasOutput = true;
    else if (m_hasOutput && line.trimmed().startsWith("Stream #"))
        readOutputStream(line);
    return line.startsWith(' ') || line.startsWith("Input #") || line.startsWith("Output #");
}

void FFmpegOutputReader::readOutputStream(const QByteArray& line)
{
    if (line.contains(": Audio: "))
        m_report.hasSound = true;
    const QList<SourceStream>& streams = m_source.banner().streams;
    const bool rateVaries = std::any_of(streams.begin(), streams.end(), [](const SourceStream& stream) {
        return stream.kind == SourceStream::Kind::video && stream.frameRateVaries;
    });
    if (const auto rate = bannerRate(line, " fps"); rate > 0.0 && !rateVaries && line.contains(": Video: "))
        m_report.frameRate = exactFrameRate(*rate);
}

void FFmpegOutputReader::readMessage(const QByteArray& line)
{
    const QByteArray lowerCase = line.toLower();
    const QString words = readable(line);
    if (!line.startsWith('[')) // which is a part of ffmpeg
        m_report.lastWords = words;
    if (!holdsAny(lowerCase, errorWords))
        return;
    const bool isGeneral = holdsAny(lowerCase, generalities);
    if (!isGeneral || m_lastErrorIsGeneral) {
        m_report.lastError = words;
        m_lastErrorIsGeneral = isGeneral;
    }
    if (m_report.firstError.isEmpty() && !isGeneral && !isFromDecoder(lowerCase))
        m_report.firstError = words;
    if (m_report.fault.isEmpty() && holdsAny(lowerCase, faultWords) && !isSoundBeforeOutput(lowerCase))
        m_report.fault = words;
}

/// After a seek some sound decoders are given the rest of a frame first. The output begins with the first whole one.
bool FFmpegOutputReader::isSoundBeforeOutput(const QByteArray& lowerCaseLine) const
{
    const auto isNamed = [&](const SourceStream& stream) {
        return stream.kind == SourceStream::Kind::audio && lowerCaseLine.contains(stream.name + ':');
    };
    const QList<SourceStream>& streams = m_source.banner().streams;
    return !m_hasOutput && (lowerCaseLine.startsWith("[aist#") || std::any_of(streams.begin(), streams.end(), isNamed));
}

bool FFmpegOutputReader::isFromDecoder(const QByteArray& lowerCaseLine) const
{
    const auto speaks = [&](const SourceStream& stream) {
        return lowerCaseLine.startsWith('[' + stream.codec + " @ ");
    };
    const QList<SourceStream>& streams = m_source.banner().streams;
    return holdsAny(lowerCaseLine, decoderWords) || std::any_of(streams.begin(), streams.end(), speaks);
}
