#pragma once

#include "MainWindowController/EditCopies.h"
#include "MainWindowController/SegmentListEditor.h"

#include <QThreadPool>
#include <QTimer>

#include <memory>

/// Keeps a copy of a list that was changed by hand, written a moment after each change and away from the main thread,
/// and offers it when the same video has been parsed again.
class EditRecovery final : public QObject
{
    Q_OBJECT

public:
    explicit EditRecovery(SegmentListEditor& list, RecoveryStore store = RecoveryStore::standard());
    /// Whatever is not written yet is written before it returns.
    ~EditRecovery() override;

    /// A parse has ended; its list is in place. Looks for a copy that differs from it.
    void lookForCopy();
    /// Puts the offered copy into the list's place and offers the one before it; nothing happens without one.
    void restore();

Q_SIGNALS:
    /// What there is to restore, "17 处，昨天 21:40"; empty when there is nothing any more.
    void offered(const QString& description);
    /// Sent once: copies cannot be written.
    void copiesFail();

private:
    void rowsEdited();
    void save();
    void withdraw();

    SegmentListEditor& m_list;
    const std::shared_ptr<EditCopies> m_copies; ///< the worker's
    QThreadPool m_worker;                       ///< one thread: copies are written in the order of the changes
    QTimer m_saveTimer;
    std::optional<SegmentList> m_offered;
    bool m_hasFailed = false;
};
