#pragma once

#include "Jobs/OlderFile.h"
#include "Jobs/WrittenClips.h"
#include "Models/FFmpegJob.h"

#include <QFile>

#include <memory>

/// Where a job writes its clip. ffmpeg is given the final name and overwrites what is there; so an older file or link
/// is set aside first, and ffmpeg finds an empty file of ours, which alone may be removed afterwards. The clip stays
/// locked until the job is judged: a hidden older file beside an unlocked clip was left by a Kestrel that was killed.
///
/// What keep(), keepUnfinished() and discard() return is for the user: what became of an older file. One of them is
/// called once; a place that is given up before is discarded.
class OutputPlace final
{
public:
    /// Throws OutputError with everything as it was when the place cannot be had, or the source lies there.
    OutputPlace(const FFmpegJob& job, std::shared_ptr<WrittenClips> writtenClips);
    ~OutputPlace();
    Q_DISABLE_COPY_MOVE(OutputPlace)

    /// What ffmpeg has written; not open where it writes into something else than a file.
    [[nodiscard]] QFile& clip() { return m_clip; }
    /// Whether the clip still lies under its name.
    [[nodiscard]] bool holdsClip() const;

    [[nodiscard]] bool hasOlderFile() const { return m_older.entry().has_value(); }

    /// The clip takes its place. An older file goes to the trash, or stays beside it where the clip is not complete.
    /// One that was written from the same video before matters less: it is removed, or goes to the trash.
    QString keep(bool isComplete);
    /// The clip stays beside an older file, or under its name when there is none.
    QString keepUnfinished();
    /// The clip goes, and an older file is put back.
    QString discard();

private:
    void createClip();

    const FileURL m_folderURL;
    const QString m_name;
    const std::optional<FileIdentity> m_video;
    const std::shared_ptr<WrittenClips> m_writtenClips;
    const Folder m_folder;
    OlderFile m_older;
    QFile m_clip;
    FileIdentity m_clipIdentity;
};
