#include "Jobs/OutputPlace.h"

#include "Jobs/OutputSafety.h"
#include "Jobs/SideNames.h"
#include "Services/MessageError.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace {

OutputError placeError(const QString& name, int error)
{
    return OutputError(u"无法写入输出文件 "_s + name + u"："_s +
                       writingFailureText(std::error_code(error, std::generic_category())) + u"。"_s);
}

QString keptAs(const QString& name)
{
    return u"原有文件保留为 “"_s + name + u"”"_s;
}

/// Where a trash cannot be made, Qt takes the current folder for it.
bool hasTrash()
{
#ifndef Q_OS_MACOS
    const QFileInfo data(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
    const QFileInfo trash(data.filePath() + u"/Trash"_s);
    if (!QDir().mkpath(data.filePath()))
        return false;
    return trash.exists() ? trash.isDir() : data.isWritable();
#else
    return true;
#endif
}

} // namespace

OutputPlace::OutputPlace(const FFmpegJob& job, std::shared_ptr<WrittenClips> writtenClips)
    : m_folderURL(job.outputURL.deletingLastPathComponent())
    , m_name(job.outputURL.lastPathComponent())
    , m_video(FileIdentity::of(job.inputURL))
    , m_writtenClips(std::move(writtenClips))
    , m_folder(m_folderURL)
{
    if (!m_folder.isOpen())
        throw placeError(m_name, errno);
    requireSourcesAreSafe({job});
    setOlderAside();
    try {
        createClip();
    } catch (const OutputError&) {
        putOlderBack();
        throw;
    }
}

OutputPlace::~OutputPlace()
{
    discard();
}

void OutputPlace::setOlderAside()
{
    const auto found = m_folder.entry(m_name);
    if (!found || found->kind == Folder::Entry::Kind::other)
        return;
    const auto name = m_folder.moveToFirstFree(m_name, [this](int number) { return hiddenName(m_name, number); });
    if (!name)
        throw placeError(m_name, errno);
    m_older = m_folder.entry(*name);
    m_olderName = *name;
    if (m_older && m_video && m_older->identity.sameFile(*m_video)) { // it has come there since we looked
        putOlderBack();
        throw sourceWouldBeOverwritten();
    }
}

/// A folder, a pipe or a device under the name is left to ffmpeg.
void OutputPlace::createClip()
{
    const int descriptor = m_folder.create(m_name);
    if (descriptor >= 0) {
        m_clip.open(descriptor, QIODevice::ReadWrite, QFileDevice::AutoCloseHandle);
        m_clipIdentity = FileIdentity::ofOpenFile(descriptor);
        return;
    }
    const int error = errno;
    const auto found = m_folder.entry(m_name);
    if (error != EEXIST || !found || found->kind != Folder::Entry::Kind::other)
        throw placeError(m_name, error);
}

bool OutputPlace::holdsClip() const
{
    const auto found = m_folder.entry(m_name);
    return found && found->identity.sameFile(m_clipIdentity);
}

QString OutputPlace::keep(bool isComplete)
{
    if (!m_clip.isOpen())
        return {};
    if (m_video && holdsClip())
        m_writtenClips->add(FileIdentity::ofOpenFile(m_clip.handle()), *m_video);
    m_clip.close();
    return disposeOfOlder(isComplete);
}

QString OutputPlace::keepUnfinished()
{
    if (!m_older) {
        m_clip.close();
        return u"已写出的部分保留在输出文件中"_s;
    }
    const auto name = m_folder.moveFileToFirstFree(m_name, m_clipIdentity,
                                                   [this](int number) { return unfinishedName(m_name, number); });
    m_clip.close();
    const QString kept = name ? u"已写出的部分保留为 “"_s + *name + u"”，"_s : QString();
    return kept + putOlderBack();
}

QString OutputPlace::discard()
{
    if (m_clip.isOpen()) {
        m_folder.removeFile(m_name, m_clipIdentity);
        m_clip.close();
    }
    return putOlderBack();
}

QString OutputPlace::putOlderBack()
{
    if (!std::exchange(m_older, std::nullopt))
        return {};
    if (m_folder.move(m_olderName, m_name))
        return u"原有文件保持不变"_s;
    const auto name = m_folder.moveToFirstFree(m_olderName, [this](int number) { return olderName(m_name, number); });
    return keptAs(name.value_or(m_olderName));
}

QString OutputPlace::disposeOfOlder(bool isComplete)
{
    const auto older = std::exchange(m_older, std::nullopt);
    if (!older)
        return {};
    const bool isOurs = m_writtenClips->contains(older->identity, m_video);
    if (isComplete && isOurs && m_folder.removeFile(m_olderName, older->identity))
        return {};
    const auto name = m_folder.moveToFirstFree(m_olderName, [this](int number) { return olderName(m_name, number); });
    if (name && (isComplete || isOurs) && m_folder.isAt(m_folderURL) && hasTrash() &&
        QFile::moveToTrash(m_folderURL.appendingPathComponent(*name).path()))
        return u"原有文件已移到废纸篓"_s;
    return keptAs(name.value_or(m_olderName));
}
