#pragma once

#include "Services/MessageError.h"

/// What goes wrong with the outside programs that detection needs.
class AppRuntimeError final : public MessageError
{
public:
    enum class Case {
        missingDependency,    ///< the interpreter, the detector script or ffmpeg was not found
        detectorFailed,       ///< the detector ended with a status other than 0, or its video cannot be read
        invalidDetectorOutput ///< the detector's output is no payload; also a wrong use of the command line
    };

    static AppRuntimeError missingDependency(const QString& message) { return {Case::missingDependency, message}; }
    static AppRuntimeError detectorFailed(const QString& message) { return {Case::detectorFailed, message}; }
    static AppRuntimeError invalidDetectorOutput(const QString& message)
    {
        return {Case::invalidDetectorOutput, message};
    }

    [[nodiscard]] Case errorCase() const { return m_case; }

private:
    AppRuntimeError(Case errorCase, const QString& message)
        : MessageError(message)
        , m_case(errorCase)
    {}

    Case m_case;
};
