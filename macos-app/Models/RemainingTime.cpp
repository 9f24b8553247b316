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
    running.length = std::min(length, running.duration);
    if (running.firstReport <= 0 && running.length > 0) {
        running.firstReport = now;
        running.firstLength = running.length;
    }
}

void RemainingTime::end(int job, bool isComplete, double now)
{
    Job& ended = m_jobs[job];
    if (isComplete && ended.state == State::running) {
        m_completedTime += now - ended.launched;
        m_completedLength += ended.duration;
    }
    ended.state = State::ended;
}

/// What one second of video takes in one lane. Until a job has ended, the running ones tell by how they went on since
/// their first report: the time before it, in which the encoder looks ahead, would make them seem slow.
std::optional<double> RemainingTime::pace(double now) const
{
    if (m_completedLength > 0)
        return m_completedTime / m_completedLength;
    double time = 0;
    double length = 0;
    for (const Job& job : m_jobs) {
        if (job.state == State::running && job.length > job.firstLength) {
            time += now - job.firstReport;
            length += job.length - job.firstLength;
        }
    }
    return length > 0 ? std::optional(time / length) : std::nullopt;
}

/// A job's own report lags behind its work, so that the time it has had is the better measure once the usual time of a
/// job is known; a job that takes longer than that is believed half of what it reports.
double RemainingTime::timeLeft(const Job& job, double pace, double now) const
{
    const double byLength = (job.duration - job.length) * pace;
    if (m_completedLength <= 0)
        return byLength;
    return std::max(byLength / 2, job.duration * pace - (now - job.launched));
}

/// Deals the waiting jobs out to the lanes as the coordinator does. The last jobs leave lanes empty; whether they are
/// faster for it depends on what limits the machine, so the answer lies between both.
std::optional<double> RemainingTime::estimate(double now) const
{
    const auto paceNow = pace(now);
    if (!paceNow)
        return std::nullopt;
    std::vector<double> lanes;
    for (const Job& job : m_jobs) {
        if (job.state == State::running)
            lanes.push_back(timeLeft(job, *paceNow, now));
    }
    lanes.resize(std::max(lanes.size(), static_cast<std::size_t>(m_lanes)));
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
    return (longest + sum / m_lanes) / 2;
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
