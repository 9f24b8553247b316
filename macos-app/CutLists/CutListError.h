#pragma once

#include <QString>

#include <exception>

/// Why a text is no list of the kind asked for, or why a list cannot be written as one; complete, for the user.
class CutListError final : public std::exception
{
public:
    explicit CutListError(const QString& message)
        : m_utf8(message.toUtf8())
    {}

    /// The message in UTF-8.
    [[nodiscard]] const char* what() const noexcept override { return m_utf8.constData(); }

private:
    QByteArray m_utf8;
};
