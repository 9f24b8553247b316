#include "Frames/PacketTimes.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

/// Stream, decoding time, showing time, and flags of a packet that is neither damaged nor to be left out.
void PacketTimes::readLine(const QByteArray& line)
{
    static const QRegularExpression packet(
        uR"(^([01]), +(-?\d+), +(-?\d+), +\d+, +\d+, 0x[0-9a-f]{8}(, F=0x1?0)?(, S=.*)?$)"_s);
    static const QRegularExpression tick(uR"(^#tb 0: (\d+)/(\d+)$)"_s);
    const QString text = QString::fromUtf8(line);
    if (const auto match = packet.match(text); match.hasMatch()) {
        const qint64 decoded = match.captured(2).toLongLong();
        const qint64 shown = match.captured(3).toLongLong();
        if (match.captured(1) == u"1") {
            m_firstRestart = m_firstRestart.value_or(decoded);
            return;
        }
        m_firstDecoded = m_firstDecoded.value_or(decoded);
        m_lastDecoded = decoded;
        m_frames.append(shown);
        m_hasOddPackets = m_hasOddPackets || shown < decoded;
    } else if (const auto ticks = tick.match(text); ticks.hasMatch()) {
        m_tick = Tick{ticks.captured(1).toLongLong(), ticks.captured(2).toLongLong()};
    } else {
        m_hasOddPackets = m_hasOddPackets || !line.startsWith('#');
    }
}

/// A decoder that is started with nothing else shows all these packets; and no packet shows before it is decoded, so up
/// to where decoding has come every frame is known.
bool PacketTimes::tellFrames() const
{
    return !m_hasOddPackets && m_firstDecoded && m_firstRestart == m_firstDecoded;
}
