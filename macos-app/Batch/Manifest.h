#pragma once

#include "Batch/BatchFolder.h"
#include "Batch/VideoRecord.h"

#include <QFile>
#include <QHash>

/// What a folder knows of its clips: a document with a line for each video, which is replaced as a whole or not at all,
/// and a journal of what was added to it since. Only places are kept in memory; lines are read when they are asked for.
class Manifest final
{
public:
    /// Throws OutputError when the document is none of ours; it is left as it is.
    explicit Manifest(const FileURL& folder);

    /// The names of the videos' folders, in the order in which they came.
    [[nodiscard]] QStringList videos() const;
    /// Nothing is known of a video without a record.
    [[nodiscard]] std::optional<VideoRecord> record(const QString& videoFolder);

    /// Both add to the journal. Throw OutputError when they cannot.
    void put(const BatchFolder& folder, const VideoRecord& record);
    void put(const BatchFolder& folder, const VideoRecord& record, const ClipRecord& clip);
    /// The same without having read anything.
    static void append(const BatchFolder& folder, const VideoRecord& record, const ClipRecord& clip);

    /// Makes one document of both, if there is anything in the journal that is worth it. `folder` must be used alone.
    /// Throws OutputError when that fails; both are as they were then.
    void compact(const BatchFolder& folder);
    [[nodiscard]] bool isLarge() const;

private:
    struct Line
    {
        bool isInJournal = false;
        qint64 position = 0;
        qint64 length = 0;
    };

    void readPlaces(QFile& file, bool isJournal);
    void note(const QByteArray& line, const Line& place);
    [[nodiscard]] QByteArray bytes(const Line& line) const;
    void writeDocument(const BatchFolder& folder);
    void add(const BatchFolder& folder, const QByteArray& line);

    const FileURL m_folder;
    QFile m_document;
    QFile m_journal;                       ///< stays open: closing it would end the lock that this process has on it
    QHash<QByteArray, int> m_videoNumbers; ///< by the folder's name as it is written
    QList<QByteArray> m_videoNames;
    QList<QList<Line>> m_lines; ///< of each video
    qint64 m_journalSize = 0;
};
