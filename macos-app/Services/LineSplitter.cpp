#include "Services/LineSplitter.h"

#include <utility>

void LineSplitter::append(const QByteArray& chunk)
{
    qsizetype start = 0;
    for (qsizetype end = chunk.indexOf('\n'); end >= 0; end = chunk.indexOf('\n', start)) {
        m_pending.append(chunk.constData() + start, end - start);
        m_lineHandler(std::exchange(m_pending, QByteArray()));
        start = end + 1;
    }
    m_pending.append(chunk.constData() + start, chunk.size() - start);
}

void LineSplitter::finish()
{
    if (!m_pending.isEmpty())
        m_lineHandler(std::exchange(m_pending, QByteArray()));
}
