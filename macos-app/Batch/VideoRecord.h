#pragma once

#include "Batch/FileMark.h"
#include "Models/FFmpegJob.h"

#include <QJsonObject>
#include <QList>

enum class ClipState {
    planned,
    completed,
    doubtful, ///< written, but not what was asked for
    failed
};

/// The word for a state in documents and in what programs read.
[[nodiscard]] QString wordOf(ClipState state);

/// A clip as ffmpeg was asked for it, and what became of it.
struct ClipRecord
{
    QString output; ///< its name in the video's folder
    QString start;  ///< this, the next and the crop are ffmpeg's words
    QString duration;
    QString crop;
    ClipState state = ClipState::planned;
    std::optional<FileMark> mark; ///< of what was written
    double seconds = 0;           ///< that it took
    QString reason;               ///< for the user

    [[nodiscard]] static ClipRecord planned(const FFmpegJob& job);
    [[nodiscard]] FFmpegJob job(const FileURL& video, const FileURL& folder, qint64 index) const;
    /// Whether both were asked for with the same words.
    [[nodiscard]] bool asksTheSame(const ClipRecord& other) const;

    [[nodiscard]] QJsonObject json() const;
    /// What is missing or of another type counts as empty.
    [[nodiscard]] static ClipRecord fromJson(const QJsonObject& object);
};

/// What is known of a video and its clips.
struct VideoRecord
{
    QString folder; ///< the name of its folder, by which it is found
    FileURL video;
    std::optional<FileMark> source; ///< nothing before it was looked at
    qint64 changed = 0;             ///< when the source's state changed last: as long as it has not, its hash holds
    QString origin;                 ///< where the times came from: a detection's settings or a list
    QString reason;                 ///< why there are no clips
    QList<ClipRecord> clips;

    [[nodiscard]] const ClipRecord* clip(const QString& output) const;
    /// Takes the place of the clip of that name, or is the last one.
    void put(const ClipRecord& clip);

    [[nodiscard]] QJsonObject json() const;
    [[nodiscard]] static VideoRecord fromJson(const QJsonObject& object);
};
