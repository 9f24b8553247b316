#include "Services/AppRuntimeError.h"

#include <new>

using namespace Qt::StringLiterals;

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
    if (dynamic_cast<const std::bad_alloc*>(&error))
        return u"内存不足。"_s;
    return QString::fromUtf8(error.what());
}
