#pragma once

#include <functional>

/// Runs the event loop until `QCoreApplication::quit()`. A signal to end calls `stop` first and is raised again when
/// the program is about to leave, by raiseSignal().
void waitForEnd(const std::function<void()>& stop);

/// Ends the program by the signal that came while something was waited for, if one did.
void raiseSignal();
