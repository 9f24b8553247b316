#include "Models/JobBuilder.h"

#include "Models/OutputNaming.h"

QList<FFmpegJob> buildJobs(const QList<EditableSegment>& segments, const FileURL& videoURL,
                           const FileURL& outputDirectoryURL, const QString& prefix,
                           const std::optional<CropParameters>& crop)
{
    const QString extension = videoURL.pathExtension();
    const QString safePrefix = sanitizePrefix(prefix, videoURL.baseName());
    QList<FFmpegJob> jobs;
    jobs.reserve(segments.size());
    for (const EditableSegment& segment : segments) {
        const double duration = segment.duration();
        if (!segment.isEnabled || !(duration > 0))
            continue;
        const qint64 index = jobs.size() + 1;
        const QString name = makeOutputFileName(safePrefix, index, extension);
        jobs.append(
            FFmpegJob{index, videoURL, outputDirectoryURL.appendingPathComponent(name), segment.start, duration, crop});
    }
    return jobs;
}
