#pragma once

#include "Frames/FramePlan.h"
#include "Frames/FrameSource.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QTimer>

/// One picture of a row: which it is, and what is to be seen of it.
struct ReviewPicture
{
    PlannedFrame planned;
    QString caption;
    QImage image;
    QString message; ///< in the picture's place while there is none
};

/// The pictures of all transitions, fetched before they are wanted: those of the current row, then those around it,
/// then onwards in the order shown, as long as they are kept.
class ReviewPictures final : public QObject
{
    Q_OBJECT

public:
    ReviewPictures();

    void setContent(const ViewerContent& content);
    /// The tools to fetch pictures with, or the reason why there are none.
    void setRuntime(const std::optional<RuntimeConfiguration>& runtime, const QString& reason);
    /// The events as they are shown, as places in the list of events.
    void setShownEvents(const QList<int>& events);
    /// The place among them that the user works on, and those that are in sight.
    void setCurrent(int place);
    void setInSight(int firstPlace, int lastPlace);
    /// The device pixels that a picture fills; where only the current row's are that large, others may be smaller.
    void setBox(QSize box, bool isForCurrentAlone);
    /// A running split leaves one process for pictures.
    void setSplitRunning(bool isRunning);
    /// Nothing is fetched while nobody looks; what failed is tried again when somebody looks anew.
    void setWatched(bool isWatched);

    /// Four for a cut, five for any other transition.
    [[nodiscard]] QList<ReviewPicture> picturesOf(int event) const;
    /// Whether each of them is a picture, or is known not to exist.
    [[nodiscard]] bool isComplete(int event) const;
    [[nodiscard]] const FrameSource& source() const { return m_source; }

Q_SIGNALS:
    /// More pictures, or other words in the place of some.
    void changed();

private:
    [[nodiscard]] const FramePlan& planOf(int event) const;
    [[nodiscard]] QList<FrameNeed> missing(int event, bool mayBeSmall) const;
    [[nodiscard]] QString missingText(const FramePlan& plan, const FrameAnswer& frame) const;
    [[nodiscard]] QList<FrameNeed> missingAhead() const;
    [[nodiscard]] QList<int> placesAhead() const;
    [[nodiscard]] int rowsInMemory() const;
    void fetch();

    ViewerContent m_content;
    QDateTime m_videoModified;
    FrameSource m_source;
    mutable QHash<int, FramePlan> m_plans; ///< by event, until more is known
    mutable QSet<int> m_complete;          ///< events whose pictures had all come
    QList<int> m_events;
    int m_current = -1;
    int m_firstInSight = 0;
    int m_lastInSight = -1;
    VideoClock m_clock; ///< with which the plans were made
    bool m_isBoxForCurrentAlone = false;
    bool m_isWatched = false;
    QTimer m_restTimer; ///< runs while a row is new
    bool m_isRushing = false;
};
