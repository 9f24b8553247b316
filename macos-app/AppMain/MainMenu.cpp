#include "AppMain/MainMenu.h"

#include "Controls/SharedActions.h"

#include <QApplication>
#include <QMainWindow>
#include <QMenuBar>

using namespace Qt::StringLiterals;

namespace {

/// Has the widget with the focus do what the command is named after, if it is one that can.
void sendToFocus(const char* command)
{
    QWidget* target = QApplication::focusWidget();
    if (target && target->metaObject()->indexOfMethod(QByteArray(command) + "()") >= 0)
        QMetaObject::invokeMethod(target, command);
}

QAction* addItem(QMenu* menu, const QString& title, const QString& keyEquivalent)
{
    QAction* item = menu->addAction(title);
    item->setShortcut(QKeySequence(keyEquivalent));
    item->setShortcutContext(Qt::ApplicationShortcut); // worker windows have no menu bar of their own
    item->setMenuRole(QAction::NoRole);
    return item;
}

void addEditingItem(QMenu* menu, const QString& title, const char* command, const QString& keyEquivalent)
{
    QObject::connect(addItem(menu, title, keyEquivalent), &QAction::triggered, menu,
                     [command] { sendToFocus(command); });
}

} // namespace

void installMainMenu(QMainWindow* window)
{
    QMenuBar* bar = window->menuBar();

    QMenu* applicationMenu = bar->addMenu(u"Kestrel"_s);
    QAction* quit = addItem(applicationMenu, u"退出 Kestrel"_s, u"Ctrl+Q"_s);
    quit->setMenuRole(QAction::QuitRole); // macOS moves it into the menu that bears the application's name
    QObject::connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    shareWithEveryWindow(quit);

    QMenu* editMenu = bar->addMenu(u"编辑"_s);
    addEditingItem(editMenu, u"撤销"_s, "undo", u"Ctrl+Z"_s);
    addEditingItem(editMenu, u"重做"_s, "redo", u"Ctrl+Shift+Z"_s);
    editMenu->addSeparator();
    addEditingItem(editMenu, u"剪切"_s, "cut", u"Ctrl+X"_s);
    addEditingItem(editMenu, u"复制"_s, "copy", u"Ctrl+C"_s);
    addEditingItem(editMenu, u"粘贴"_s, "paste", u"Ctrl+V"_s);
    addEditingItem(editMenu, u"全选"_s, "selectAll", u"Ctrl+A"_s);
}
