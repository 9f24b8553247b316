#pragma once

#include "Models/FileURL.h"

#include <QList>

#include <optional>

/// Pictures a second as a fraction: 25/1, 30000/1001.
struct FrameRate
{
    qint64 numerator = 0;
    qint64 denominator = 1;

    [[nodiscard]] double perSecond() const { return static_cast<double>(numerator) / static_cast<double>(denominator); }
    /// What timecodes count in: 24 for 24000/1001, 30 for 30000/1001.
    [[nodiscard]] qint64 roundedUp() const { return (numerator + denominator - 1) / denominator; }

    /// The rate that is meant by a number such as 29.97, 25 or 12.5; nothing for one that is none.
    [[nodiscard]] static std::optional<FrameRate> of(double picturesPerSecond);

    friend bool operator==(const FrameRate&, const FrameRate&) = default;
};

/// The timecode of a video's first picture, as its file states it.
struct StartTimecode
{
    qint64 pictures = 0; ///< since 00:00:00:00
    bool dropsFrames = false;

    friend bool operator==(const StartTimecode&, const StartTimecode&) = default;
};

/// Pictures of a video, numbered from 0 in the order in which they are shown; `end` is the first that is left out.
struct PictureRange
{
    qint64 first = 0;
    qint64 end = 0;

    [[nodiscard]] qint64 count() const { return end - first; }

    friend bool operator==(const PictureRange&, const PictureRange&) = default;
};

/// One clip of a list. Times are seconds from the start of the video.
struct CutListItem
{
    QString name; ///< the clip's file
    double start = 0;
    double end = 0;
    bool isEnabled = true;
    QString transitionBefore; ///< the detector's word for the transition before the clip; may be empty
    std::optional<PictureRange> pictures;

    friend bool operator==(const CutListItem&, const CutListItem&) = default;
};

/// The clips of one video, for programs that edit. Whoever reads a list fills in what that kind of list tells.
struct CutList
{
    QString title;
    FileURL video;
    double duration = 0;           ///< of the video, seconds
    std::optional<FrameRate> rate; ///< nothing where pictures come at varying intervals
    qint64 pictureCount = 0;       ///< of the video
    std::optional<StartTimecode> startTimecode;
    QList<CutListItem> items;

    friend bool operator==(const CutList&, const CutList&) = default;
};
