#pragma once

#include "Models/SegmentEditing.h"
#include "Models/SegmentList.h"

#include <QObject>

/// Holds the list of segments and is the only one that changes it. Each operation is one thing that a user does; what
/// would change nothing is no change and reported by nobody.
class SegmentListEditor final : public QObject
{
    Q_OBJECT

public:
    enum class Field {
        enabled,
        start,
        end
    };

    using QObject::QObject;

    [[nodiscard]] const SegmentList& list() const { return m_list; }
    [[nodiscard]] const QList<EditableSegment>& segments() const { return m_list.segments; }

    /// Another list: after a detection, or when its video is no longer the one that is worked on.
    void replace(const SegmentList& list);
    /// The segments stay and are cut from this video from now on.
    void changeVideo(const FileURL& videoURL);

    void setEnabled(const QList<int>& rows, bool enabled);
    void setAllEnabled(bool enabled);
    /// The message for the user when the text is refused; nothing has changed then.
    [[nodiscard]] std::optional<QString> retime(int row, SegmentEdge edge, const QString& text);
    /// Appends a manual row.
    void append();
    /// Only a manual row can be removed; any other stays.
    void remove(int row);

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

private:
    SegmentList m_list;
};
