#include "Models/RemainingTime.h"

#include <queue>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace {

constexpr double smoothingSeconds = 3;
constexpr double largestChange = 0.5;
constexpr double leastShown = 1;
constexpr double wholeFrom = 0.98; ///< a report of so much of the clip is ffmpeg's last, which holds nothing back
constexpr double longestSilence = 2;
constexpr double shortestInterval = 0.05; ///< between two reports that tell a speed

} // namespace

RemainingTime::RemainingTime(const QList<double>& durations, int lanes)
    : m_lanes(std::clamp(lanes, 1, std::max(1, static_cast<int>(durations.size()))))
{
    for (const double duration : durations)
        m_jobs.append(Job{.duration = duration});
}

void RemainingTime::launch(int job, double now)
{
    m_jobs[job].state = State::running;
    m_jobs[job].launched = now;
}

void RemainingTime::progress(int job, double length, double now)
{
    Job& running = m_jobs[job];
    if (length <= running.length || length > running.duration * wholeFrom)
        return;
    if (running.length > 0) {
        const double passed = now - running.reported;
        const double speed = (length - running.length) / std::max(passed, shortestInterval);
        const double weight = running.speed > 0 ? 1 - std::exp(-passed / smoothingSeconds) : 1;
        running.speed += (speed - running.speed) * weight;
    }
    running.length = length;
    running.reported = now;
}

void RemainingTime::end(int job, bool isComplete, double now)
{
    Job& ended = m_jobs[job];
    if (isComplete && ended.state == State::running) {
        m_completedTime += now - ended.launched;
        m_completedLength += ended.duration;
        ++m_completedJobs;
        if (ended.speed > 0)
            m_completedLag += std::max(0.0, ended.duration - ended.length - (now - ended.reported) * ended.speed);
    }
    ended.state = State::ended;
}

/// What one second of video takes in one lane. Until a job has ended, the running ones tell by how they go on: the time
/// before their first report, in which the encoder looks ahead, would make them seem slow.
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
double RemainingTime::timeLeft(const Job& job, double pace, double now) const
{
    const double usual = std::max(0.0, job.duration * pace - (now - job.launched));
    if (job.speed <= 0)
        return usual;
    const double sinceReport = std::min(now - job.reported, longestSilence); // beyond it the job stands still
    const double own = std::max(0.0, (job.duration - usualLag() - job.length) / job.speed - sinceReport);
    const double trust = m_completedLength > 0 ? std::min(1.0, 2 * job.length / job.duration) : 1;
    return usual + (own - usual) * trust;
}

/// Deals the waiting jobs out to the lanes as the coordinator does. The last jobs leave lanes empty; whether they will
/// be faster for it depends on what limits the machine, so the answer lies between both until they themselves tell.
std::optional<double> RemainingTime::estimate(double now) const
{
    const auto paceNow = pace();
    if (!paceNow)
        return std::nullopt;
    std::vector<double> lanes;
    for (const Job& job : m_jobs) {
        if (job.state == State::running)
            lanes.push_back(timeLeft(job, *paceNow, now));
    }
    const bool allTell = std::all_of(m_jobs.begin(), m_jobs.end(), [](const Job& job) {
        return job.state == State::ended || (job.state == State::running && job.speed > 0);
    });
    const std::size_t usedLanes = std::max<std::size_t>(1, allTell ? lanes.size() : static_cast<std::size_t>(m_lanes));
    lanes.resize(usedLanes);
    std::priority_queue freeAt(std::greater<>(), std::move(lanes));
    double longest = 0;
    double sum = 0;
    for (const Job& job : m_jobs) {
        if (job.state == State::waiting) {
            const double launched = freeAt.top();
            freeAt.pop();
            freeAt.push(launched + job.duration * *paceNow);
        }
    }
    for (; !freeAt.empty(); freeAt.pop()) {
        longest = freeAt.top();
        sum += freeAt.top();
    }
    return (longest + sum / static_cast<double>(usedLanes)) / 2;
}

std::optional<double> RemainingTime::update(double now)
{
    const auto estimated = estimate(now);
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
