#include "Services/OutputEnds.h"

#include "Models/TextExcerpt.h"
#include "Models/Utf8Text.h"

#include <algorithm>

namespace {

/// Of each end.
constexpr qsizetype bound = qsizetype(64) * 1024;

} // namespace

void OutputEnds::append(const QByteArray& chunk)
{
    const qsizetype room = std::min(bound - m_beginning.size(), chunk.size());
    m_beginning.append(chunk.constData(), room);
    m_end.append(chunk.constData() + room, chunk.size() - room);
    m_lineFeeds += chunk.count('\n');
    if (m_end.size() > 2 * bound) {
        m_end = m_end.last(bound);
        m_isWhole = false;
    }
}

QString OutputEnds::text() const
{
    if (m_isWhole)
        return decodedUtf8OrEmpty(m_beginning + m_end).trimmed();
    const qint64 lines = m_lineFeeds + (m_end.endsWith('\n') ? 0 : 1);
    return excerpt(QString::fromUtf8(m_beginning).trimmed(), QString::fromUtf8(m_end).trimmed(), lines);
}
