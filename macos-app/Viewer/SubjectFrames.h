#pragma once

#include "Frames/FramePlan.h"
#include "Frames/FrameSource.h"

#include <QDateTime>
#include <QTimer>

/// The frames of the row that the viewer shows: what is planned for it, and what has been fetched of that.
class SubjectFrames final : public QObject
{
    Q_OBJECT

public:
    SubjectFrames();

    void setContent(const ViewerContent& content);
    void setSubject(const ViewerSubject& subject);
    /// Seconds inside the segment that is shown, in place of its edges.
    void setPlace(const std::optional<double>& place);
    /// The tools to fetch pictures with, or the reason why there are none.
    void setRuntime(const std::optional<RuntimeConfiguration>& runtime, const QString& reason);
    /// The device pixels into which pictures are fitted, and the place in the plan of the only one that is shown, if
    /// there is one: of the others any size will do.
    void setBox(QSize box, std::optional<qsizetype> only = std::nullopt);
    /// A running split leaves one process for pictures.
    void setSplitRunning(bool isRunning);
    /// Nothing is fetched while nobody looks; what failed is tried again when somebody looks anew.
    void setWatched(bool isWatched);

    [[nodiscard]] const ViewerContent& content() const { return m_content; }
    [[nodiscard]] const ViewerSubject& subject() const { return m_subject; }
    [[nodiscard]] const FramePlan& plan() const { return m_plan; }
    [[nodiscard]] const FrameSource& source() const { return m_source; }

    /// The rows behind the subject; null when it is of the other kind.
    [[nodiscard]] const TransitionEvent* transition() const;
    [[nodiscard]] const EditableSegment* segment() const;
    /// Whether the user has said of this transition that it is none.
    [[nodiscard]] bool isRejected() const;
    /// Why a planned frame has no picture yet: it is being read, or could not be.
    [[nodiscard]] QString missingPictureText(const PlannedFrame& planned) const;
    /// Whether the video is known to have no frame from that time on, in seconds.
    [[nodiscard]] bool isBeyondEnd(double seconds) const;

Q_SIGNALS:
    /// The plan or its pictures are other ones.
    void changed();

private:
    void refresh();
    [[nodiscard]] QList<FrameNeed> missing(const FramePlan& plan) const;
    [[nodiscard]] QList<FrameNeed> missingAhead() const;

    ViewerContent m_content;
    ViewerSubject m_subject;
    std::optional<double> m_place;
    FramePlan m_plan;
    FrameSource m_source;
    QDateTime m_videoModified;
    QTimer m_subjectTimer; ///< runs while a row is new
    std::optional<qsizetype> m_only;
    bool m_isRushing = false;
    bool m_isWatched = false;
};
