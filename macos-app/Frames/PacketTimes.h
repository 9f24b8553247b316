#pragma once

#include <QByteArray>
#include <QList>

#include <optional>

/// The times of frames from a list of packets, read line by line: every packet as stream 0, and those from which a
/// decoder can start once more as stream 1. All times are ticks.
class PacketTimes final
{
public:
    /// How long a tick is.
    struct Tick
    {
        qint64 numerator = 1; ///< of a second
        qint64 denominator = 1;
    };

    void readLine(const QByteArray& line);

    /// Nothing while the list has not told it.
    [[nodiscard]] const std::optional<Tick>& tick() const { return m_tick; }
    /// Whether the packets alone tell when the frames are shown.
    [[nodiscard]] bool tellFrames() const;
    /// Up to here, exclusive, every frame is known.
    [[nodiscard]] qint64 knownUpTo() const { return m_lastDecoded; }
    /// When frames are shown, in the order of decoding.
    [[nodiscard]] const QList<qint64>& frames() const { return m_frames; }

private:
    std::optional<Tick> m_tick;
    QList<qint64> m_frames;
    std::optional<qint64> m_firstDecoded;
    std::optional<qint64> m_firstRestart; ///< where a decoder can start with nothing else
    qint64 m_lastDecoded = 0;
    bool m_hasOddPackets = false;
};
