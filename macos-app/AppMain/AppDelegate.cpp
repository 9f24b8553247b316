#include "AppMain/AppDelegate.h"

#include "AppMain/MainMenu.h"
#include "AppMain/QuitGuard.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/MainWindowController.h"

#include <QScreen>

#include <algorithm>

namespace {

/// On a screen too small for the window its top left corner stays visible.
void center(QWidget* window)
{
    const QRect available = window->screen()->availableGeometry();
    QRect frame(QPoint(), window->size());
    frame.moveCenter(available.center());
    window->move(std::max(frame.x(), available.x()), std::max(frame.y(), available.y()));
}

} // namespace

AppDelegate::AppDelegate() = default;

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching()
{
    m_mainWindowController = std::make_unique<MainWindowController>();
    MainWindow* window = m_mainWindowController->window();
    m_quitGuard = std::make_unique<QuitGuard>(m_mainWindowController->split(), window);
    installMainMenu(window);
    window->show();
    center(window);
    window->raise();
    window->activateWindow();
}
