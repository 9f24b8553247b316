#include "Jobs/RemainingTime.h"

#include <queue>

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>
#include <vector>

namespace {

constexpr double smoothingSeconds = 3;
constexpr double largestChange = 0.5;
constexpr double leastShown = 1;
constexpr double wholeFrom = 0.98; ///< a report of so much of the clip is ffmpeg's last, which holds nothing back
constexpr double longestSilence = 2;
constexpr double shortestInterval = 0.05; ///< between two reports that tell a speed
/// A job that ended so many rounds of all lanes ago counts half: a machine that gets other work to do stays slower.
constexpr double roundsToHalf = 3;

} // namespace

RemainingTime::RemainingTime(const QList<double>& durations, int lanes, int processors)
    : m_mostLanes(std::max(1, lanes))
    , m_lanes(1)
    , m_processors(std::max(1, processors))
{
    for (const double duration : durations)
        add(duration);
}

void RemainingTime::add(double duration)
{
    m_jobs.append(Job{.duration = std::isfinite(duration) ? duration : 0});
    m_lanes = std::min(m_mostLanes, static_cast<int>(m_jobs.size()));
}

/// How much lane time passes in a second while so many jobs run.
double RemainingTime::gain(std::size_t running) const
{
    return running == 0 ? 1 : 1 - m_load + m_load * m_lanes / static_cast<double>(running);
}

void RemainingTime::advance(double now)
{
    m_laneTime += (now - m_now) * gain(m_running);
    m_now = now;
}

void RemainingTime::launch(int job, double now)
{
    advance(now);
    m_jobs[job].state = State::running;
    m_jobs[job].launched = m_laneTime;
    ++m_running;
}

void RemainingTime::progress(int job, double length, double now)
{
    Job& running = m_jobs[job];
    if (length <= running.length || length > running.duration * wholeFrom)
        return;
    advance(now);
    if (running.length > 0) {
        const double passed = m_laneTime - running.reported;
        const double speed = (length - running.length) / std::max(passed, shortestInterval);
        const double weight = running.speed > 0 ? 1 - std::exp(-passed / smoothingSeconds) : 1;
        running.speed += (speed - running.speed) * weight;
    }
    running.length = length;
    running.reported = m_laneTime;
}

void RemainingTime::end(int job, bool isComplete, double processorTime, double now)
{
    advance(now);
    Job& ended = m_jobs[job];
    if (std::exchange(ended.state, State::ended) != State::running)
        return;
    --m_running;
    const double took = m_laneTime - ended.launched;
    m_endedTime += took;
    m_processorTime += processorTime;
    if (m_endedTime > 0)
        m_load = std::clamp(m_processorTime / m_endedTime * m_lanes / m_processors, 0.0, 1.0);
    if (!isComplete)
        return;
    const double keep = std::exp2(-1 / (roundsToHalf * m_lanes));
    m_completedTime = m_completedTime * keep + took;
    m_completedLength = m_completedLength * keep + ended.duration;
    ++m_completedJobs;
    if (ended.speed > 0)
        m_completedLag += std::max(0.0, ended.duration - ended.length - (m_laneTime - ended.reported) * ended.speed);
}

/// What one second of video takes in one lane, of late. Until a job has ended, the running ones tell by how they go on:
/// the time before their first report, in which the encoder looks ahead, would make them seem slow.
std::optional<double> RemainingTime::pace() const
{
    if (m_completedLength > 0)
        return m_completedTime / m_completedLength;
    double pace = 0;
    int count = 0;
    for (const Job& job : m_jobs) {
        if (job.state == State::running && job.speed > 0) {
            pace += 1 / job.speed;
            ++count;
        }
    }
    return count > 0 ? std::optional(pace / count) : std::nullopt;
}

/// How much video a job has usually not reported yet when it is about to end: the encoder holds it back.
double RemainingTime::usualLag() const
{
    return m_completedJobs > 0 ? m_completedLag / m_completedJobs : 0;
}

/// What jobs usually take; the further a job is, the more what it says itself, and from its middle on that alone.
double RemainingTime::timeLeft(const Job& job, double pace) const
{
    const double usual = std::max(0.0, job.duration * pace - (m_laneTime - job.launched));
    if (job.speed <= 0)
        return usual;
    const double sinceReport = std::min(m_laneTime - job.reported, longestSilence); // beyond it the job stands still
    const double own = std::max(0.0, (job.duration - usualLag() - job.length) / job.speed - sinceReport);
    const double trust = m_completedLength > 0 ? std::min(1.0, 2 * job.length / job.duration) : 1;
    return usual + (own - usual) * trust;
}

/// Plays the rest of the run: each job that waits takes the lane that is free first, as the coordinator has it.
std::optional<double> RemainingTime::estimate() const
{
    const auto usualPace = pace();
    if (!usualPace)
        return std::nullopt;
    std::priority_queue<double, std::vector<double>, std::greater<>> ends; // of the running ones, in lane time from now
    std::queue<double> waiting;
    for (const Job& job : m_jobs) {
        if (job.state == State::running)
            ends.push(timeLeft(job, *usualPace));
        else if (job.state == State::waiting)
            waiting.push(job.duration * *usualPace);
    }
    double laneTime = 0;
    double left = 0;
    while (!ends.empty() || !waiting.empty()) {
        for (; !waiting.empty() && ends.size() < static_cast<std::size_t>(m_lanes); waiting.pop())
            ends.push(laneTime + waiting.front());
        left += (ends.top() - laneTime) / gain(ends.size());
        laneTime = ends.top();
        ends.pop();
    }
    return left;
}

std::optional<double> RemainingTime::update(double now)
{
    advance(now);
    const auto estimated = estimate();
    if (!estimated)
        return m_shown;
    if (!m_shown) {
        m_shown = std::max(leastShown, *estimated);
    } else {
        const double passed = now - m_shownAt;
        const double expected = *m_shown - passed;
        const double wanted = expected + (*estimated - expected) * (1 - std::exp(-passed / smoothingSeconds));
        const double bounded = std::clamp(wanted, *m_shown * (1 - largestChange), *m_shown * (1 + largestChange));
        m_shown = std::max(leastShown, bounded);
    }
    m_shownAt = now;
    return m_shown;
}
