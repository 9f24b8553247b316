#include "Batch/VideoRecord.h"

#include "Models/InputReading.h"
#include "Models/NumberText.h"
#include "Models/TimeText.h"

#include <QJsonArray>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array states = {ClipState::planned, ClipState::completed, ClipState::doubtful, ClipState::failed};
constexpr QLatin1StringView cropFilter = "crop="_L1;

void insertText(QJsonObject& object, const QString& key, const QString& text)
{
    if (!text.isEmpty())
        object.insert(key, text);
}

std::optional<FileMark> markOf(const QJsonValue& value)
{
    return FileMark::fromText(value.toString());
}

} // namespace

QString wordOf(ClipState state)
{
    switch (state) {
    case ClipState::completed:
        return u"completed"_s;
    case ClipState::doubtful:
        return u"doubtful"_s;
    case ClipState::failed:
        return u"failed"_s;
    case ClipState::planned:
        break;
    }
    return u"planned"_s;
}

ClipRecord ClipRecord::planned(const FFmpegJob& job)
{
    ClipRecord record;
    record.output = job.outputURL.lastPathComponent();
    record.start = formatSecondsArgument(job.start);
    record.duration = formatSecondsArgument(job.duration);
    if (job.crop)
        record.crop = job.crop->filterExpression().sliced(cropFilter.size());
    return record;
}

FFmpegJob ClipRecord::job(const FileURL& video, const FileURL& folder, qint64 index) const
{
    return {index,
            video,
            folder.appendingPathComponent(output),
            parseDecimal(start).value_or(0),
            parseDecimal(duration).value_or(0),
            readCropParameters(crop)};
}

bool ClipRecord::asksTheSame(const ClipRecord& other) const
{
    return output == other.output && start == other.start && duration == other.duration && crop == other.crop;
}

QJsonObject ClipRecord::json() const
{
    QJsonObject object{
        {u"output"_s, output}, {u"start"_s, start}, {u"duration"_s, duration}, {u"state"_s, wordOf(state)}};
    insertText(object, u"crop"_s, crop);
    insertText(object, u"mark"_s, mark ? mark->text() : QString());
    insertText(object, u"reason"_s, reason);
    if (seconds > 0)
        object.insert(u"seconds"_s, seconds);
    return object;
}

ClipRecord ClipRecord::fromJson(const QJsonObject& object)
{
    const QString word = object.value(u"state"_s).toString();
    const auto* const state =
        std::find_if(states.begin(), states.end(), [&](ClipState candidate) { return wordOf(candidate) == word; });
    return {object.value(u"output"_s).toString(),
            object.value(u"start"_s).toString(),
            object.value(u"duration"_s).toString(),
            object.value(u"crop"_s).toString(),
            state == states.end() ? ClipState::planned : *state,
            markOf(object.value(u"mark"_s)),
            object.value(u"seconds"_s).toDouble(),
            object.value(u"reason"_s).toString()};
}

const ClipRecord* VideoRecord::clip(const QString& output) const
{
    const auto found =
        std::find_if(clips.begin(), clips.end(), [&](const ClipRecord& clip) { return clip.output == output; });
    return found == clips.end() ? nullptr : &*found;
}

void VideoRecord::put(const ClipRecord& clip)
{
    if (const ClipRecord* known = this->clip(clip.output))
        clips[known - clips.constData()] = clip;
    else
        clips.append(clip);
}

QJsonObject VideoRecord::json() const
{
    QJsonArray array;
    for (const ClipRecord& clip : clips)
        array.append(clip.json());
    QJsonObject object{{u"folder"_s, folder}, {u"video"_s, video.path()}, {u"clips"_s, array}};
    insertText(object, u"source"_s, source ? source->text() : QString());
    insertText(object, u"changed"_s, changed != 0 ? QString::number(changed) : QString());
    insertText(object, u"origin"_s, origin);
    insertText(object, u"reason"_s, reason);
    return object;
}

VideoRecord VideoRecord::fromJson(const QJsonObject& object)
{
    VideoRecord record{object.value(u"folder"_s).toString(),
                       FileURL(object.value(u"video"_s).toString()),
                       markOf(object.value(u"source"_s)),
                       object.value(u"changed"_s).toString().toLongLong(),
                       object.value(u"origin"_s).toString(),
                       object.value(u"reason"_s).toString(),
                       {}};
    for (const QJsonValue& clip : object.value(u"clips"_s).toArray())
        record.clips.append(ClipRecord::fromJson(clip.toObject()));
    return record;
}
