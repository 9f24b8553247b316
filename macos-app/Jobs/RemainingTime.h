#pragma once

#include <QList>

#include <optional>

/// Tells how long a run of jobs still takes, from how long its jobs have taken so far. Jobs are named by their place in
/// the run; all times are seconds, `now` counts from any fixed moment.
///
/// When lanes run empty at the end, the jobs that remain go faster if they had to share the processors, and no faster
/// if something else limits them. So jobs are measured in lane time, which passes as the clock does while all lanes are
/// in use, and faster when fewer are, by as much as the jobs load the machine.
class RemainingTime final
{
public:
    /// `durations` is how much video each job writes; `lanes` is how many of them run at a time, on so many processors.
    RemainingTime(const QList<double>& durations, int lanes, int processors);

    /// One more job at the end.
    void add(double duration);

    void launch(int job, double now);
    /// `length` seconds of the clip are worked through.
    void progress(int job, double length, double now);
    /// Only a job that did all its work tells how long the others will take. It has kept one processor busy for so
    /// long.
    void end(int job, bool isComplete, double processorTime, double now);

    /// The time left, smoothed: from one call to the next it changes by at most half. Never below a second; nothing
    /// until something can be known. Calls may come at any interval.
    [[nodiscard]] std::optional<double> update(double now);

private:
    enum class State {
        waiting,
        running,
        ended
    };
    struct Job
    {
        double duration = 0;
        State state = State::waiting;
        double launched = 0; ///< in lane time, as all times here
        double length = 0;
        double reported = 0; ///< when `length` was
        double speed = 0;    ///< lately, in seconds of video a second; 0 as long as it is not known
    };

    void advance(double now);
    [[nodiscard]] double gain(std::size_t running) const;
    [[nodiscard]] std::optional<double> pace() const;
    [[nodiscard]] double timeLeft(const Job& job, double pace) const;
    [[nodiscard]] double usualLag() const;
    [[nodiscard]] std::optional<double> estimate() const;

    QList<Job> m_jobs;
    int m_mostLanes;
    int m_lanes; ///< as many of them as there are jobs for
    int m_processors;
    std::size_t m_running = 0;
    double m_now = 0;
    double m_laneTime = 0; ///< at m_now
    double m_load = 1; ///< the share of the processors that all lanes together keep busy; encoders take what they get
    double m_endedTime = 0;
    double m_processorTime = 0;
    double m_completedTime = 0; ///< this and the next: of jobs long ago only a part
    double m_completedLength = 0;
    double m_completedLag = 0;
    int m_completedJobs = 0;
    std::optional<double> m_shown;
    double m_shownAt = 0;
};
