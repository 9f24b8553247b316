#pragma once

#include "Services/MessageError.h"

/// A child process could not be started; the message is the system's own.
class ProcessLaunchError final : public MessageError
{
public:
    using MessageError::MessageError;
};

/// Throws the error that a launch would end with when its program or folder, both absolute, cannot be used. It costs
/// no fork, so that thousands of launches may fail in a row. What passes may still fail to start.
void throwIfLaunchMustFail(const QString& program, const QString& workingDirectory);
