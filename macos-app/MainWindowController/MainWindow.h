#pragma once

#include "Controls/FittingLabel.h"
#include "MainWindowController/FadeStrategyRow.h"
#include "Models/FileURL.h"

#include <QMainWindow>

#include <array>

class DroppablePathField;
class EventTableModel;
class HoverAwareTableRowView;
class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QTableView;
class SegmentListEditor;
class SegmentTableDelegate;
class SegmentTableModel;

/// The main window with all its controls and no workflow: whoever shows it connects to the controls' own signals.
class MainWindow final : public QMainWindow
{
    Q_OBJECT

public:
    MainWindow();

    // The header
    QLabel* headerTitleLabel = nullptr;
    QLabel* headerSubtitleLabel = nullptr;

    // What goes in and where it comes out
    DroppablePathField* videoPathField = nullptr;
    QPushButton* selectVideoButton = nullptr;
    DroppablePathField* outputDirectoryField = nullptr;
    QPushButton* selectOutputDirectoryButton = nullptr;
    QPushButton* resetOutputDirectoryButton = nullptr;
    QLineEdit* prefixField = nullptr;
    QLineEdit* cropField = nullptr;
    QLineEdit* skipStartField = nullptr;
    std::array<FadeStrategyRow, FadeRemovalStrategy::allCases.size()> fadeStrategyRows; ///< in the order of allCases
    FittingLabel* namingPreviewLabel = nullptr;
    QLineEdit* concurrencyField = nullptr;
    QSpinBox* concurrencyStepper = nullptr;
    QLabel* statusLabel = nullptr;
    QPushButton* parseButton = nullptr;
    QPushButton* splitButton = nullptr;

    SegmentListEditor* segmentList = nullptr; ///< what both tables show

    // The transitions found
    QLabel* summaryLabel = nullptr;
    QTableView* eventTableView = nullptr;
    EventTableModel* eventTableModel = nullptr;

    // The segments to cut
    QWidget* scriptPanel = nullptr;
    QCheckBox* segmentMasterCheckbox = nullptr;
    QPushButton* addSegmentButton = nullptr;
    QTableView* segmentTableView = nullptr;
    SegmentTableModel* segmentTableModel = nullptr;
    SegmentTableDelegate* segmentTableDelegate = nullptr;
    HoverAwareTableRowView* segmentRowHover = nullptr;

    /// The size that its first appearance has, and its least one: those of the content plus the menu bar, which is
    /// installed by then.
    void takeOpeningSize();
    void setVisible(bool visible) override;

Q_SIGNALS:
    /// A list was dropped beside the fields.
    void listDropped(const FileURL& file);

protected:
    void changeEvent(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void buildUI();
    QWidget* buildHeader();
    QWidget* buildControlsPanel();
    void createPathControls();
    void createSettingControls();
    void createReportLabels();
    QWidget* buildControlsGrid();
    QWidget* buildFadeStrategyStack();
    QWidget* buildResultPanel();
    QWidget* buildScriptPanel();
    void configureEventTable();
    void configureSegmentTable();
    void nameControls();
    void updateSecondaryColor();

    DroppablePathField* m_dropField = nullptr; ///< which takes what is dragged over other parts of the window
};
