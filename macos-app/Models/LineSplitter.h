#pragma once

#include <QByteArray>

#include <functional>
#include <limits>

/// Cuts a stream of bytes that arrives in chunks into lines. Any of `lineEnds` ends a line and is not part of it.
/// The cost is linear in the bytes, however the chunks fall. Of a line that is longer than `longestLine` that much is
/// handed over.
class LineSplitter final
{
public:
    explicit LineSplitter(std::function<void(const QByteArray&)> lineHandler,
                          qsizetype longestLine = std::numeric_limits<qsizetype>::max(), QByteArray lineEnds = "\n")
        : m_lineHandler(std::move(lineHandler))
        , m_longestLine(longestLine)
        , m_lineEnds(std::move(lineEnds))
    {}

    void append(const QByteArray& chunk);
    /// Hands over what follows the last line's end, if anything does.
    void finish();

private:
    void extendLine(const char* bytes, qsizetype count);

    std::function<void(const QByteArray&)> m_lineHandler;
    qsizetype m_longestLine;
    QByteArray m_lineEnds;
    QByteArray m_pending;
};
