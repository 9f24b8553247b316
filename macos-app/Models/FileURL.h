#pragma once

#include <QString>

/// The absolute path of a file or folder as plain text: no scheme, no escapes, links unresolved, not normalised.
/// The one place that knows how a path is taken apart; nothing here touches the file system.
class FileURL final
{
public:
    FileURL() = default;
    explicit FileURL(QString path)
        : m_path(std::move(path))
    {}

    /// A path as a user types or passes it: a relative one counts from the process's current folder.
    /// Neither "~" nor "%20" nor a Unicode form is interpreted.
    [[nodiscard]] static FileURL fromUserPath(const QString& path);

    [[nodiscard]] const QString& path() const { return m_path; }

    /// The text after the last separator; trailing separators do not count ("/a/b/" -> "b").
    [[nodiscard]] QString lastPathComponent() const;
    /// The text after the last point of the last component, without the point. Empty when that point comes first or
    /// last (".hidden", "name.") or when there is none.
    [[nodiscard]] QString pathExtension() const;
    /// The last component without its extension ("a.tar.gz" -> "a.tar").
    [[nodiscard]] QString baseName() const;
    /// The folder that holds this file ("/a" -> "/").
    [[nodiscard]] FileURL deletingLastPathComponent() const;
    /// This folder's entry of that name, without doubling a separator.
    [[nodiscard]] FileURL appendingPathComponent(const QString& name) const;

    friend bool operator==(const FileURL&, const FileURL&) = default;

private:
    QString m_path;
};
