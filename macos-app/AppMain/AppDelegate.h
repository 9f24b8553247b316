#pragma once

#include <QtGlobal>

#include <memory>

class DesktopRequests;
class MainWindowController;
class QuitGuard;

/// What the application does once it runs: its menu, its one main window, and the manner of its end.
class AppDelegate final
{
public:
    AppDelegate();
    ~AppDelegate();
    Q_DISABLE_COPY_MOVE(AppDelegate)

    /// Once, when the application object exists.
    void applicationDidFinishLaunching();

private:
    std::unique_ptr<MainWindowController> m_mainWindowController;
    std::unique_ptr<QuitGuard> m_quitGuard;
    std::unique_ptr<DesktopRequests> m_desktopRequests;
};
