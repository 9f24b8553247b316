#include "Services/AppRuntimeError.h"

AppRuntimeError::AppRuntimeError(Case errorCase, QString message)
    : m_case(errorCase)
    , m_message(std::move(message))
    , m_utf8(m_message.toUtf8())
{}

AppRuntimeError AppRuntimeError::missingDependency(QString message)
{
    return {Case::missingDependency, std::move(message)};
}

AppRuntimeError AppRuntimeError::detectorFailed(QString message)
{
    return {Case::detectorFailed, std::move(message)};
}

AppRuntimeError AppRuntimeError::invalidDetectorOutput(QString message)
{
    return {Case::invalidDetectorOutput, std::move(message)};
}

QString errorDescription(const std::exception& error)
{
    return QString::fromUtf8(error.what());
}
