#pragma once

/// How far a run is, on the program's icon in the taskbar, where the desktop shows such a thing: launchers that listen
/// to com.canonical.Unity.LauncherEntry, and the Dock of macOS. Nothing elsewhere.
class TaskbarProgress final
{
public:
    /// 0 to 1.
    void show(double fraction);
    void clear();

private:
    void send(int percentage, bool visible);

    int m_shown = -1; ///< percent; -1: nothing
};
