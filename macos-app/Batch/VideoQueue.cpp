#include "Batch/VideoQueue.h"

#include "CutLists/CutListError.h"
#include "Jobs/FileIdentity.h"
#include "Models/NumberText.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QPointer>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QString listOrigin = u"list"_s;

QString originOf(const DetectionRequest& request)
{
    return QStringList{request.fadeRemovalStrategy.rawValue(), formatRoundTrip(request.fadePadding.leftSeconds),
                       formatRoundTrip(request.fadePadding.rightSeconds), formatRoundTrip(request.skipStartSeconds)}
        .join(u' ');
}

/// When anything about a file changed last, its contents included; nanoseconds.
qint64 changeTime(const FileURL& url)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(url.path()).constData(), &status) != 0)
        return 0;
#ifdef Q_OS_MACOS
    const timespec changed = status.st_ctimespec;
#else
    const timespec changed = status.st_ctim;
#endif
    return static_cast<qint64>(changed.tv_sec) * 1'000'000'000 + changed.tv_nsec;
}

/// The mark of a video, read only if the one that is known may no longer hold.
void markSource(VideoRecord& record, const std::optional<VideoRecord>& known)
{
    record.changed = changeTime(record.video);
    if (known && known->source && known->video == record.video && known->changed == record.changed &&
        known->source->holdsFor(record.video)) {
        record.source = known->source;
        return;
    }
    record.source = FileMark::of(record.video);
    if (!record.source)
        throw CutListError(u"无法读取视频 %1。"_s.arg(record.video.path()));
}

/// The segments as they were noted.
QList<EditableSegment> segmentsOf(const VideoRecord& record)
{
    QList<EditableSegment> segments;
    for (const ClipRecord& clip : record.clips) {
        const double start = parseDecimal(clip.start).value_or(0);
        segments.append({segments.size(), true, start, start + parseDecimal(clip.duration).value_or(0), false});
    }
    return segments;
}

} // namespace

VideoQueue::VideoQueue(const CommandLine& line, QList<BatchInput> inputs, RuntimeConfiguration runtime)
    : m_line(line)
    , m_inputs(std::move(inputs))
    , m_runtime(std::move(runtime))
    , m_origin(originOf(line.detection))
{}

void VideoQueue::openNext()
{
    const BatchInput& input = m_inputs[m_next++];
    try {
        open(input);
    } catch (const std::exception& error) {
        onFailure(input, errorDescription(error));
    }
}

void VideoQueue::open(const BatchInput& input)
{
    const auto before = known ? known(input.folder) : std::nullopt;
    if (input.isList) {
        onVideo(input, videoOfList(input, before));
        return;
    }
    VideoRecord record;
    record.folder = input.folder;
    record.video = input.video;
    record.origin = m_origin;
    if (QFileInfo(input.video.path()).isFile()) // whatever else it is, the detector has the words for it
        markSource(record, before);
    const bool isKnown = before && !m_line.doesAll && record.source && before->source == record.source &&
                         before->origin == m_origin && !before->clips.isEmpty();
    if (!isKnown) {
        detect(input, record);
        return;
    }
    Video video{record, {}};
    video.list.list.segments = segmentsOf(*before);
    onVideo(input, video);
}

VideoQueue::Video VideoQueue::videoOfList(const BatchInput& input, const std::optional<VideoRecord>& known)
{
    Video video{{}, readList(input.file)};
    video.record.folder = input.folder;
    video.record.video = ::videoOfList(video.list, input.file);
    video.record.origin = listOrigin;
    requireVideoFits(video.list, video.record.video);
    markSource(video.record, known);
    return video;
}

void VideoQueue::detect(const BatchInput& input, const VideoRecord& record)
{
    DetectionRequest request = m_line.detection;
    request.videoURL = input.video;
    const QPointer<VideoQueue> self(this);
    const auto completion = [self, input, record](const DetectionResult& result) {
        const auto end = [self, input, record, result] {
            if (!self)
                return;
            --self->m_detections;
            self->onDetectionEnd([&] { self->deliver(input, record, result); });
        };
        QMetaObject::invokeMethod(QCoreApplication::instance(), end, Qt::QueuedConnection);
    };
    DetectorService(m_runtime).detect(request, {}, completion);
    ++m_detections;
}

void VideoQueue::deliver(const BatchInput& input, const VideoRecord& record, const DetectionResult& result)
{
    if (m_isStopping)
        return;
    try {
        if (std::holds_alternative<std::exception_ptr>(result))
            std::rethrow_exception(std::get<std::exception_ptr>(result));
        if (!record.source)
            throw CutListError(u"无法读取视频 %1。"_s.arg(record.video.path()));
        const auto& payload = std::get<DetectorPayload>(result);
        Video video{record, {}};
        video.list.video = {input.video.path(), QFileInfo(input.video.path()).size(), payload.duration};
        video.list.list = {input.video, payload, buildEditableSegments(payload), {}};
        onVideo(input, video);
    } catch (const std::exception& error) {
        onFailure(input, errorDescription(error));
    }
}

void VideoQueue::stop()
{
    m_isStopping = true;
    m_next = m_inputs.size();
    DetectorService::stopAll();
}
