#pragma once

#include "Models/SegmentList.h"
#include "Services/RecoveryStore.h"

/// The copies of the lists that a window edits. A copy that was found is never written over by another list: edits get
/// a copy of their own, until the found one's list is worked on again. All functions may be called from any thread, one
/// at a time.
class EditCopies final
{
public:
    struct Found
    {
        SegmentList list;
        QDateTime saved;
    };

    explicit EditCopies(RecoveryStore store)
        : m_store(std::move(store))
    {}

    /// False when it could not.
    [[nodiscard]] bool save(const SegmentList& list);
    /// The edits of this video are undone: their copy goes.
    void remove(const FileURL& video);
    /// The newest copy of the list's video that is another list.
    [[nodiscard]] std::optional<Found> findOther(const SegmentList& list);

private:
    struct Offer
    {
        QString name;
        SegmentList list;
    };

    const RecoveryStore m_store;
    QHash<QString, QString> m_ownNames; ///< of the copies that are written, by video
    std::optional<Offer> m_found;
};
