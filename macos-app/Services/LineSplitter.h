#pragma once

#include <QByteArray>

#include <functional>

/// Cuts a stream of bytes that arrives in chunks into lines. Only a line feed ends a line; it is not part of it.
/// The cost is linear in the bytes, however the chunks fall.
class LineSplitter final
{
public:
    explicit LineSplitter(std::function<void(const QByteArray&)> lineHandler)
        : m_lineHandler(std::move(lineHandler))
    {}

    void append(const QByteArray& chunk);
    /// Hands over what follows the last line feed, if anything does.
    void finish();

private:
    std::function<void(const QByteArray&)> m_lineHandler;
    QByteArray m_pending;
};
