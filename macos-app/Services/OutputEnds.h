#pragma once

#include <QByteArray>
#include <QString>

/// Collects what a program says, however much that is: all of it up to a bound, and of more the beginning and the end.
class OutputEnds final
{
public:
    void append(const QByteArray& chunk);

    /// Within the bound.
    [[nodiscard]] bool isUtf8() const { return (m_beginning + m_end).isValidUtf8(); }
    /// It is trimmed; of more than the bound an excerpt. Empty when what was said within the bound is not UTF-8.
    [[nodiscard]] QString text() const;

private:
    QByteArray m_beginning;
    QByteArray m_end;
    qint64 m_lineFeeds = 0;
    bool m_isWhole = true; ///< nothing lies between the two
};
