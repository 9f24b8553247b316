#include "Models/LineSplitter.h"

#include <algorithm>
#include <utility>

void LineSplitter::append(const QByteArray& chunk)
{
    const auto nextEnd = [&](auto from) {
        return std::find_first_of(from, chunk.end(), m_lineEnds.begin(), m_lineEnds.end());
    };
    const auto* start = chunk.begin();
    for (const auto* end = nextEnd(start); end != chunk.end(); end = nextEnd(start)) {
        extendLine(start, end - start);
        m_lineHandler(std::exchange(m_pending, QByteArray()));
        start = end + 1;
    }
    extendLine(start, chunk.end() - start);
}

void LineSplitter::extendLine(const char* bytes, qsizetype count)
{
    m_pending.append(bytes, std::min(count, m_longestLine - m_pending.size()));
}

void LineSplitter::finish()
{
    if (!m_pending.isEmpty())
        m_lineHandler(std::exchange(m_pending, QByteArray()));
}
