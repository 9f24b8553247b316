#pragma once

class QAction;

/// Adds the action to every window that is shown from now on: its shortcut works as long as any window that has it is
/// open, and the window that it belongs to may be closed before others.
void shareWithEveryWindow(QAction* action);
