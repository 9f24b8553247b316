#include "MainWindowController/MainWindow.h"

#include "Controls/Appearance.h"
#include "Controls/DroppablePathField.h"
#include "Controls/FittingLabel.h"
#include "Controls/FormScrollArea.h"
#include "Controls/HoverAwareTableRowView.h"
#include "Controls/PanelContainerView.h"
#include "Controls/Stepper.h"
#include "Controls/TintedButton.h"
#include "Controls/ToggleAccessibility.h"
#include "CutLists/CutListKinds.h"
#include "MainWindowController/EventTableModel.h"
#include "MainWindowController/MonospacedDelegate.h"
#include "MainWindowController/PanelParts.h"
#include "MainWindowController/SegmentListEditor.h"
#include "MainWindowController/SegmentTableAccessibility.h"
#include "MainWindowController/SegmentTableDelegate.h"
#include "MainWindowController/SegmentTableModel.h"
#include "MainWindowController/ToolTips.h"
#include "Models/NumberText.h"

#include <QAccessible>
#include <QCheckBox>
#include <QDragEnterEvent>
#include <QEvent>
#include <QGridLayout>
#include <QMimeData>
#include <QRadioButton>
#include <QShortcut>
#include <QTableView>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize contentSize(860, 620); // the menu bar not counted
constexpr QSize minimumContentSize(760, 560);
constexpr int contentInset = 22;
constexpr int stackMinimumWidth = 1352;
constexpr int panelSpacing = 18;
constexpr int panelMinimumHeight = 560;
constexpr int controlsPanelWidth = 420;
constexpr int resultPanelWidth = 460;
constexpr int scriptPanelWidth = 392;
constexpr int concurrencyFieldWidth = 92;
constexpr int smallFieldWidth = 64;
constexpr int fieldHeight = 26;
constexpr int formSpacing = 10;
constexpr int mostStatusLines = 6;
constexpr int mostEventColumnWidth = 480;
constexpr int mostSegmentColumnWidth = 320;
constexpr qreal headerTitleFactor = 2;

QLineEdit* makeTextField(const QString& placeholder, const QString& text)
{
    auto* field = new QLineEdit(text);
    field->setPlaceholderText(placeholder);
    field->setAcceptDrops(false);
    field->setMinimumHeight(fieldHeight);
    return field;
}

QLineEdit* makeSmallField(const QString& placeholder, const QString& text)
{
    QLineEdit* field = makeTextField(placeholder, text);
    field->setFixedWidth(smallFieldWidth);
    field->setMinimumHeight(0);
    field->setAlignment(Qt::AlignCenter);
    return field;
}

/// Clicking it takes the focus on every platform, so that a time being edited is committed first.
QPushButton* makeButton(const QString& text)
{
    auto* button = new QPushButton(text);
    button->setFocusPolicy(Qt::StrongFocus);
    return button;
}

PanelContainerView* makePanel(const QString& name, int width)
{
    auto* panel = new PanelContainerView;
    panel->setObjectName(name);
    panel->setFixedWidth(width);
    panel->setMinimumHeight(panelMinimumHeight);
    return panel;
}

QVBoxLayout* makePanelLayout(PanelContainerView* panel)
{
    auto* layout = new QVBoxLayout(panel->contentView());
    layout->setContentsMargins(QMargins());
    layout->setSpacing(formSpacing);
    return layout;
}

/// The label belongs to `control`, which stands in the first line of `content` or is all of it.
void addGridRow(QGridLayout* grid, const QString& label, QWidget* control, QWidget* content)
{
    const int row = grid->rowCount();
    grid->addWidget(makeFieldLabel(label, control), row, 0, Qt::AlignLeft | Qt::AlignTop);
    grid->addWidget(content, row, 1);
}

} // namespace

MainWindow::MainWindow()
    : segmentList(new SegmentListEditor(this))
{
    setWindowTitle(u"Kestrel"_s);
    setAcceptDrops(true);
    for (const auto& factory : {speakSegmentTable, speakToggle})
        QAccessible::installFactory(factory); // at most once
    buildUI();
    nameControls();
    addToolTips(*this);
    updateSecondaryColor();
}

