#include "MainWindowController/EditRecovery.h"

#include <QCoreApplication>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

/// Changes within it are written once; well below the two seconds that a crash may cost.
constexpr int saveMilliseconds = 1000;

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
    , m_copies(std::make_shared<EditCopies>(std::move(store)))
{
    m_worker.setMaxThreadCount(1);
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(saveMilliseconds);
    connect(&m_saveTimer, &QTimer::timeout, this, &EditRecovery::save);
    connect(&list, &SegmentListEditor::aboutToBeReplaced, this, [this] { // what it was must not be lost
        if (m_saveTimer.isActive())
            save();
    });
    const auto saveEdited = [this] {
        if (isEdited(m_list.list()))
            m_saveTimer.start();
    };
    connect(&list, &SegmentListEditor::replaced, this, &EditRecovery::withdraw);
    connect(&list, &SegmentListEditor::replaced, this, saveEdited); // a step of the history may have brought edits
    connect(&list, &SegmentListEditor::videoChanged, this, saveEdited);
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
        m_worker.start([copies = m_copies, video = *list.videoURL] { copies->remove(video); });
    }
}

void EditRecovery::save()
{
    m_saveTimer.stop();
    if (!isEdited(m_list.list()))
        return;
    m_worker.start([self = QPointer(this), list = m_list.list(), copies = m_copies] {
        if (copies->save(list))
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
    const SegmentList& list = m_list.list();
    if (!list.videoURL)
        return;
    m_worker.start([self = QPointer(this), list, copies = m_copies] {
        const auto copy = copies->findOther(list);
        if (!copy)
            return;
        const auto offer = [self, copy] {
            if (!self || self->m_list.list().videoURL != copy->list.videoURL)
                return;
            self->m_offered = copy->list;
            Q_EMIT self->offered(u"%1 处，%2"_s.arg(editCount(copy->list)).arg(dayAndTime(copy->saved)));
        };
        QMetaObject::invokeMethod(QCoreApplication::instance(), offer, Qt::QueuedConnection);
    });
}

void EditRecovery::restore()
{
    const auto list = std::exchange(m_offered, std::nullopt);
    if (!list)
        return;
    m_list.replace(*list, u"恢复修改"_s); // the end of the offer is told then
    save();                               // before another edit, so that the same copy goes on
    lookForCopy();                        // for an older one
}

void EditRecovery::withdraw()
{
    m_offered.reset();
    Q_EMIT offered(QString());
}
