#pragma once

#include "Jobs/FileIdentity.h"

#include <QStringList>

#include <functional>

/// A folder that is held open, so that its entries can be reached wherever it is moved to. A name means the entry
/// itself, never what a link leads to. Whatever fails leaves its reason in errno.
class Folder final
{
public:
    struct Entry
    {
        enum class Kind {
            file,
            link,
            other
        };
        Kind kind = Kind::other;
        FileIdentity identity;
    };

    /// One of the names that are tried in turn, counted from 1.
    using NameAt = std::function<QString(int number)>;

    explicit Folder(const FileURL& url);
    ~Folder();
    Q_DISABLE_COPY_MOVE(Folder)

    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }
    /// Whether the folder is still where it was opened.
    [[nodiscard]] bool isAt(const FileURL& url) const;

    [[nodiscard]] QStringList names() const;
    [[nodiscard]] std::optional<Entry> entry(const QString& name) const;
    /// Whether some process holds a lock on the file of that name, as create() gives it.
    [[nodiscard]] bool isLocked(const QString& name) const;

    /// The descriptor of a new, empty, locked file, to be read and written; -1 when there is one of that name.
    [[nodiscard]] int create(const QString& name) const;
    /// Gives an entry another name, which must be free.
    bool move(const QString& name, const QString& newName) const;
    /// Moves an entry into another folder of the same file system, where the name must be free.
    bool moveTo(const Folder& other, const QString& name, const QString& newName) const;
    /// Gives an entry the first name that is free; nothing when it has to keep its own.
    std::optional<QString> moveToFirstFree(const QString& name, const NameAt& nameAt) const;
    /// The same for this very file, and for no other that may come to lie under its name meanwhile.
    std::optional<QString> moveFileToFirstFree(const QString& name, const FileIdentity& file,
                                               const NameAt& nameAt) const;
    /// Removes this very file or link, and nothing else that may come to lie under its name meanwhile.
    bool removeFile(const QString& name, const FileIdentity& file) const;

private:
    [[nodiscard]] bool isFile(const QString& name, const FileIdentity& file) const;

    const int m_descriptor;
};
