#include "AppMain/AppDelegate.h"

#include "AppMain/DesktopRequests.h"
#include "AppMain/MainMenu.h"
#include "AppMain/QuitGuard.h"
#include "Controls/OnScreen.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/MainWindowController.h"

#include <QScreen>

namespace {

void center(QWidget* window)
{
    QRect place(QPoint(), window->size());
    place.moveCenter(window->screen()->availableGeometry().center());
    window->setGeometry(place);
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
    window->takeOpeningSize();
    center(window);
    keepOnScreen(window);
    window->show();
    window->raise();
    window->activateWindow();
    m_desktopRequests = std::make_unique<DesktopRequests>(*m_mainWindowController);
}
