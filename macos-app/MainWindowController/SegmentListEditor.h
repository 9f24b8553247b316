#pragma once

#include "Models/SegmentEditing.h"
#include "Models/SegmentListChange.h"

#include <QObject>
#include <QUndoStack>

#include <functional>

/// Holds the list of segments and is the only one that changes it. Each operation is one thing that a user does and one
/// step of the history; what would change nothing is no step and reported by nobody.
class SegmentListEditor final : public QObject
{
    Q_OBJECT

public:
    enum class Field {
        enabled,
        start,
        end
    };
    /// Steps in a row that count as one: those of an edge that is moved picture by picture, parses while a padding
    /// is typed, lists that come and go while a path is typed.
    enum class Series {
        none,
        movedStart,
        movedEnd,
        typedPadding,
        typedPath
    };

    using QObject::QObject;

    [[nodiscard]] const SegmentList& list() const { return m_list; }
    [[nodiscard]] const QList<EditableSegment>& segments() const { return m_list.segments; }

    /// Another list: after a detection, or when its video is no longer the one that is worked on.
    void replace(const SegmentList& list, const QString& stepName = QStringLiteral(u"解析"),
                 Series series = Series::none);
    /// The segments stay and are cut from this video from now on.
    void changeVideo(const FileURL& videoURL, Series series = Series::none);

    void setEnabled(const QList<int>& rows, bool enabled);
    void setAllEnabled(bool enabled);
    /// The message for the user when the text is refused; nothing has changed then.
    [[nodiscard]] std::optional<QString> retime(int row, SegmentEdge edge, const QString& text,
                                                Series series = Series::none);
    /// Appends a manual row.
    void append();
    /// Only a manual row can be removed; any other stays.
    void remove(int row);
    /// Any other edit of the rows, as a function over the list: why nothing can be done, in words for the user, or
    /// nothing when it is done.
    using Edit = std::function<std::optional<QString>(SegmentList&)>;
    [[nodiscard]] std::optional<QString> edit(const QString& stepName, const Edit& change);

    [[nodiscard]] const QUndoStack& history() const { return m_history; }
    void undo();
    void redo();

Q_SIGNALS:
    void aboutToBeReplaced();
    void replaced();
    /// One field of these rows has other values.
    void fieldChanged(int firstRow, int lastRow, SegmentListEditor::Field field);
    void aboutToBeInserted(int row);
    void inserted(int row);
    void aboutToBeRemoved(int row);
    void removed(int row);
    /// After any change of rows that was no replacement, when all of it is done.
    void edited();
    void videoChanged();
    /// After `replaced` or `edited`: the step of that name was taken back, or made again.
    void undone(const QString& stepName);
    void redone(const QString& stepName);

private:
    class Step;

    void push(const QString& stepName, const SegmentListChange& change, Series series = Series::none);
    void apply(const SegmentListChange& change);
    void applyToRows(const SegmentRowsChange& change);
    void applyStretch(const SegmentRowsChange::Stretch& stretch);
    void setRow(int row, const EditableSegment& segment);

    SegmentList m_list;
    QUndoStack m_history;
};
