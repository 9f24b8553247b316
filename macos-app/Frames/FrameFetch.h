#pragma once

#include "Frames/FrameReplyReader.h"
#include "Services/LineSplitter.h"
#include "Services/RuntimeConfiguration.h"

#include <QObject>
#include <QProcess>

#include <functional>

/// One ffmpeg at low priority that answers one query. Its destructor kills the process and waits until it is gone,
/// which a killed reader is at once; nothing else here blocks.
class FrameFetch final : public QObject
{
public:
    /// Called once, with a reply or with the reason why there is none. The fetch may be given up in it by deleteLater.
    using Completion = std::function<void(const std::optional<FrameReply>& reply, const QString& failure)>;

    FrameFetch(const FrameQuery& query, const FileURL& videoURL, const RuntimeConfiguration& runtime,
               Completion completion);
    ~FrameFetch() override;

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