void MainWindow::takeOpeningSize()
{
    const QSize menuBar = layout()->totalSizeHint() - layout()->sizeHint();
    setMinimumSize(minimumContentSize + menuBar);
    resize(contentSize + menuBar);
}

void MainWindow::setVisible(bool visible)
{
    if (visible && !testAttribute(Qt::WA_Resized))
        takeOpeningSize();
    QMainWindow::setVisible(visible);
}

void MainWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange)
        updateSecondaryColor();
    QMainWindow::changeEvent(event);
}

/// What is dragged over the window counts as dragged over the first field that takes it. A field that was aimed at and
/// refused has the last word.
void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    m_dropField = nullptr;
    if (qobject_cast<DroppablePathField*>(childAt(event->position().toPoint())))
        return;
    for (DroppablePathField* field : {videoPathField, outputDirectoryField}) {
        if (!m_dropField && field->considerDrop(event->mimeData()))
            m_dropField = field;
    }
    dragMoveEvent(event);
}

void MainWindow::dragMoveEvent(QDragMoveEvent* event)
{
    event->setDropAction(Qt::CopyAction);
    event->setAccepted(m_dropField != nullptr);
}

void MainWindow::dragLeaveEvent(QDragLeaveEvent* /*event*/)
{
    if (m_dropField)
        m_dropField->forgetDrop();
}

void MainWindow::dropEvent(QDropEvent* event)
{
    event->setDropAction(Qt::CopyAction);
    const QList<QUrl> urls = event->mimeData()->urls();
    if (const FileURL first(urls.value(0).toLocalFile()); m_dropField == videoPathField && hasListName(first)) {
        m_dropField->forgetDrop();
        event->accept();
        Q_EMIT listDropped(first);
        return;
    }
    event->setAccepted(m_dropField && m_dropField->takeDrop(event->mimeData()));
}

void MainWindow::buildUI()
{
    auto* panels = new QHBoxLayout;
    panels->setSpacing(panelSpacing);
    panels->addWidget(buildControlsPanel());
    panels->addWidget(buildResultPanel());
    panels->addWidget(buildScriptPanel());
    panels->addStretch();

    auto* stack = new QWidget;
    stack->setMinimumWidth(stackMinimumWidth);
    auto* stackLayout = new QVBoxLayout(stack);
    stackLayout->setContentsMargins(QMargins());
    stackLayout->setSpacing(panelSpacing);
    stackLayout->addWidget(buildHeader());
    stackLayout->addLayout(panels, 1);

    auto* scrollArea = new FormScrollArea;
    scrollArea->setWidget(stack);
    scrollArea->followRows(eventTableView);
    scrollArea->followRows(segmentTableView);
    scrollArea->viewport()->setAutoFillBackground(false);
    stack->setAutoFillBackground(false);

    auto* content = new QWidget;
    auto* contentLayout = new QVBoxLayout(content);
    contentLayout->setContentsMargins(contentInset, contentInset, contentInset, contentInset);
    contentLayout->addWidget(scrollArea);
    setCentralWidget(content);
}

QWidget* MainWindow::buildHeader()
{
    headerTitleLabel = new QLabel(u"Kestrel"_s);
    QFont font = scaledFont(headerTitleLabel->font(), headerTitleFactor);
    font.setBold(true);
    headerTitleLabel->setFont(font);
    headerSubtitleLabel = new QLabel(u"识别换场，生成脚本，并按并发窗口执行分解。"_s);
    useSecondaryColor(headerSubtitleLabel);
    return makeVerticalStack({headerTitleLabel, headerSubtitleLabel});
}

QWidget* MainWindow::buildControlsPanel()
{
    createPathControls();
    createSettingControls();
    createReportLabels();
    parseButton = makeButton(u"解析"_s);
    splitButton = makeButton(u"分解"_s);

    PanelContainerView* panel = makePanel(u"controlsPanel"_s, controlsPanelWidth);
    QVBoxLayout* layout = makePanelLayout(panel);
    layout->addWidget(makeSectionTitle(u"输入与输出"_s));
    layout->addWidget(buildControlsGrid());
    layout->addWidget(makeHorizontalRow({parseButton, splitButton}));
    layout->addStretch();
    return panel;
}

