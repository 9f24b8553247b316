#include "Review/ReviewWindow.h"

#include "Controls/Appearance.h"
#include "Controls/FittingLabel.h"
#include "Controls/OnScreen.h"
#include "Review/ReviewDelegate.h"
#include "Review/ReviewTable.h"

#include <QAction>
#include <QBoxLayout>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QSlider>

#include <algorithm>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize usualSize(1180, 760);
constexpr int resizeRestMilliseconds = 150;
const QString keysHint = u"↑ ↓ 换行　　回车 确认　　Delete 否决　　退格 返回　　空格 放大　　1:23 跳到时间"_s;

enum Filter {
    all,
    uncheckedOnly,
    besideShort
};

} // namespace

ReviewWindow::ReviewWindow(QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_table(new ReviewTable)
    , m_delegate(new ReviewDelegate(m_pictures, this))
    , m_orderBox(new QComboBox)
    , m_filterBox(new QComboBox)
    , m_secondsField(new QDoubleSpinBox)
    , m_pruneSlider(new QSlider(Qt::Horizontal))
    , m_pruneLabel(new QLabel)
    , m_pruneButton(new QPushButton(u"否决"_s))
    , m_progressLabel(new QLabel)
    , m_hintLabel(new FittingLabel(1, keysHint))
{
    setObjectName(u"reviewWindow"_s);
    setWindowTitle(u"检查换场"_s);
    setAttribute(Qt::WA_QuitOnClose, false);
    m_progressLabel->setObjectName(u"progressLabel"_s);
    m_hintLabel->setForegroundRole(QPalette::PlaceholderText);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(14, 12, 14, 10);
    column->setSpacing(8);
    column->addLayout(arrangementRow());
    column->addWidget(m_table, 1);
    column->addLayout(pruningRow());
    column->addLayout(actionRow());
    buildTable();
    resize(usualSize);
    m_table->setFocus();

    m_boxTimer.setSingleShot(true);
    m_boxTimer.setInterval(resizeRestMilliseconds);
    connect(&m_boxTimer, &QTimer::timeout, this, &ReviewWindow::noteSight);
    connect(&m_pictures, &ReviewPictures::changed, this, [this] {
        layOutRows(); // the first picture tells the shape
        m_table->viewport()->update();
    });
    showProgress();
    updateSecondaryColor();
}

ReviewWindow::~ReviewWindow()
{
    m_table->onSight = nullptr; // the table outlives what this asks
    m_table->setModel(nullptr);
}

void ReviewWindow::addCommands(const QList<QAction*>& commands)
{
    m_table->addActions(commands);
}

void ReviewWindow::buildTable()
{
    m_table->setObjectName(u"reviewTableView"_s);
    m_table->setAccessibleName(u"换场"_s);
    m_table->setModel(&m_model);
    m_table->setItemDelegate(m_delegate);
    for (int column = 1; column < ReviewTableModel::columns; ++column)
        m_table->setColumnHidden(column, true); // they are painted in the first one
    m_table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_table->onTimeTyped = [this](double seconds) {
        goToRow(m_model.rowAtTime(seconds));
        tell(u"跳到 "_s + m_table->typedTime());
    };
    m_table->onSight = [this] {
        layOutRows();
        m_boxTimer.start();
    };
    connect(m_table->selectionModel(), &QItemSelectionModel::currentRowChanged, this, &ReviewWindow::rowChanged);
    connect(m_table, &QTableView::doubleClicked, this, &ReviewWindow::toggleLarge);
}

QPushButton* ReviewWindow::command(const QString& name, const QString& text, const QString& label,
                                   const QList<QKeySequence>& keys, void (ReviewWindow::*slot)())
{
    auto* action = new QAction(text, m_table);
    action->setObjectName(name);
    action->setShortcuts(keys);
    action->setShortcutContext(Qt::WidgetShortcut); // a field's keys are its own
    action->setAutoRepeat(false);
    connect(action, &QAction::triggered, this, slot);
    m_table->addAction(action);
    m_table->setContextMenuPolicy(Qt::ActionsContextMenu);
    auto* button = new QPushButton(label);
    button->setFocusPolicy(Qt::NoFocus); // the keys stay with the list
    connect(button, &QPushButton::clicked, action, &QAction::trigger);
    return button;
}

QLayout* ReviewWindow::arrangementRow()
{
    m_orderBox->setObjectName(u"orderBox"_s);
    m_orderBox->setAccessibleName(u"顺序"_s);
    m_orderBox->addItems({u"按时间"_s, u"把握小的在前"_s, u"短的在前"_s, u"按类型"_s});
    m_filterBox->setObjectName(u"filterBox"_s);
    m_filterBox->setAccessibleName(u"筛选"_s);
    m_filterBox->addItems({u"全部换场"_s, u"只看未检查"_s, u"旁边有短片段"_s});
    m_secondsField->setObjectName(u"shortSecondsField"_s);
    m_secondsField->setAccessibleName(u"短于多少秒"_s);
    m_secondsField->setPrefix(u"短于 "_s);
    m_secondsField->setSuffix(u" 秒"_s);
    m_secondsField->setRange(0.1, 3600);
    m_secondsField->setDecimals(1);
    m_secondsField->setValue(2);
    m_secondsField->setKeyboardTracking(false);
    m_secondsField->setEnabled(false);
    connect(m_orderBox, &QComboBox::currentIndexChanged, this, [this] {
        arrange();
        goToRow(0); // another order is begun at its top
    });
    connect(m_filterBox, &QComboBox::currentIndexChanged, this, &ReviewWindow::arrange);
    for (QComboBox* box : {m_orderBox, m_filterBox})
        box->setFocusPolicy(Qt::TabFocus); // a click leaves the keys with the list
    connect(m_secondsField, &QDoubleSpinBox::valueChanged, this, &ReviewWindow::arrange);
    auto* row = new QHBoxLayout;
    row->addWidget(m_orderBox);
    row->addWidget(m_filterBox);
    row->addWidget(m_secondsField);
    row->addStretch(1);
    row->addWidget(m_progressLabel);
    return row;
}

QLayout* ReviewWindow::pruningRow()
{
    m_pruneSlider->setObjectName(u"pruneSlider"_s);
    m_pruneSlider->setAccessibleName(u"否决把握最小的换场"_s);
    m_pruneSlider->setToolTip(u"从把握最小的换场算起，未检查的将被否决。"_s);
    m_pruneLabel->setObjectName(u"pruneLabel"_s);
    m_pruneButton->setObjectName(u"pruneButton"_s);
    m_pruneButton->setFocusPolicy(Qt::TabFocus);
    connect(m_pruneSlider, &QSlider::valueChanged, this, &ReviewWindow::markForPruning);
    connect(m_pruneButton, &QPushButton::clicked, this, &ReviewWindow::prune);
    auto* row = new QHBoxLayout;
    row->addWidget(new QLabel(u"否决把握最小的"_s));
    row->addWidget(m_pruneSlider, 1);
    row->addWidget(m_pruneLabel);
    row->addWidget(m_pruneButton);
    return row;
}

QLayout* ReviewWindow::actionRow()
{
    auto* row = new QHBoxLayout;
    row->addWidget(command(u"confirmEventAction"_s, u"确认换场"_s, u"确认"_s, {Qt::Key_Return, Qt::Key_Enter},
                           &ReviewWindow::confirm));
    row->addWidget(
        command(u"rejectReviewedAction"_s, u"不是换场"_s, u"不是换场"_s, {Qt::Key_Delete}, &ReviewWindow::reject));
    row->addWidget(command(u"backAction"_s, u"回到上一个"_s, u"上一个"_s, {Qt::Key_Backspace}, &ReviewWindow::goBack));
    row->addWidget(
        command(u"largePicturesAction"_s, u"放大画面"_s, u"放大"_s, {Qt::Key_Space}, &ReviewWindow::toggleLarge));
    row->addWidget(m_hintLabel, 1);
    return row;
}

void ReviewWindow::setContent(const SegmentList& list, const ViewerContent& content)
{
    const int event = currentEvent();
    const ReviewFacts before = m_model.facts();
    m_list = list;
    m_pictures.setContent(content);
    m_model.setList(list);
    const ReviewFacts& now = m_model.facts();
    if (before.events != now.events) {
        m_visited.clear();
        m_pruneSlider->setRange(0, static_cast<int>(now.events.size()));
        m_pictures.setShownEvents(m_model.shownEvents());
        goToRow(0);
    } else if (!m_isAsking) { // undone, or edited elsewhere: what changed is looked at
        const auto [was, is] = std::mismatch(before.states.begin(), before.states.end(), now.states.begin());
        setCurrentEvent(was == before.states.end() ? event : static_cast<int>(was - before.states.begin()));
    }
    markForPruning();
    showProgress();
}

void ReviewWindow::setRuntime(const std::optional<RuntimeConfiguration>& runtime, const QString& reason)
{
    m_pictures.setRuntime(runtime, reason);
}

void ReviewWindow::setCurrentEvent(int event)
{
    if (event != currentEvent())
        goToRow(m_model.rowOf(event));
}

int ReviewWindow::currentEvent() const
{
    return m_model.eventAt(m_table->currentIndex().row());
}

void ReviewWindow::tell(const QString& text)
{
    m_hintLabel->setText(text);
}

void ReviewWindow::arrange()
{
    const int event = currentEvent();
    const auto filter = static_cast<Filter>(m_filterBox->currentIndex());
    m_secondsField->setEnabled(filter == besideShort);
    ReviewFilter chosen;
    chosen.isUncheckedOnly = filter == uncheckedOnly;
    if (filter == besideShort)
        chosen.shortestNeighbourBelow = m_secondsField->value();
    m_model.arrange(static_cast<ReviewOrder>(m_orderBox->currentIndex()), chosen);
    m_pictures.setShownEvents(m_model.shownEvents());
    goToRow(std::max(0, m_model.rowOf(event)));
    noteSight();
}

// Deciding

void ReviewWindow::confirm()
{
    decide([this](const QList<int>& events) { Q_EMIT confirmRequested(events); });
}

void ReviewWindow::reject()
{
    decide([this](const QList<int>& events) {
        const bool isOne = events.size() == 1;
        Q_EMIT rejectRequested(events, isOne ? u"不是换场"_s : u"否决 %1 个换场"_s.arg(events.size()));
    });
}

/// Goes on to the next unchecked row, when all that was asked for has been done.
void ReviewWindow::decide(const std::function<void(const QList<int>&)>& ask)
{
    const QList<int> events = selectedEvents();
    if (events.isEmpty())
        return;
    m_isAsking = true;
    ask(events);
    m_isAsking = false;
    const auto isOpen = [this](int event) { return m_model.facts().states.at(event) == EventState::unchecked; };
    if (std::any_of(events.begin(), events.end(), isOpen))
        return;
    m_visited.append(currentEvent());
    const int next = m_model.nextUncheckedRow(m_model.rowOf(events.last()));
    if (next >= 0)
        goToRow(next);
    else
        tell(u"列出的换场都已检查。"_s);
}

void ReviewWindow::goBack()
{
    int row = m_table->currentIndex().row() - 1;
    while (!m_visited.isEmpty()) {
        const int visited = m_model.rowOf(m_visited.takeLast());
        if (visited >= 0 && visited != m_table->currentIndex().row()) {
            row = visited;
            break;
        }
    }
    goToRow(row);
}

void ReviewWindow::prune()
{
    const QList<int> events = prunable();
    if (events.isEmpty())
        return;
    m_isAsking = true;
    Q_EMIT rejectRequested(events, u"否决 %1 个换场"_s.arg(events.size()));
    m_isAsking = false;
    m_pruneSlider->setValue(0);
    m_table->setFocus();
}

/// What would really be rejected: a transition without a clip to join stays.
QList<int> ReviewWindow::prunable() const
{
    QList<int> events = leastCertainUnchecked(m_model.facts(), m_pruneSlider->value());
    if (events.isEmpty())
        return events;
    SegmentList trial = m_list;
    std::ignore = rejectEvents(trial, events);
    const QList<EventState> states = eventStates(trial);
    events.removeIf([&](int event) { return states[event] != EventState::rejected; });
    return events;
}

void ReviewWindow::markForPruning()
{
    const QList<int> events = prunable();
    m_model.setMarkedEvents(events);
    m_pruneLabel->setText(u"将否决 %1 个换场"_s.arg(events.size()));
    m_pruneButton->setEnabled(!events.isEmpty());
}

QList<int> ReviewWindow::selectedEvents() const
{
    QList<int> rows;
    for (const QModelIndex& index : m_table->selectionModel()->selectedRows())
        rows.append(index.row());
    if (rows.isEmpty() && m_table->currentIndex().isValid())
        rows.append(m_table->currentIndex().row());
    std::sort(rows.begin(), rows.end());
    for (int& row : rows)
        row = m_model.eventAt(row);
    return rows;
}

// Rows

void ReviewWindow::goToRow(int row)
{
    if (row < 0 || row >= m_model.rowCount())
        return;
    // Not by the view, for which a key that is held down would extend the selection.
    m_table->selectionModel()->setCurrentIndex(m_model.index(row, 0),
                                               QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

void ReviewWindow::rowChanged(const QModelIndex& current)
{
    if (!current.isValid())
        return;
    m_hintLabel->setText(keysHint);
    noteSight();
    m_pictures.setCurrent(current.row());
    Q_EMIT currentEventChanged(m_model.eventAt(current.row()));
}

void ReviewWindow::toggleLarge()
{
    m_delegate->setLarge(!m_delegate->isLarge());
    layOutRows();
    noteSight();
}

/// The rows have the height that their width asks for; the current one stays in sight.
void ReviewWindow::layOutRows()
{
    const int height = m_delegate->layoutFor(m_table->fontMetrics()).rowHeight(m_table->viewport()->size());
    if (height == m_table->verticalHeader()->defaultSectionSize())
        return;
    m_table->verticalHeader()->setMinimumSectionSize(1);
    m_table->verticalHeader()->setDefaultSectionSize(height);
    m_table->verticalScrollBar()->setSingleStep(height / 4);
    m_table->doItemsLayout(); // now, or it would scroll among the rows of before
    m_table->scrollTo(m_table->currentIndex());
}

void ReviewWindow::noteSight()
{
    const QSize room = m_table->viewport()->size();
    const ReviewLayout layout = m_delegate->layoutFor(m_table->fontMetrics());
    const QRect row(QPoint(), QSize(room.width(), layout.rowHeight(room)));
    const QSize picture = layout.picture(row, 0, 4).size();
    m_pictures.setBox((QSizeF(picture) * devicePixelRatioF()).toSize(), m_delegate->isLarge());
    const int last = m_table->rowAt(room.height() - 1);
    m_pictures.setInSight(std::max(0, m_table->rowAt(0)), last >= 0 ? last : m_model.rowCount() - 1);
}

void ReviewWindow::showProgress()
{
    const QList<EventState>& states = m_model.facts().states;
    const qsizetype rejected = states.count(EventState::rejected);
    m_progressLabel->setText(u"已检查 %1 / %2，已否决 %3"_s.arg(states.size() - states.count(EventState::unchecked))
                                 .arg(states.size())
                                 .arg(rejected));
}

// The window

void ReviewWindow::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    keepOnScreen(this);
    layout()->activate();
    layOutRows();
    noteSight();
    m_pictures.setWatched(true);
}

void ReviewWindow::hideEvent(QHideEvent* event)
{
    m_pictures.setWatched(false);
    QWidget::hideEvent(event);
}

/// What the list has not used.
void ReviewWindow::keyPressEvent(QKeyEvent* event)
{
    if (m_secondsField->hasFocus() && event->matches(QKeySequence::InsertParagraphSeparator)) // Enter
        m_table->setFocus();
    else if (event->key() != Qt::Key_Escape)
        QWidget::keyPressEvent(event);
    else if (m_delegate->isLarge())
        toggleLarge();
    else
        close();
}

void ReviewWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange)
        updateSecondaryColor();
    QWidget::changeEvent(event);
}

/// The palette's own placeholder colour is too faint.
void ReviewWindow::updateSecondaryColor()
{
    QPalette secondary;
    secondary.setColor(QPalette::PlaceholderText, secondaryTextColor(palette()));
    m_hintLabel->setPalette(secondary);
}
