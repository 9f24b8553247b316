#pragma once

#include <QtGlobal>

#include <memory>

/// Keeps the machine from falling asleep while it lives, where the platform lets an application ask for that; silently
/// does nothing where not. The request ends with the process in any case.
class SleepInhibitor final
{
public:
    SleepInhibitor();
    ~SleepInhibitor();
    Q_DISABLE_COPY_MOVE(SleepInhibitor)

private:
    struct Request;
    std::unique_ptr<Request> m_request;
};
