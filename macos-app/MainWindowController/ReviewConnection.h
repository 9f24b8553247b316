#pragma once

#include "Frames/ViewerContent.h"

#include <QObject>
#include <QPointer>

#include <functional>

class MainWindow;
class QAction;
class ReviewWindow;
class ViewerWindow;

/// Ties the window for checking to the list of segments and to the event table: Ctrl+E there and in the viewer opens
/// it, what it asks for is a step of the history, and the current row of either is that of the other.
class ReviewConnection final : public QObject
{
public:
    /// `content` tells what there are pictures of.
    ReviewConnection(MainWindow& window, ViewerWindow& viewer, std::function<ViewerContent()> content);

    void setSplitRunning(bool isRunning);

private:
    void connectList();
    void connectReview();
    void open();
    void refresh();
    void followTable();
    void selectInTable(int event);

    MainWindow& m_window;
    const std::function<ViewerContent()> m_content;
    QPointer<ReviewWindow> m_review; ///< while it is open; owned by the main window
    QAction* m_action;
    bool m_isSplitRunning = false;
};
