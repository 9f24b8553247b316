#include "MainWindowController/EditCopies.h"

#include "CutLists/KestrelList.h"
#include "Models/JsonObjectReader.h"

#include <QFileInfo>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

QByteArray documentOf(const SegmentList& list)
{
    KestrelList document;
    document.list = list;
    const QString path = list.videoURL->path();
    document.video = {path, QFileInfo(path).size(), list.payload ? list.payload->duration : 0};
    return encodeKestrelList(document);
}

/// The list in a copy; nothing when it is damaged.
std::optional<SegmentList> listOf(const QByteArray& document, const FileURL& video)
{
    try {
        SegmentList list = decodeKestrelList(document).list;
        list.videoURL = video;
        return list;
    } catch (const PayloadDecodingError&) {
        return std::nullopt;
    }
}

bool haveSameEdits(const SegmentList& one, const SegmentList& other)
{
    return one.segments == other.segments && one.confirmedEvents == other.confirmedEvents;
}

} // namespace

bool EditCopies::save(const SegmentList& list)
{
    const auto video = RecoveryStore::nameFor(*list.videoURL);
    if (!video)
        return false;
    QString& name = m_ownNames[*video];
    if (m_found && haveSameEdits(m_found->list, list) && m_found->name.startsWith(*video))
        name = std::exchange(m_found, std::nullopt)->name;
    else if (name.isEmpty())
        name = *video + u'-' + QUuid::createUuid().toString(QUuid::Id128);
    return m_store.save(name, documentOf(list));
}

void EditCopies::remove(const FileURL& video)
{
    const auto name = RecoveryStore::nameFor(video);
    if (name && m_ownNames.contains(*name))
        m_store.remove(m_ownNames.take(*name));
}

std::optional<EditCopies::Found> EditCopies::findOther(const SegmentList& list)
{
    const auto video = RecoveryStore::nameFor(*list.videoURL);
    const QStringList names = video ? m_store.copiesOf(*video) : QStringList();
    for (const QString& name : names) {
        const auto copy = m_store.load(name);
        const auto found = copy ? listOf(copy->document, *list.videoURL) : std::nullopt;
        if (!found || haveSameEdits(*found, list))
            continue;
        m_found = Offer{name, *found};
        m_ownNames.remove(*video);
        return Found{*found, copy->saved};
    }
    return std::nullopt;
}
