#include "Batch/BatchFolder.h"

#include "Jobs/OutputSafety.h"

#include <QDir>
#include <QFile>
#include <QUuid>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString unfinishedName = u".unfinished"_s;
const QString manifestName = u"kestrel-batch.json"_s;
const QString journalName = u".kestrel-batch.journal"_s;

/// The bytes that are locked, far behind what is written.
constexpr off_t useByte = off_t(1) << 40;
constexpr off_t journalByte = useByte + 1;

bool lockByte(int descriptor, off_t byte, short kind, int command)
{
    struct flock lock = {};
    lock.l_type = kind;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    int result = 0;
    do
        result = ::fcntl(descriptor, command, &lock);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

} // namespace

BatchFolder::BatchFolder(FileURL url, Use use)
    : m_url(std::move(url))
{
    createOutputDirectory(m_url);
    const QByteArray name = QFile::encodeName(journal(m_url).path());
    m_descriptor = ::open(name, O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (m_descriptor < 0)
        throw OutputError(u"无法写入输出目录 "_s + m_url.path() + u"："_s +
                          writingFailureText(std::error_code(errno, std::generic_category())) + u"。"_s);
    if (!lockByte(m_descriptor, useByte, use == Use::alone ? F_WRLCK : F_RDLCK, F_SETLK)) {
        const int error = errno;
        ::close(m_descriptor);
        if (error != EACCES && error != EAGAIN)
            throw OutputError(u"无法锁定输出目录 "_s + m_url.path() + u"："_s + qt_error_string(error));
        throw OutputError(u"另一个 kestrel-batch 正在使用输出目录 "_s + m_url.path() + u"。"_s);
    }
    try {
        createOutputDirectory(unfinished());
    } catch (const OutputError&) {
        ::close(m_descriptor);
        throw;
    }
}

BatchFolder::~BatchFolder()
{
    ::close(m_descriptor);
}

FileURL BatchFolder::unfinished() const
{
    return m_url.appendingPathComponent(unfinishedName);
}

FileURL BatchFolder::newUnfinished(const QString& extension) const
{
    QString name = QUuid::createUuid().toString(QUuid::Id128); // machines may share their names and process numbers
    if (!extension.isEmpty())
        name += u'.' + extension;
    return unfinished().appendingPathComponent(name);
}

FileURL BatchFolder::manifest(const FileURL& folder)
{
    return folder.appendingPathComponent(manifestName);
}

FileURL BatchFolder::journal(const FileURL& folder)
{
    return folder.appendingPathComponent(journalName);
}

bool BatchFolder::isReserved(const QString& name)
{
    return name == unfinishedName || name == manifestName || name == journalName || name == u"."_s || name == u".."_s;
}

void BatchFolder::lockJournal() const
{
    lockByte(m_descriptor, journalByte, F_WRLCK, F_SETLKW);
}

void BatchFolder::unlockJournal() const
{
    lockByte(m_descriptor, journalByte, F_UNLCK, F_SETLK);
}

void BatchFolder::removeUnfinished() const
{
    QDir folder(unfinished().path());
    for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden | QDir::System))
        folder.remove(name);
}
