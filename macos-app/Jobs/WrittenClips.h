#pragma once

#include "Jobs/FileIdentity.h"

#include <QHash>

/// The clips that were written since the window was opened, and of which video: such a clip may be replaced by a new
/// one of the same video without a trace, unless anybody has changed it.
class WrittenClips final
{
public:
    void add(const FileIdentity& clip, const FileIdentity& video)
    {
        m_clips.insert({clip.device, clip.inode}, {clip, video});
    }

    [[nodiscard]] bool contains(const FileIdentity& clip, const std::optional<FileIdentity>& video) const
    {
        const auto found = m_clips.constFind({clip.device, clip.inode});
        return found != m_clips.cend() && found->clip == clip && found->video == video;
    }

private:
    struct Written
    {
        FileIdentity clip;
        FileIdentity video;
    };

    QHash<std::pair<quint64, quint64>, Written> m_clips; ///< by device and inode
};
