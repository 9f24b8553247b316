#pragma once

#include "Frames/ViewerContent.h"
#include "Models/SegmentEditing.h"

#include <QObject>
#include <QTimer>

#include <functional>

class MainWindow;
class QTableView;
class ViewerWindow;

/// Ties the viewer to the two tables: Space and the context menu open it, it follows the row in use, keys pressed in a
/// table reach it, and what it changes goes the way of typed times.
class ViewerConnection final : public QObject
{
public:
    /// `content` tells what there is to show; it is asked after every change of the tables and fields.
    ViewerConnection(MainWindow& window, std::function<ViewerContent()> content);

    void setSplitRunning(bool isRunning);

    [[nodiscard]] ViewerWindow* viewer() const { return m_viewer; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void connectTable(QTableView* table);
    void connectViewer();
    void open(QTableView* table);
    void follow(QTableView* table);
    void refresh();
    void selectRow(QTableView* table, int row);
    void retime(int row, SegmentEdge edge, const QString& text) const;
    void split(int row, double seconds) const;

    MainWindow& m_window;
    std::function<ViewerContent()> m_content;
    ViewerWindow* m_viewer; ///< owned by the main window
    QTableView* m_followed = nullptr;
    QTimer m_refreshTimer;
};
