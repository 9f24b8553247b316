#pragma once

#include "Jobs/RemainingTime.h"
#include "Models/FileURL.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QTimer>

/// Something that has happened to a video, or to one of its clips.
struct BatchEvent
{
    FileURL video;
    std::optional<qint64> job; ///< the clip's number; nothing for the video as a whole
    QString state;             ///< detected, stored, present, planned, completed, doubtful or failed
    QString output;            ///< the path of a clip or list
    QString reason;
    double seconds = 0;
};

/// Tells programs on standard output, a line of JSON for each event, and people on standard error: on a terminal one
/// line for the whole, elsewhere a line for each clip. Keeps count.
class Reporter final : public QObject
{
public:
    Reporter(bool isQuiet, int lanes, qsizetype videos);
    ~Reporter() override;

    /// Without it standard output is left to something else.
    bool writesEvents = true;

    /// Throws OutputError when standard output takes no more.
    void report(const BatchEvent& event);
    /// A sentence for people.
    void tell(const QString& sentence);
    /// The last sentence, about the whole.
    void summarize(const QString& sentence);

    /// For the time left: a clip has come, in whose place `clip` it is told of afterwards; it has begun; it has got so
    /// far; it has ended.
    [[nodiscard]] int addClip(double duration);
    void videoOpened() { ++m_openedVideos; }
    void launched(int clip);
    void progressed(int clip, double length);
    void ended(int clip, bool isComplete, double processorTime);

    [[nodiscard]] int count(const QString& state) const { return m_counts.value(state); }
    [[nodiscard]] qsizetype clips() const { return m_clips; }

private:
    void showProgress();
    void clearProgress();
    [[nodiscard]] double now() const;

    const bool m_isQuiet;
    const bool m_isOnTerminal;
    const qsizetype m_videos;
    qsizetype m_openedVideos = 0;
    qsizetype m_clips = 0;
    qsizetype m_endedClips = 0;
    QHash<QString, int> m_counts; ///< of events, by their state
    RemainingTime m_remaining;
    QElapsedTimer m_clock;
    QTimer m_timer;
    bool m_showsProgress = false;
};
