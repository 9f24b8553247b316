#pragma once

#include "Models/FileURL.h"

/// The folder that a batch writes to, and who may write there: several processes at a time that write one clip each,
/// also on several machines, or one that does everything. The lock is the system's on bytes of a file, which works over
/// network file systems and ends with the process that holds it.
class BatchFolder final
{
public:
    enum class Use {
        alone,
        shared
    };

    /// Makes the folder if need be. Throws OutputError when it cannot be used, or is used by somebody else.
    BatchFolder(FileURL url, Use use);
    ~BatchFolder();
    Q_DISABLE_COPY_MOVE(BatchFolder)

    [[nodiscard]] const FileURL& url() const { return m_url; }
    /// Where the clips of a video lie.
    [[nodiscard]] FileURL clips(const QString& videoFolder) const { return m_url.appendingPathComponent(videoFolder); }
    /// Where clips lie until they are complete.
    [[nodiscard]] FileURL unfinished() const;
    /// A file in there that nobody else has.
    [[nodiscard]] FileURL newUnfinished(const QString& extension) const;

    /// The folder's documents: what is known of its clips, and what was added to that since.
    [[nodiscard]] static FileURL manifest(const FileURL& folder);
    [[nodiscard]] static FileURL journal(const FileURL& folder);
    /// Whether a video's folder may not be called so.
    [[nodiscard]] static bool isReserved(const QString& name);

    /// The journal, open for reading and adding. Writers take turns in it.
    [[nodiscard]] int journalDescriptor() const { return m_descriptor; }
    void lockJournal() const;
    void unlockJournal() const;

    /// Removes what processes that were killed have begun. Only for one that is alone.
    void removeUnfinished() const;

private:
    const FileURL m_url;
    int m_descriptor = -1;
};
