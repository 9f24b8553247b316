#pragma once

#include "Models/FileURL.h"

#include <QByteArray>
#include <QDateTime>
#include <QStringList>

#include <optional>

/// Copies of lists that were changed by hand, in the user's cache folder, so that neither leaving nor a crash loses
/// them. A video is known by its path, size and time, and its copies by names that begin with the video's. Whatever is
/// wrong with the folder or a copy (a link, another owner's, too large) counts as absent. All functions may be called
/// from any thread, one at a time.
class RecoveryStore final
{
public:
    struct Copy
    {
        QByteArray document;
        QDateTime saved;
    };
    static constexpr qint64 largestCopy = 20'000'000;
    static constexpr int mostCopies = 200;

    /// Where the copies of every window of this user lie.
    [[nodiscard]] static RecoveryStore standard();
    explicit RecoveryStore(QString folder)
        : m_folder(std::move(folder))
    {}

    /// A video's name; nothing when the file cannot be asked. To be asked while the video is as it was when the list
    /// was made.
    [[nodiscard]] static std::optional<QString> nameFor(const FileURL& video);

    /// Replaces the copy at once or not at all, and removes the oldest ones beyond the bound. False when it could not.
    [[nodiscard]] bool save(const QString& name, const QByteArray& document) const;
    /// The names of a video's copies, the newest first.
    [[nodiscard]] QStringList copiesOf(const QString& video) const;
    [[nodiscard]] std::optional<Copy> load(const QString& name) const;
    void remove(const QString& name) const;

private:
    [[nodiscard]] bool isOurs() const;
    [[nodiscard]] QString pathOf(const QString& name) const;
    [[nodiscard]] QStringList newestFirst(const QString& beginning) const;
    void removeOldest() const;

    QString m_folder;
};
