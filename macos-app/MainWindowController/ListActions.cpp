#include "MainWindowController/ListActions.h"

#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentTableDelegate.h"
#include "Models/SegmentJoining.h"
#include "Models/SegmentTimes.h"

#include <QAccessible>
#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QItemSelectionModel>
#include <QTableView>

#include <algorithm>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

/// An action that only this table's focus reaches by its key.
QAction* addAction(QTableView* table, const QString& name, const QString& text, const QKeySequence& key = {})
{
    auto* action = new QAction(text, table);
    action->setObjectName(name);
    action->setShortcut(key);
    action->setShortcutContext(Qt::WidgetShortcut);
    table->addAction(action);
    return action;
}

void addSeparator(QTableView* table)
{
    auto* separator = new QAction(table);
    separator->setSeparator(true);
    table->addAction(separator);
}

/// An action that a command of the edit menu reaches where the table has the focus; the key is the menu's.
QAction* addEditCommand(QTableView* table, const QString& name, const QString& text, const char* command)
{
    QAction* action = addAction(table, name, text);
    action->setProperty("editCommand", QByteArray(command));
    return action;
}

/// That the current cell says something else of itself; the table alone would tell that data changed, which no screen
/// reader speaks of.
void tellScreenReaders(QTableView* table)
{
    const QModelIndex current = table->currentIndex();
    if (!QAccessible::isActive() || !current.isValid())
        return;
    auto* cells = QAccessible::queryAccessibleInterface(table)->tableInterface();
    QAccessibleEvent changed(cells->cellAt(current.row(), current.column()), QAccessible::DescriptionChanged);
    QAccessible::updateAccessibility(&changed);
}

} // namespace

ListActions::ListActions(MainWindow& window)
    : m_window(window)
    , m_list(*window.segmentList)
{
    addEventActions();
    addSegmentActions();
    addHistoryActions();
    for (const QTableView* table : {window.eventTableView, window.segmentTableView}) {
        connect(table->selectionModel(), &QItemSelectionModel::selectionChanged, this, &ListActions::update);
        connect(table->selectionModel(), &QItemSelectionModel::currentRowChanged, this, &ListActions::update);
    }
    connect(&m_list, &SegmentListEditor::edited, this, &ListActions::update);
    connect(&m_list, &SegmentListEditor::replaced, this, &ListActions::update);
    update();
}

void ListActions::addEventActions()
{
    QTableView* table = m_window.eventTableView;
    m_reject = addAction(table, u"rejectEventAction"_s, {}, Qt::Key_Delete);
    connect(m_reject, &QAction::triggered, this, &ListActions::rejectOrRestore);
}

void ListActions::addSegmentActions()
{
    QTableView* table = m_window.segmentTableView;
    addSeparator(table);
    m_toggle = addAction(table, u"toggleSegmentsAction"_s, u"启用或停用\tShift+空格"_s); // the table's own keys
    m_delete = addAction(table, u"deleteSegmentAction"_s, u"删除手工片段\tDelete"_s);
    m_join = addAction(table, u"joinSegmentsAction"_s, u"合并片段"_s, u"Ctrl+J"_s);
    m_keepOnly = addAction(table, u"keepOnlySelectedAction"_s, u"只留所选"_s);
    QAction* invertAction = addAction(table, u"invertSegmentsAction"_s, u"反选"_s);
    addSeparator(table);
    m_copy = addEditCommand(table, u"copyTimesAction"_s, u"复制时间\tCtrl+C"_s, "copy");
    QAction* paste = addEditCommand(table, u"pasteTimesAction"_s, u"粘贴时间为手工片段\tCtrl+V"_s, "paste");
    const SegmentTableDelegate* delegate = m_window.segmentTableDelegate;
    connect(m_toggle, &QAction::triggered, delegate, &SegmentTableDelegate::toggleSelectedRows);
    connect(m_delete, &QAction::triggered, delegate, &SegmentTableDelegate::deleteCurrentRow);
    connect(m_join, &QAction::triggered, this, &ListActions::join);
    connect(m_keepOnly, &QAction::triggered, this, &ListActions::keepOnlySelected);
    connect(invertAction, &QAction::triggered, this, &ListActions::invert);
    connect(m_copy, &QAction::triggered, this, &ListActions::copyTimes);
    connect(paste, &QAction::triggered, this, &ListActions::pasteTimes);
}

