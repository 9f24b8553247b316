#pragma once

#include "MainWindowController/SegmentListEditor.h"

class QAction;
class QTableView;

/// After a video was parsed again, offers to make the edits of the list before once more: a command of both tables,
/// which goes with the parsed list.
class EditReapplication final : public QObject
{
    Q_OBJECT

public:
    EditReapplication(SegmentListEditor& list, const QList<QTableView*>& tables);

    /// `before` is the list whose place a parse has taken. Whether there is anything to be made again.
    bool offer(const SegmentList& before);

Q_SIGNALS:
    /// What was done, and what was not.
    void told(const QString& status);

private:
    void reapply();

    SegmentListEditor& m_list;
    std::optional<SegmentList> m_edited; ///< the last list with edits
    QAction* m_action;
};
