#pragma once

#include "Frames/FrameReplyReader.h"
#include "Services/LineSplitter.h"
#include "Services/RuntimeConfiguration.h"

#include <QObject>
#include <QProcess>

#include <functional>

/// One ffmpeg at low priority that answers one query. Nothing here blocks; ending the object ends the process.
class FrameRun final : public QObject
{
public:
    /// Called once, with a reply or with the reason why there is none. The run may be given up in it by deleteLater.
    using Completion = std::function<void(const std::optional<FrameReply>& reply, const QString& failure)>;

    FrameRun(const FrameQuery& query, const FileURL& videoURL, const RuntimeConfiguration& runtime,
             Completion completion);
    ~FrameRun() override;

    void start();
    /// Ends the process at once; it writes nothing that could be lost. The completion is not called any more.
    void stop();

    [[nodiscard]] const FrameQuery& query() const { return m_reader.query(); }
    [[nodiscard]] bool isStopped() const { return !m_completion; }

    /// Called when the process is gone, whether it was stopped or not.
    std::function<void()> onEnd;

private:
    void finish();
    [[nodiscard]] QString failure() const;

    FileURL m_videoURL;
    FrameReplyReader m_reader;
    LineSplitter m_lines;
    Completion m_completion;
    QProcess m_process; // last: its signals reach the members above
};
