#pragma once

#include <QObject>

#include <optional>

class MainWindow;

/// What is done in the panel of segments beside editing its cells: the box over all rows, rows that are appended and
/// deleted, the row under the pointer, and the rows that belong to the selected event.
class SegmentPanel final : public QObject
{
public:
    explicit SegmentPanel(MainWindow& window);

    /// The box over all rows shows their state.
    void updateMasterCheckbox();
    /// Selects exactly the rows that belong to the selected event.
    void selectRelatedRows(bool scrollThere);

private:
    void setAllEnabled();
    void appendRow();
    void deleteRow(int row);
    void rowHovered(int row, bool entered);
    void forgetHoveredRow();

    MainWindow& m_window;
    std::optional<int> m_hoveredRow;
};
