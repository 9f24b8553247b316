#include "MainWindowController/ViewerConnection.h"

#include "Controls/DroppablePathField.h"
#include "MainWindowController/EventTableModel.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentListEditor.h"
#include "MainWindowController/SegmentTableModel.h"
#include "Models/SegmentJoining.h"
#include "Services/MessageError.h"
#include "Services/RuntimeResolver.h"
#include "Viewer/ViewerWindow.h"

#include <QAction>
#include <QApplication>
#include <QKeyEvent>
#include <QTableView>

#include <algorithm>

using namespace Qt::StringLiterals;

ViewerConnection::ViewerConnection(MainWindow& window, std::function<ViewerContent()> content)
    : m_window(window)
    , m_content(std::move(content))
    , m_viewer(new ViewerWindow(&window))
    , m_followed(window.eventTableView)
{
    // One refresh for all that an action changes, when the action is through.
    m_refreshTimer.setSingleShot(true);
    m_refreshTimer.setInterval(0);
    connect(&m_refreshTimer, &QTimer::timeout, this, &ViewerConnection::refresh);
    connectTable(window.eventTableView);
    connectTable(window.segmentTableView);
    connect(window.cropField, &QLineEdit::textChanged, &m_refreshTimer, qOverload<>(&QTimer::start));
    connect(window.videoPathField, &QLineEdit::textChanged, &m_refreshTimer, qOverload<>(&QTimer::start));
    connectViewer();
}

void ViewerConnection::connectTable(QTableView* table)
{
    table->installEventFilter(this);
    auto* action = new QAction(u"查看画面\t空格"_s, table);
    connect(action, &QAction::triggered, this, [this, table] { open(table); });
    table->addAction(action);
    table->setContextMenuPolicy(Qt::ActionsContextMenu);

    const QAbstractItemModel* model = table->model();
    const auto refreshLater = qOverload<>(&QTimer::start);
    connect(model, &QAbstractItemModel::modelReset, &m_refreshTimer, refreshLater);
    connect(model, &QAbstractItemModel::dataChanged, &m_refreshTimer, refreshLater);
    connect(model, &QAbstractItemModel::rowsInserted, &m_refreshTimer, refreshLater);
    connect(model, &QAbstractItemModel::rowsRemoved, &m_refreshTimer, refreshLater);
    connect(table->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this, table](const QModelIndex& current) {
                if (current.isValid())
                    follow(table);
            });
}

void ViewerConnection::connectViewer()
{
    connect(m_viewer, &ViewerWindow::retimeRequested, this, &ViewerConnection::retime);
    connect(m_viewer, &ViewerWindow::splitRequested, this, &ViewerConnection::split);
    connect(m_viewer, &ViewerWindow::subjectActivated, this, [this](const ViewerSubject& subject) {
        selectRow(subject.kind == ViewerSubject::Kind::segment ? m_window.segmentTableView : m_window.eventTableView,
                  subject.row);
    });
    connect(m_viewer, &ViewerWindow::rowStepRequested, this,
            [this](int direction) { selectRow(m_followed, m_followed->currentIndex().row() + direction); });
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) {
        if (now == m_window.eventTableView || now == m_window.segmentTableView)
            follow(static_cast<QTableView*>(now));
    });
}

void ViewerConnection::setSplitRunning(bool isRunning)
{
    m_viewer->setSplitRunning(isRunning);
}

bool ViewerConnection::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::InputMethodQuery) { // letters are keys here; only a cell's editor composes text
        static_cast<QInputMethodQueryEvent*>(event)->setValue(Qt::ImEnabled, false);
        return true;
    }
    if (event->type() != QEvent::KeyPress)
        return false;
    const auto& key = *static_cast<QKeyEvent*>(event);
    if (m_viewer->isVisible())
        return m_viewer->handleKey(key);
    auto* table = static_cast<QTableView*>(watched);
    if (key.key() != Qt::Key_Space || key.modifiers() != Qt::NoModifier || !table->currentIndex().isValid())
        return false;
    if (!key.isAutoRepeat())
        open(table);
    return true;
}

void ViewerConnection::open(QTableView* table)
{
    m_followed = table;
    try {
        m_viewer->setRuntime(RuntimeResolver::resolve());
    } catch (const std::exception& error) {
        m_viewer->setRuntime(std::nullopt, errorDescription(error));
    }
    m_viewer->open();
    refresh();
}

void ViewerConnection::follow(QTableView* table)
{
    m_followed = table;
    m_refreshTimer.start();
}

void ViewerConnection::refresh()
{
    if (!m_viewer->isVisible())
        return;
    using Kind = ViewerSubject::Kind;
    m_viewer->setContent(m_content());
    const int row = m_followed->currentIndex().row();
    const Kind kind = m_followed == m_window.segmentTableView ? Kind::segment : Kind::transition;
    m_viewer->setSubject(row >= 0 ? ViewerSubject{kind, row} : ViewerSubject());
}

void ViewerConnection::selectRow(QTableView* table, int row)
{
    if (row < 0 || row >= table->model()->rowCount())
        return;
    const QModelIndex index = table->model()->index(row, std::max(0, table->currentIndex().column()));
    table->setCurrentIndex(index);
    table->scrollTo(index);
    table->setFocus();
    follow(table);
}

void ViewerConnection::retime(int row, SegmentEdge edge, const QString& text) const
{
    using Series = SegmentListEditor::Series;
    const Series series = edge == SegmentEdge::start ? Series::movedStart : Series::movedEnd;
    if (const auto refusal = m_window.segmentList->retime(row, edge, text, series))
        Q_EMIT m_window.segmentTableModel->editRefused(*refusal);
}

void ViewerConnection::split(int row, double seconds) const
{
    const auto change = [&](SegmentList& list) { return splitSegment(list, row, seconds); };
    if (const auto refusal = m_window.segmentList->edit(u"切开片段"_s, change))
        Q_EMIT m_window.segmentTableModel->editRefused(*refusal);
}