/// The keys belong to the edit menu, which serves text fields first.
void ListActions::addHistoryActions()
{
    QTableView* segments = m_window.segmentTableView;
    QTableView* events = m_window.eventTableView;
    addSeparator(segments);
    addSeparator(events);
    m_undo = addAction(segments, u"undoListAction"_s, {});
    m_redo = addAction(segments, u"redoListAction"_s, {});
    m_restore = addAction(segments, u"restoreEditsAction"_s, {});
    m_restore->setVisible(false);
    events->addActions({m_undo, m_redo, m_restore});
    connect(m_restore, &QAction::triggered, this, &ListActions::restoreRequested);
    connect(m_undo, &QAction::triggered, &m_list, &SegmentListEditor::undo);
    connect(m_redo, &QAction::triggered, &m_list, &SegmentListEditor::redo);
    const QUndoStack& history = m_list.history();
    for (const auto signal : {&QUndoStack::undoTextChanged, &QUndoStack::redoTextChanged})
        connect(&history, signal, this, &ListActions::update);
    connect(&history, &QUndoStack::indexChanged, this, &ListActions::update);
}

void ListActions::offerRestoring(const QString& description)
{
    m_restore->setText(u"恢复上次的修改（%1）"_s.arg(description));
    m_restore->setVisible(!description.isEmpty());
}

void ListActions::update()
{
    m_reject->setEnabled(currentEvent() != nullptr);
    m_reject->setText(isCurrentEventRejected() ? u"恢复为换场"_s : u"不是换场，合并前后片段"_s);
    const QList<int> rows = selectedRows();
    const int current = m_window.segmentTableView->currentIndex().row();
    m_toggle->setEnabled(!rows.isEmpty());
    m_delete->setEnabled(current >= 0 && current < m_list.segments().size() && m_list.segments()[current].isManual);
    m_join->setEnabled(rows.size() > 1);
    m_keepOnly->setEnabled(!rows.isEmpty());
    m_copy->setEnabled(!rows.isEmpty());
    const QUndoStack& history = m_list.history();
    m_undo->setEnabled(history.canUndo());
    m_redo->setEnabled(history.canRedo());
    m_undo->setText((history.canUndo() ? u"撤销："_s + history.undoText() : u"撤销"_s) + u"\tCtrl+Z"_s);
    m_redo->setText((history.canRedo() ? u"重做："_s + history.redoText() : u"重做"_s) + u"\tCtrl+Shift+Z"_s);
}

void ListActions::rejectOrRestore()
{
    if (const TransitionEvent* current = currentEvent()) {
        const TransitionEvent event = *current; // the list that holds it changes
        if (isCurrentEventRejected())
            edit(u"恢复为换场"_s, [event](SegmentList& list) {
                return restoreEvent(event, list.segments, list.endsBeforeJoin, list.payload->keepSegments);
            });
        else
            edit(u"不是换场"_s,
                 [event](SegmentList& list) { return rejectEvent(event, list.segments, list.endsBeforeJoin); });
        tellScreenReaders(m_window.eventTableView);
    }
}

void ListActions::join()
{
    edit(u"合并片段"_s, [rows = selectedRows()](SegmentList& list) { return joinSegments(list, rows); });
}

void ListActions::keepOnlySelected()
{
    edit(u"只留所选"_s, [rows = selectedRows()](SegmentList& list) {
        for (qsizetype row = 0; row < list.segments.size(); ++row)
            list.segments[row].isEnabled = std::binary_search(rows.begin(), rows.end(), row);
        return std::nullopt;
    });
}

void ListActions::invert()
{
    edit(u"反选"_s, [](SegmentList& list) {
        for (EditableSegment& segment : list.segments)
            segment.isEnabled = !segment.isEnabled;
        return std::nullopt;
    });
}

void ListActions::copyTimes()
{
    QList<EditableSegment> segments;
    for (const int row : selectedRows())
        segments.append(m_list.segments().at(row));
    QGuiApplication::clipboard()->setText(textOfTimes(segments));
}

void ListActions::pasteTimes()
{
    edit(u"粘贴片段"_s,
         [text = QGuiApplication::clipboard()->text()](SegmentList& list) { return appendTimes(list, text); });
}

void ListActions::edit(const QString& stepName, const SegmentListEditor::Edit& change)
{
    if (const auto reason = m_list.edit(stepName, change))
        Q_EMIT refused(*reason);
}

const TransitionEvent* ListActions::currentEvent() const
{
    const QModelIndexList rows = m_window.eventTableView->selectionModel()->selectedRows();
    const auto& payload = m_list.list().payload;
    if (rows.isEmpty() || !payload || rows.first().row() >= payload->events.size())
        return nullptr;
    return &payload->events.at(rows.first().row());
}

bool ListActions::isCurrentEventRejected() const
{
    const TransitionEvent* event = currentEvent();
    return event && isRejected(*event, m_list.segments(), m_list.list().payload->keepSegments);
}

/// Ascending.
QList<int> ListActions::selectedRows() const
{
    QList<int> rows;
    for (const QModelIndex& index : m_window.segmentTableView->selectionModel()->selectedRows())
        rows.append(index.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}
