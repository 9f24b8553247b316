#pragma once

#include <QString>

#include <exception>

/// An error that carries a message for the user, final and complete.
class MessageError : public std::exception
{
public:
    explicit MessageError(QString message)
        : m_message(std::move(message))
        , m_utf8(m_message.toUtf8())
    {}

    [[nodiscard]] const QString& message() const { return m_message; }
    /// The message in UTF-8.
    [[nodiscard]] const char* what() const noexcept override { return m_utf8.constData(); }

private:
    QString m_message;
    QByteArray m_utf8;
};

/// The folder, a file or a stream that results go to cannot be used.
class OutputError final : public MessageError
{
public:
    using MessageError::MessageError;
};

/// What to show for an error: the text that `what()` holds in UTF-8, or that memory has run out.
[[nodiscard]] QString errorDescription(const std::exception& error);
