#pragma once

#include "Frames/FrameReplyReader.h"
#include "Models/FileURL.h"

#include <QFile>
#include <QString>

/// A picture as it is kept on disk.
struct StoredPicture
{
    qint64 ticks = 0;
    QSize sourceSize;
    QSize box;
    QByteArray jpeg;

    /// Shrunk into the box of the store; without data when it cannot be encoded.
    [[nodiscard]] static StoredPicture of(const FramePicture& picture);
    /// Nothing when it is damaged, or is not of the size that it claims.
    [[nodiscard]] std::optional<FramePicture> picture() const;
};

/// A reply as it is kept on disk, its pictures small.
struct StoredReply
{
    FrameReply times; ///< without pictures
    QList<StoredPicture> pictures;
};

/// Replies on disk, one file a video, so that a second look at it needs no ffmpeg. Bounded: the videos that were looked
/// at longest ago go. Whatever in it is not as we write it counts as absent. All functions may be called from any
/// thread, one at a time.
class PictureStore final
{
public:
    /// Device pixels into which pictures are shrunk.
    static constexpr QSize box = {480, 480};

    explicit PictureStore(QString folder, qint64 mostBytes = qint64(256) * 1024 * 1024)
        : m_folder(std::move(folder))
        , m_mostBytes(mostBytes)
    {}
    /// In the user's cache folder.
    [[nodiscard]] static PictureStore standard();

    /// The name changes with the video's content. Nothing when the file does not exist.
    [[nodiscard]] static std::optional<QString> nameFor(const FileURL& video);
    [[nodiscard]] QList<StoredReply> load(const QString& name) const;
    /// Adds a reply, if there is room for it.
    void append(const QString& name, const StoredReply& reply) const;
    /// What one video may take of all that is kept.
    [[nodiscard]] qint64 mostBytesOfVideo() const { return m_mostBytes / 4; }

private:
    [[nodiscard]] QString pathOf(const QString& name) const;
    /// The file, if it is a plain one of this user.
    [[nodiscard]] bool open(QFile& file, int flags) const;
    void makeRoom(const QString& forName) const;

    QString m_folder;
    qint64 m_mostBytes;
};
