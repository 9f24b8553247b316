#pragma once

#include <QByteArrayList>

/// The two commands that run without a window: --self-test and --detect-summary.
class CommandLineTool final
{
public:
    CommandLineTool() = delete;

    /// `arguments` are the process's, without the program's path. True when a command was carried out, false when
    /// there is none, so that the application must start. A failed command ends the process with status 2 after
    /// writing its message to standard error.
    [[nodiscard]] static bool runIfNeeded(const QByteArrayList& arguments);
};
