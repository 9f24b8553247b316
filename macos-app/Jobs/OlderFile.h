#pragma once

#include "Jobs/Folder.h"
#include "Services/MessageError.h"

/// What lies under the name of an output, set aside in the same folder for as long as its successor is not complete.
/// What putBack() and dispose() return is for the user: what became of it. Without an older file they do nothing.
class OlderFile final
{
public:
    /// `folder` holds the output.
    OlderFile(const Folder& folder, FileURL output)
        : m_folder(folder)
        , m_output(std::move(output))
        , m_name(m_output.lastPathComponent())
    {}
    Q_DISABLE_COPY_MOVE(OlderFile)

    /// A file or a link. Throws OutputError when it must stay, with everything as it was; so it does for the video.
    void setAside(const std::optional<FileIdentity>& video);

    [[nodiscard]] const std::optional<Folder::Entry>& entry() const { return m_entry; }

    QString putBack();
    /// A successor has come. One that is complete lets the older file go to the trash; otherwise, or where there is no
    /// trash, it stays beside it. One that we wrote ourselves matters less: it is removed, or goes to the trash.
    QString dispose(bool isComplete, bool isOurs);

private:
    const Folder& m_folder;
    const FileURL m_output;
    const QString m_name;
    std::optional<Folder::Entry> m_entry;
    QString m_hiddenName; ///< where it lies while it is set aside
};

/// Why an output cannot be written: `error` is an errno.
[[nodiscard]] OutputError outputPlaceError(const QString& name, int error);
