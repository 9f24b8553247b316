#include "MainWindowController/EditRecovery.h"

#include "CutLists/KestrelList.h"
#include "Models/JsonObjectReader.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

/// Changes within it are written once; well below the two seconds that a crash may cost.
constexpr int saveMilliseconds = 1000;

QByteArray documentOf(const SegmentList& list)
{
    KestrelList document;
    document.list = list;
    const QString path = list.videoURL->path();
    document.video = {path, QFileInfo(path).size(), list.payload ? list.payload->duration : 0};
    return encodeKestrelList(document);
}

/// The list in a copy; nothing when it is damaged.
std::optional<SegmentList> listOf(const std::optional<RecoveryStore::Copy>& copy, const FileURL& video)
{
    if (!copy)
        return std::nullopt;
    try {
        SegmentList list = decodeKestrelList(copy->document).list;
        list.videoURL = video;
        return list;
    } catch (const PayloadDecodingError&) {
        return std::nullopt;
    }
}

/// "今天 21:40", "昨天 21:40", "11月20日 21:40".
QString dayAndTime(const QDateTime& moment)
{
    const qint64 days = moment.date().daysTo(QDate::currentDate());
    const QString day = days == 0   ? u"今天"_s
                        : days == 1 ? u"昨天"_s
                                    : u"%1月%2日"_s.arg(moment.date().month()).arg(moment.date().day());
    return day + u' ' + moment.toString(u"HH:mm"_s);
}

bool isEdited(const SegmentList& list)
{
    return list.videoURL && editCount(list) > 0;
}

} // namespace

EditRecovery::EditRecovery(SegmentListEditor& list, RecoveryStore store)
    : m_list(list)
    , m_store(std::move(store))
{
    m_worker.setMaxThreadCount(1);
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(saveMilliseconds);
    connect(&m_saveTimer, &QTimer::timeout, this, &EditRecovery::save);
    connect(&list, &SegmentListEditor::aboutToBeReplaced, this, [this] { // what it was must not be lost
        if (m_saveTimer.isActive())
            save();
    });
    connect(&list, &SegmentListEditor::replaced, this, [this] {
        withdraw();
        if (isEdited(m_list.list())) // a step of the history has brought it back
            m_saveTimer.start();
    });
    connect(&list, &SegmentListEditor::edited, this, &EditRecovery::rowsEdited);
}

EditRecovery::~EditRecovery()
{
    if (m_saveTimer.isActive())
        save();
    m_worker.waitForDone();
}

void EditRecovery::rowsEdited()
{
    const SegmentList& list = m_list.list();
    if (isEdited(list)) {
        if (!m_saveTimer.isActive())
            m_saveTimer.start();
    } else if (list.videoURL) { // everything was taken back
        m_saveTimer.stop();
        m_worker.start([store = m_store, video = *list.videoURL] {
            if (const auto name = RecoveryStore::nameFor(video))
                store.remove(*name);
        });
    }
}

void EditRecovery::save()
{
    m_saveTimer.stop();
    if (!isEdited(m_list.list()))
        return;
    m_worker.start([self = QPointer(this), list = m_list.list(), store = m_store] {
        const auto name = RecoveryStore::nameFor(*list.videoURL);
        if (name && store.save(*name, documentOf(list)))
            return;
        const auto tell = [self] {
            if (self && !std::exchange(self->m_hasFailed, true))
                Q_EMIT self->copiesFail();
        };
        QMetaObject::invokeMethod(QCoreApplication::instance(), tell, Qt::QueuedConnection);
    });
}

void EditRecovery::lookForCopy()
{
    const SegmentList& parsed = m_list.list();
    if (!parsed.videoURL)
        return;
    m_worker.start([self = QPointer(this), parsed, store = m_store] {
        const auto name = RecoveryStore::nameFor(*parsed.videoURL);
        const auto copy = name ? store.load(*name) : std::nullopt;
        const auto list = listOf(copy, *parsed.videoURL);
        if (!list || list->segments == parsed.segments)
            return;
        const auto offer = [self, parsed, list, saved = copy->saved] {
            if (!self || self->m_list.list().videoURL != parsed.videoURL)
                return;
            self->m_offered = list;
            Q_EMIT self->offered(u"%1 处，%2"_s.arg(editCount(*list)).arg(dayAndTime(saved)));
        };
        QMetaObject::invokeMethod(QCoreApplication::instance(), offer, Qt::QueuedConnection);
    });
}

void EditRecovery::restore()
{
    if (const auto list = std::exchange(m_offered, std::nullopt)) // its end is told when the list is replaced
        m_list.replace(*list, u"恢复修改"_s);
}

void EditRecovery::withdraw()
{
    m_offered.reset();
    Q_EMIT offered(QString());
}