void MainWindow::createPathControls()
{
    videoPathField = new DroppablePathField(DroppablePathField::AcceptKind::file);
    videoPathField->setPlaceholderText(u"拖入视频文件，或点击右侧按钮选择"_s);
    selectVideoButton = makeButton(u"选择视频"_s);
    outputDirectoryField = new DroppablePathField(DroppablePathField::AcceptKind::directory);
    outputDirectoryField->setPlaceholderText(u"默认使用视频所在目录，也可拖入文件夹或手工输入"_s);
    selectOutputDirectoryButton = makeButton(u"选择目录"_s);
    resetOutputDirectoryButton = makeButton(u"跟随视频目录"_s);
}

void MainWindow::createSettingControls()
{
    prefixField = makeTextField(u"输出前缀，例如 my-video"_s, QString());
    centerMixedText(prefixField);
    cropField = makeTextField(u"1728:910:0:85"_s, QString());
    skipStartField = makeSmallField(u"0"_s, u"0"_s);
    concurrencyField = makeTextField(QString(), u"3"_s);
    concurrencyField->setFixedWidth(concurrencyFieldWidth);
    concurrencyField->setAlignment(Qt::AlignCenter);
    concurrencyStepper = new Stepper;
    concurrencyStepper->setFixedHeight(fieldHeight);
    concurrencyStepper->setRange(1, 12);
    concurrencyStepper->setValue(3);
}

void MainWindow::createReportLabels()
{
    namingPreviewLabel = new FittingLabel(1, u"未选择视频"_s);
    namingPreviewLabel->setFont(monospacedFont());
    useSecondaryColor(namingPreviewLabel);
    statusLabel = new FittingLabel(mostStatusLines, u"请选择视频文件，或直接拖入。"_s);
    useSecondaryColor(statusLabel);
}

QWidget* MainWindow::buildControlsGrid()
{
    QWidget* fadeStrategyStack = buildFadeStrategyStack();

    auto* gridWidget = new QWidget;
    auto* grid = new QGridLayout(gridWidget);
    grid->setContentsMargins(QMargins());
    grid->setHorizontalSpacing(formSpacing);
    grid->setColumnStretch(1, 1);
    addGridRow(grid, u"视频文件"_s, videoPathField, makeHorizontalRow({videoPathField, selectVideoButton}));
    addGridRow(grid, u"输出目录"_s, outputDirectoryField,
               makeVerticalStack({outputDirectoryField,
                                  makeHorizontalRow({selectOutputDirectoryButton, resetOutputDirectoryButton})}));
    addGridRow(grid, u"输出前缀"_s, prefixField,
               makeVerticalStack({prefixField, makeHintLabel(u"输出文件名格式：前缀-01、前缀-02"_s)}));
    addGridRow(grid, u"画面裁剪"_s, cropField,
               makeVerticalStack({cropField, makeHintLabel(u"格式：宽:高:X:Y，留空表示不裁剪"_s)}));
    addGridRow(grid, u"跳过检测"_s, skipStartField,
               makeVerticalStack({skipStartField, makeHintLabel(u"从视频开头跳过多少秒后再开始检测"_s)}));
    addGridRow(grid, u"Fade 删除"_s, fadeStrategyRows.front().leftField,
               makeVerticalStack({fadeStrategyStack, makeHintLabel(u"左侧别太激进，右侧别太保守；秒数可直接手调"_s)}));
    addGridRow(grid, u"命名预览"_s, namingPreviewLabel, namingPreviewLabel);
    addGridRow(grid, u"并发窗口"_s, concurrencyField,
               makeVerticalStack({makeHorizontalRow({concurrencyField, concurrencyStepper, nullptr}),
                                  makeHintLabel(u"默认 3 个子窗口并发执行"_s)}));
    addGridRow(grid, u"状态"_s, statusLabel, statusLabel);
    return gridWidget;
}

