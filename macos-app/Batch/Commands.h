#pragma once

#include "Batch/CommandLine.h"

/// What kestrel-batch does, a function a command. Each returns the exit status once everything has ended, also when a
/// signal has stopped it. They throw what keeps the command as a whole from being done.

[[nodiscard]] int detectCommand(const CommandLine& line);
[[nodiscard]] int cutCommand(const CommandLine& line);
[[nodiscard]] int planCommand(const CommandLine& line);
[[nodiscard]] int jobCommand(const CommandLine& line);
[[nodiscard]] int statusCommand(const CommandLine& line);
[[nodiscard]] int exportCommand(const CommandLine& line);

namespace ExitStatus {
constexpr int allRight = 0;
constexpr int someFailed = 1;
constexpr int nothingDone = 2; ///< wrong usage, missing tools, nothing to do anything with
} // namespace ExitStatus
