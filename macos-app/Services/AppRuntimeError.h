#pragma once

#include <QString>

#include <exception>

/// The one error type whose message the user reads. The message is final and complete.
class AppRuntimeError final : public std::exception
{
public:
    enum class Case {
        missingDependency,    ///< the interpreter, the detector script or ffmpeg was not found
        detectorFailed,       ///< the detector ended with a status other than 0
        invalidDetectorOutput ///< the detector's output is no payload; also a wrong use of the command line
    };

    static AppRuntimeError missingDependency(QString message);
    static AppRuntimeError detectorFailed(QString message);
    static AppRuntimeError invalidDetectorOutput(QString message);

    [[nodiscard]] Case errorCase() const { return m_case; }
    [[nodiscard]] const QString& message() const { return m_message; }
    /// The message in UTF-8.
    [[nodiscard]] const char* what() const noexcept override { return m_utf8.constData(); }

private:
    AppRuntimeError(Case errorCase, QString message);

    Case m_case;
    QString m_message;
    QByteArray m_utf8;
};

/// What to show for an error: the text that `what()` holds in UTF-8, or that memory has run out.
[[nodiscard]] QString errorDescription(const std::exception& error);