QWidget* MainWindow::buildFadeStrategyStack()
{
    auto* stack = new QWidget;
    stack->setObjectName(u"fadeStrategyStack"_s);
    auto* grid = new QGridLayout(stack); // one row a strategy, its parts below those of the others
    grid->setContentsMargins(QMargins());
    for (const FadeRemovalStrategy strategy : FadeRemovalStrategy::allCases) {
        const FadePaddingSettings padding = strategy.defaultPaddingSettings();
        const int position = strategy.position();
        auto* button = new QRadioButton(strategy.displayName());
        const auto beTabStop = [button](bool isOn) { button->setFocusPolicy(isOn ? Qt::StrongFocus : Qt::ClickFocus); };
        connect(button, &QRadioButton::toggled, button, beTabStop);
        beTabStop(false);
        button->setChecked(strategy == FadeRemovalStrategy::defaultValue);
        QLineEdit* leftField = makeSmallField(u"左扩秒"_s, formatFixed(padding.leftSeconds, 2));
        QLineEdit* rightField = makeSmallField(u"右扩秒"_s, formatFixed(padding.rightSeconds, 2));
        const QList<QWidget*> parts = {button,     makeHintLabel(u"左"_s), leftField, makeHintLabel(u"右"_s),
                                       rightField, makeHintLabel(u"秒"_s)};
        for (int column = 0; column < parts.size(); ++column)
            grid->addWidget(parts.at(column), position, column);
        grid->setColumnStretch(static_cast<int>(parts.size()), 1);
        fadeStrategyRows.at(static_cast<std::size_t>(position)) = {strategy, button, leftField, rightField};
    }
    return stack;
}

QWidget* MainWindow::buildResultPanel()
{
    PanelContainerView* panel = makePanel(u"resultPanel"_s, resultPanelWidth);
    summaryLabel = new FittingLabel(1, u"等待解析"_s);
    useSecondaryColor(summaryLabel);
    configureEventTable();

    QVBoxLayout* layout = makePanelLayout(panel);
    layout->addWidget(makeSectionTitle(u"换场结果"_s));
    layout->addWidget(makeHintLabel(u"展示开始时间、结束时间、时长和换场类型。"_s));
    layout->addWidget(summaryLabel);
    layout->addWidget(eventTableView, 1);
    return panel;
}

QWidget* MainWindow::buildScriptPanel()
{
    PanelContainerView* panel = makePanel(u"scriptPanel"_s, scriptPanelWidth);
    scriptPanel = panel;
    segmentMasterCheckbox = new QCheckBox(u"全选"_s);
    segmentMasterCheckbox->setTristate(true);
    addSegmentButton = new TintedButton(u"追加行"_s, systemGreen());
    addSegmentButton->setFocusPolicy(Qt::StrongFocus);
    configureSegmentTable();

    QVBoxLayout* layout = makePanelLayout(panel);
    layout->addWidget(makeSectionTitle(u"分解片段"_s));
    layout->addWidget(makeHintLabel(u"显示启用、开始时间、结束时间；支持手动修改和禁用。"_s));
    layout->addWidget(makeHorizontalRow({segmentMasterCheckbox, nullptr, addSegmentButton}));
    layout->addWidget(segmentTableView, 1);
    return panel;
}

void MainWindow::configureEventTable()
{
    eventTableView = new QTableView;
    eventTableModel = new EventTableModel(segmentList, eventTableView);
    eventTableView->setModel(eventTableModel);
    eventTableView->setSelectionMode(QAbstractItemView::SingleSelection);
    eventTableView->setCornerWidget(new QWidget); // between both scroll bars nothing, not the window's colour
    eventTableView->setItemDelegate(new MonospacedDelegate(eventTableView));
    configureTable(eventTableView, {44, 72, 118, 118, 76, 140}, mostEventColumnWidth);
    const auto goToRow = [this](int row) { eventTableView->setCurrentIndex(eventTableModel->index(row, 0)); };
    connect(new QShortcut(Qt::Key_Home, eventTableView, nullptr, nullptr, Qt::WidgetShortcut), &QShortcut::activated,
            this, [goToRow] { goToRow(0); });
    connect(new QShortcut(Qt::Key_End, eventTableView, nullptr, nullptr, Qt::WidgetShortcut), &QShortcut::activated,
            this, [this, goToRow] { goToRow(eventTableModel->rowCount() - 1); });
}

