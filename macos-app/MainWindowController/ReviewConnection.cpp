#include "MainWindowController/ReviewConnection.h"

#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentListEditor.h"
#include "Models/EventReview.h"
#include "Review/ReviewWindow.h"
#include "Services/MessageError.h"
#include "Services/RuntimeResolver.h"
#include "Viewer/ViewerWindow.h"

#include <QAction>
#include <QTableView>

#include <algorithm>

using namespace Qt::StringLiterals;

ReviewConnection::ReviewConnection(MainWindow& window, ViewerWindow& viewer, std::function<ViewerContent()> content)
    : m_window(window)
    , m_content(std::move(content))
    , m_action(new QAction(u"检查换场"_s, &window))
{
    m_action->setObjectName(u"reviewAction"_s);
    m_action->setShortcut(u"Ctrl+E"_s);
    m_action->setShortcutContext(Qt::WidgetShortcut);
    window.eventTableView->addAction(m_action);
    viewer.addAction(m_action);
    connect(m_action, &QAction::triggered, this, &ReviewConnection::open);
    connectList();
}

void ReviewConnection::connectList()
{
    const SegmentListEditor* list = m_window.segmentList;
    for (const auto signal :
         {&SegmentListEditor::replaced, &SegmentListEditor::edited, &SegmentListEditor::videoChanged})
        connect(list, signal, this, &ReviewConnection::refresh);
    const auto enable = [this, list] { m_action->setEnabled(!list->list().events().isEmpty()); };
    connect(list, &SegmentListEditor::replaced, this, enable);
    enable();
    connect(m_window.eventTableView->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &ReviewConnection::followTable);
}

void ReviewConnection::connectReview()
{
    m_review = new ReviewWindow(&m_window);
    m_review->setAttribute(Qt::WA_DeleteOnClose); // its order lasts no longer
    m_review->setSplitRunning(m_isSplitRunning);
    m_review->addCommands(
        {m_window.findChild<QAction*>(u"undoListAction"_s), m_window.findChild<QAction*>(u"redoListAction"_s)});
    connect(m_review, &ReviewWindow::currentEventChanged, this, &ReviewConnection::selectInTable);
    connect(m_review, &ReviewWindow::confirmRequested, this, [this](const QList<int>& events) {
        const auto change = [&events](SegmentList& list) { return confirmEvents(list, events); };
        if (const auto reason = m_window.segmentList->edit(u"确认换场"_s, change))
            m_review->tell(*reason);
    });
    connect(m_review, &ReviewWindow::rejectRequested, this, [this](const QList<int>& events, const QString& stepName) {
        const auto change = [&events](SegmentList& list) { return rejectEvents(list, events); };
        if (const auto reason = m_window.segmentList->edit(stepName, change))
            m_review->tell(*reason);
    });
}

void ReviewConnection::setSplitRunning(bool isRunning)
{
    m_isSplitRunning = isRunning;
    if (m_review)
        m_review->setSplitRunning(isRunning);
}

void ReviewConnection::open()
{
    if (!m_review)
        connectReview();
    try {
        m_review->setRuntime(RuntimeResolver::resolve());
    } catch (const std::exception& error) {
        m_review->setRuntime(std::nullopt, errorDescription(error));
    }
    const int row = m_window.eventTableView->currentIndex().row();
    m_review->show();
    refresh();
    m_review->setCurrentEvent(std::max(0, row));
    m_review->raise();
    m_review->activateWindow();
}

void ReviewConnection::refresh()
{
    if (m_review)
        m_review->setContent(m_window.segmentList->list(), m_content());
}

void ReviewConnection::followTable()
{
    const int row = m_window.eventTableView->currentIndex().row();
    if (m_review && row >= 0)
        m_review->setCurrentEvent(row);
}

/// As the user's own choice there: its neighbours are highlighted, and the viewer shows it.
void ReviewConnection::selectInTable(int event)
{
    QTableView* table = m_window.eventTableView;
    if (table->currentIndex().row() == event || event >= table->model()->rowCount())
        return;
    const QModelIndex index = table->model()->index(event, std::max(0, table->currentIndex().column()));
    table->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    table->scrollTo(index);
}
