#include "Services/LineSplitter.h"

#include <algorithm>
#include <utility>

void LineSplitter::append(const QByteArray& chunk)
{
    qsizetype start = 0;
    for (qsizetype end = chunk.indexOf('\n'); end >= 0; end = chunk.indexOf('\n', start)) {
        extendLine(chunk.constData() + start, end - start);
        m_lineHandler(std::exchange(m_pending, QByteArray()));
        start = end + 1;
    }
    extendLine(chunk.constData() + start, chunk.size() - start);
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
