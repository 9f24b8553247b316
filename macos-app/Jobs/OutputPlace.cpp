#include "Jobs/OutputPlace.h"

#include "Jobs/OutputSafety.h"
#include "Jobs/SideNames.h"
#include "Services/MessageError.h"

#include <cerrno>

using namespace Qt::StringLiterals;

OutputPlace::OutputPlace(const FFmpegJob& job, std::shared_ptr<WrittenClips> writtenClips)
    : m_folderURL(job.outputURL.deletingLastPathComponent())
    , m_name(job.outputURL.lastPathComponent())
    , m_video(FileIdentity::of(job.inputURL))
    , m_writtenClips(std::move(writtenClips))
    , m_folder(m_folderURL)
    , m_older(m_folder, job.outputURL)
{
    if (!m_folder.isOpen())
        throw outputPlaceError(m_name, errno);
    requireSourcesAreSafe({job});
    m_older.setAside(m_video);
    try {
        createClip();
    } catch (const OutputError&) {
        m_older.putBack();
        throw;
    }
}

OutputPlace::~OutputPlace()
{
    discard();
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
        throw outputPlaceError(m_name, error);
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
    const auto& older = m_older.entry();
    return m_older.dispose(isComplete, older && m_writtenClips->contains(older->identity, m_video));
}

QString OutputPlace::keepUnfinished()
{
    if (!hasOlderFile()) {
        m_clip.close();
        return u"已写出的部分保留在输出文件中"_s;
    }
    const auto name = m_folder.moveFileToFirstFree(m_name, m_clipIdentity,
                                                   [this](int number) { return unfinishedName(m_name, number); });
    m_clip.close();
    const QString kept = name ? u"已写出的部分保留为 “"_s + *name + u"”，"_s : QString();
    return kept + m_older.putBack();
}

QString OutputPlace::discard()
{
    if (m_clip.isOpen()) {
        m_folder.removeFile(m_name, m_clipIdentity);
        m_clip.close();
    }
    return m_older.putBack();
}
