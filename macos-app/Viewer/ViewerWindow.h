#pragma once

#include "Models/SegmentEditing.h"
#include "Viewer/SubjectFrames.h"

#include <QTimer>
#include <QWidget>

#include <optional>

class FittingLabel;
class FramePages;
class TimelineView;
struct ShownFrame;

/// The window "画面": the pictures around a transition, at both edges of a segment as the split cuts it, or around any
/// place in a segment, where it can be cut in two. It is fed
/// with values and asks for changes by signals; the keys that it understands may also be pressed in the tables.
class ViewerWindow final : public QWidget
{
    Q_OBJECT

public:
    explicit ViewerWindow(QWidget* parent);

    /// Shows the window where it was last, without taking the focus.
    void open();
    void setContent(const ViewerContent& content);
    void setSubject(const ViewerSubject& subject);
    /// The tools to fetch pictures with, or the reason why there are none.
    void setRuntime(const std::optional<RuntimeConfiguration>& runtime, const QString& reason = {});
    /// A running split leaves the viewer one process.
    void setSplitRunning(bool isRunning) { m_frames.setSplitRunning(isRunning); }

    [[nodiscard]] const ViewerSubject& subject() const { return m_frames.subject(); }
    [[nodiscard]] SegmentEdge chosenEdge() const { return m_edge; }
    /// What the window shows at present, and where its pictures come from.
    [[nodiscard]] const FramePlan& plan() const { return m_frames.plan(); }
    [[nodiscard]] const FrameSource& source() const { return m_frames.source(); }

    /// Space and Escape close; Tab chooses an edge of a segment or a place in it, which Left and Right move; S cuts the
    /// segment at that place; Return shows one picture large, and
    /// takes that back as Escape does. Whether the key was used.
    bool handleKey(const QKeyEvent& event);

Q_SIGNALS:
    /// The user moves an edge of that row of the segment table; the text is what would be typed.
    void retimeRequested(int row, SegmentEdge edge, const QString& text);
    /// The user wants that row of the segment table cut in two at that time, in seconds.
    void splitRequested(int row, double seconds);
    /// The user points at a row on the line of the video.
    void subjectActivated(const ViewerSubject& subject);
    /// The user presses an arrow up (-1) or down (1) while this window has the focus.
    void rowStepRequested(int direction);

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void buildActions();
    void updateSecondaryColor();
    void placeOnScreen();

    void showFrames();
    void showTitle();
    void describeForScreenReaders(const QList<ShownFrame>& frames);
    [[nodiscard]] ShownFrame shownFrame(const PlannedFrame& planned) const;
    [[nodiscard]] double position() const;
    void updateBox();

    [[nodiscard]] qsizetype usualLargePlace() const;
    void showLarge(std::optional<qsizetype> place);
    void switchLarge(qsizetype place);
    void chooseNext(int direction);
    void stepSideways(int direction, bool byOneSecond);
    void moveEdge(int direction, bool byOneSecond);

    /// Where in the segment the viewer stands instead of at its edges, in seconds.
    [[nodiscard]] std::optional<double> place() const;
    void goTo(double seconds);
    void movePlace(int direction, bool byOneSecond);
    [[nodiscard]] std::optional<double> timeToSplit() const;

    SubjectFrames m_frames;
    struct Standing
    {
        int row; ///< of the segment table
        double seconds;
    };

    SegmentEdge m_edge = SegmentEdge::start;
    std::optional<Standing> m_standing;
    std::optional<QPoint> m_place;
    QTimer m_boxTimer;

    FittingLabel* m_title;
    FramePages* m_pages;
    TimelineView* m_timeline;
    FittingLabel* m_hint;
    QAction* m_largeAction;
    QAction* m_splitAction;
    QAction* m_wholeVideoAction;
};
