#pragma once

#include "Frames/FrameReplyReader.h"
#include "Models/LineSplitter.h"
#include "Services/ChildProcess.h"
#include "Services/RuntimeConfiguration.h"

#include <functional>

/// One ffmpeg at low priority that answers one query. Ending the object kills the process and waits until it is gone.
class FrameFetch final : public QObject
{
public:
    /// Called once, with a reply or with the reason why there is none. The fetch may be given up in it by deleteLater.
    using Completion = std::function<void(const std::optional<FrameReply>& reply, const QString& failure)>;

    FrameFetch(const FrameQuery& query, const FileURL& videoURL, const RuntimeConfiguration& runtime,
               Completion completion);

    void start();
    /// Kills the process; it writes nothing that could be lost. The completion is not called any more.
    void stop();

    [[nodiscard]] const FrameQuery& query() const { return m_reader.query(); }
    [[nodiscard]] bool isStopped() const { return !m_completion; }
    /// What it has brought so far.
    [[nodiscard]] std::optional<FrameReply> soFar() const { return m_reader.replySoFar(); }
    /// How far it has come: a time of the video.
    [[nodiscard]] double secondsReached() const { return m_reader.secondsReached(); }

    /// Called when further pictures have come, with all that is known so far.
    std::function<void(const FrameReply& soFar)> onProgress;
    /// Called when the process is gone, whether it was stopped or not.
    std::function<void()> onEnd;

private:
    void finish(const QString& failure);
    [[nodiscard]] QString failure() const;
    void tellProgress();

    FileURL m_videoURL;
    FrameReplyReader m_reader;
    LineSplitter m_lines;
    Completion m_completion;
    qsizetype m_picturesTold = 0;
    ChildProcess m_process;
};
