#pragma once

#include "Batch/BatchInput.h"
#include "Batch/CommandLine.h"
#include "Batch/VideoRecord.h"

#include <QObject>

/// The videos of a batch, opened one after the other: lists are read, what has no list is detected in the background.
class VideoQueue final : public QObject
{
public:
    /// A video whose segments are known.
    struct Video
    {
        VideoRecord record; ///< without clips
        KestrelList list;   ///< what its times, crop and prefix are taken from
    };
    /// What was noted of a video before, if it shall count.
    using Known = std::function<std::optional<VideoRecord>(const QString& folder)>;

    VideoQueue(const CommandLine& line, QList<BatchInput> inputs, RuntimeConfiguration runtime);

    Known known;
    /// Called for each input, in any order, once for each call of openNext(): its segments, or why there are none. What
    /// the first throws is such a reason. Not after stop().
    std::function<void(const BatchInput& input, const Video& video)> onVideo;
    std::function<void(const BatchInput& input, const QString& reason)> onFailure;
    /// Called from the event loop when a detection has ended; `deliver` calls one of the others and throws what it
    /// throws.
    std::function<void(const std::function<void()>& deliver)> onDetectionEnd;

    [[nodiscard]] bool isEmpty() const { return m_next >= m_inputs.size(); }
    [[nodiscard]] int detections() const { return m_detections; }
    void openNext();
    /// Ends the detections, whose ends are still told.
    void stop();

private:
    void open(const BatchInput& input);
    [[nodiscard]] static Video videoOfList(const BatchInput& input, const std::optional<VideoRecord>& known);
    void detect(const BatchInput& input, const VideoRecord& record);
    void deliver(const BatchInput& input, const VideoRecord& record, const DetectionResult& result);

    const CommandLine m_line;
    const QList<BatchInput> m_inputs;
    const RuntimeConfiguration m_runtime;
    const QString m_origin; ///< of times that are detected now
    qsizetype m_next = 0;
    int m_detections = 0;
    bool m_isStopping = false;
};
