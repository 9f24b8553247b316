#include "AppMain/MainMenu.h"

#include "Controls/SharedActions.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentListEditor.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenuBar>
#include <QPlainTextEdit>

using namespace Qt::StringLiterals;

namespace {

/// Has the widget with the focus do what the command is named after, if it is one that can: a method of a text field or
/// an action that bears the command's name.
void sendToFocus(const char* command)
{
    QWidget* target = QApplication::focusWidget();
    if (!target)
        return;
    if (target->metaObject()->indexOfMethod(QByteArray(command) + "()") >= 0) {
        QMetaObject::invokeMethod(target, command);
        return;
    }
    const QList<QAction*> actions = target->actions();
    for (QAction* action : actions) {
        if (action->property("editCommand").toByteArray() == command)
            action->trigger();
    }
}

/// Whether the text field with the focus has a step of its own to take back, or to make again.
bool focusHasStep(bool redo)
{
    const QWidget* focus = QApplication::focusWidget();
    if (const auto* field = qobject_cast<const QLineEdit*>(focus))
        return !field->isReadOnly() && (redo ? field->isRedoAvailable() : field->isUndoAvailable());
    if (const auto* text = qobject_cast<const QPlainTextEdit*>(focus))
        return !text->isReadOnly() &&
               (redo ? text->document()->isRedoAvailable() : text->document()->isUndoAvailable());
    return false;
}

/// Text fields claim the keys of undo and redo even when they have nothing to undo; then the menu shall have them.
class HistoryKeys final : public QObject
{
public:
    explicit HistoryKeys(QObject* parent)
        : QObject(parent)
    {
        qApp->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::ShortcutOverride && watched == QApplication::focusWidget()) {
            const auto* key = static_cast<QKeyEvent*>(event);
            const bool isUndo = key->matches(QKeySequence::Undo);
            const bool isRedo = key->matches(QKeySequence::Redo);
            if ((isUndo || isRedo) && !focusHasStep(isRedo)) {
                event->ignore();
                return true;
            }
        }
        return QObject::eventFilter(watched, event);
    }
};

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

/// A step of the text field with the focus comes first, then one of the list of segments.
void addHistoryItem(QMenu* menu, const QString& title, bool redo, const QString& keyEquivalent, SegmentListEditor* list)
{
    QAction* item = addItem(menu, title, keyEquivalent);
    QObject::connect(item, &QAction::triggered, list, [list, redo] {
        if (focusHasStep(redo))
            sendToFocus(redo ? "redo" : "undo");
        else if (redo)
            list->redo();
        else
            list->undo();
    });
    shareWithEveryWindow(item);
}

} // namespace

void installMainMenu(MainWindow* window)
{
    QMenuBar* bar = window->menuBar();

    QMenu* applicationMenu = bar->addMenu(u"Kestrel"_s);
    QAction* quit = addItem(applicationMenu, u"退出 Kestrel"_s, u"Ctrl+Q"_s);
    quit->setMenuRole(QAction::QuitRole); // macOS moves it into the menu that bears the application's name
    QObject::connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    shareWithEveryWindow(quit);

    QMenu* editMenu = bar->addMenu(u"编辑"_s);
    addHistoryItem(editMenu, u"撤销"_s, false, u"Ctrl+Z"_s, window->segmentList);
    addHistoryItem(editMenu, u"重做"_s, true, u"Ctrl+Shift+Z"_s, window->segmentList);
    new HistoryKeys(editMenu);
    editMenu->addSeparator();
    addEditingItem(editMenu, u"剪切"_s, "cut", u"Ctrl+X"_s);
    addEditingItem(editMenu, u"复制"_s, "copy", u"Ctrl+C"_s);
    addEditingItem(editMenu, u"粘贴"_s, "paste", u"Ctrl+V"_s);
    addEditingItem(editMenu, u"全选"_s, "selectAll", u"Ctrl+A"_s);
}