void MainWindow::configureSegmentTable()
{
    segmentTableView = new QTableView;
    segmentTableModel = new SegmentTableModel(segmentList, segmentTableView);
    segmentTableView->setModel(segmentTableModel);
    segmentTableView->setSelectionMode(QAbstractItemView::ExtendedSelection);
    segmentTableView->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::AnyKeyPressed);
    configureTable(segmentTableView, {62, 128, 128}, mostSegmentColumnWidth);
    segmentTableDelegate = new SegmentTableDelegate(segmentTableView);
    segmentTableView->setItemDelegate(segmentTableDelegate);
    segmentRowHover = new HoverAwareTableRowView(segmentTableView);
}

/// The object names are how the window is driven from outside, the accessible names what a screen reader says. Tab goes
/// through the controls in this order.
void MainWindow::nameControls()
{
    QWidget* previous = nullptr;
    const auto name = [&previous](QWidget* control, const QString& objectName, const QString& accessibleName) {
        control->setObjectName(objectName);
        control->setAccessibleName(accessibleName);
        if (previous)
            setTabOrder(previous, control);
        previous = control;
    };
    name(headerTitleLabel, u"headerTitleLabel"_s, u"标题：Kestrel"_s);
    name(headerSubtitleLabel, u"headerSubtitleLabel"_s, headerSubtitleLabel->text());
    name(videoPathField, u"videoPathField"_s, u"视频文件"_s);
    name(selectVideoButton, u"selectVideoButton"_s, u"选择视频"_s);
    name(outputDirectoryField, u"outputDirectoryField"_s, u"输出目录"_s);
    name(selectOutputDirectoryButton, u"selectOutputDirectoryButton"_s, u"选择目录"_s);
    name(resetOutputDirectoryButton, u"resetOutputDirectoryButton"_s, u"跟随视频目录"_s);
    name(prefixField, u"prefixField"_s, u"输出前缀"_s);
    name(cropField, u"cropField"_s, u"画面裁剪"_s);
    name(skipStartField, u"skipStartField"_s, u"跳过检测"_s);
    for (const FadeStrategyRow& row : fadeStrategyRows) // first, so that Tab comes to the chosen one before all fields
        name(row.button, u"fadeStrategyButton."_s + row.strategy.rawValue(), row.strategy.displayName());
    for (const FadeStrategyRow& row : fadeStrategyRows) {
        const QString suffix = u'.' + row.strategy.rawValue();
        const QString title = row.strategy.displayName();
        name(row.leftField, u"fadeLeftField"_s + suffix, title + u"：左扩秒"_s);
        name(row.rightField, u"fadeRightField"_s + suffix, title + u"：右扩秒"_s);
    }
    name(namingPreviewLabel, u"namingPreviewLabel"_s, u"命名预览"_s);
    name(concurrencyField, u"concurrencyField"_s, u"并发窗口"_s);
    name(concurrencyStepper, u"concurrencyStepper"_s, u"调整并发窗口数"_s);
    name(statusLabel, u"statusLabel"_s, u"状态"_s);
    name(parseButton, u"parseButton"_s, u"解析"_s);
    name(splitButton, u"splitButton"_s, u"分解"_s);
    name(summaryLabel, u"summaryLabel"_s, u"结果摘要"_s);
    name(eventTableView, u"eventTableView"_s, u"换场结果"_s);
    name(segmentMasterCheckbox, u"segmentMasterCheckbox"_s, u"全选"_s);
    name(addSegmentButton, u"addSegmentButton"_s, u"追加行"_s);
    name(segmentTableView, u"segmentTableView"_s, u"分解片段"_s);
}

/// The palette's own placeholder colour is too faint for the hints, the status and the preview.
void MainWindow::updateSecondaryColor()
{
    QPalette secondary;
    secondary.setColor(QPalette::PlaceholderText, secondaryTextColor(palette()));
    centralWidget()->setPalette(secondary);
}
