#include "Frames/FrameIndex.h"

#include <algorithm>
#include <iterator>

void FrameIndex::learn(qint64 from, qint64 to, const QList<qint64>& frames)
{
    QList<qint64> merged;
    merged.reserve(m_frames.size() + frames.size());
    std::set_union(m_frames.cbegin(), m_frames.cend(), frames.cbegin(), frames.cend(), std::back_inserter(merged));
    m_frames = merged;

    auto stretch = m_stretches.upper_bound(from);
    if (stretch != m_stretches.begin() && std::prev(stretch)->second >= from)
        --stretch;
    while (stretch != m_stretches.end() && stretch->first <= to) {
        from = std::min(from, stretch->first);
        to = std::max(to, stretch->second);
        stretch = m_stretches.erase(stretch);
    }
    m_stretches.emplace(from, to);
}

FrameAnswer FrameIndex::firstFrom(qint64 ticks) const
{
    auto stretch = m_stretches.upper_bound(ticks);
    if (stretch == m_stretches.begin() || (--stretch)->second <= ticks)
        return {FrameAnswer::State::unknown, ticks};
    const auto frame = std::lower_bound(m_frames.begin(), m_frames.end(), ticks);
    if (frame != m_frames.end() && *frame < stretch->second)
        return {FrameAnswer::State::known, *frame};
    if (stretch->second == end)
        return {FrameAnswer::State::none, 0};
    return {FrameAnswer::State::unknown, stretch->second};
}

FrameAnswer FrameIndex::lastBefore(qint64 ticks) const
{
    auto stretch = m_stretches.lower_bound(ticks);
    if (stretch == m_stretches.begin() || (--stretch)->second < ticks)
        return {FrameAnswer::State::unknown, ticks};
    const auto frame = std::lower_bound(m_frames.begin(), m_frames.end(), ticks);
    if (frame != m_frames.begin() && *std::prev(frame) >= stretch->first)
        return {FrameAnswer::State::known, *std::prev(frame)};
    if (stretch->first == beginning)
        return {FrameAnswer::State::none, 0};
    return {FrameAnswer::State::unknown, stretch->first};
}
