#include "Frames/PictureNumbers.h"

#include "CutLists/CutListError.h"
#include "CutLists/ListTimes.h"
#include "CutLists/Timecode.h"
#include "Frames/CutFrames.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr double slackPictures = 0.25;

double secondsOf(const FilmTimes& film, qsizetype picture)
{
    return film.clock.secondsAt(film.frames[picture]);
}

bool standsEvenly(const FilmTimes& film, const FrameRate& rate)
{
    const double first = secondsOf(film, 0);
    for (qsizetype i = 0; i < film.frames.size(); ++i) {
        const double place = (secondsOf(film, i) - first) * rate.perSecond();
        if (std::abs(place - static_cast<double>(i)) > slackPictures)
            return false;
    }
    return true;
}

/// The rate that the pictures have on the average.
std::optional<FrameRate> meanRate(const FilmTimes& film)
{
    const double length = secondsOf(film, film.frames.size() - 1) - secondsOf(film, 0);
    return length > 0 ? FrameRate::of(static_cast<double>(film.frames.size() - 1) / length) : std::nullopt;
}

/// Where a picture ends: at the next one's beginning, the last one after its share of time.
double endOfPicture(const FilmTimes& film, qint64 picture)
{
    return picture + 1 < film.frames.size() ? secondsOf(film, picture + 1)
                                            : secondsOf(film, picture) + 1 / film.clock.framesPerSecond();
}

} // namespace

std::optional<FrameRate> constantRateOf(const FilmTimes& film)
{
    if (film.frames.isEmpty())
        return std::nullopt;
    const FrameRate told{film.clock.rateNumerator, film.clock.rateDenominator};
    for (const auto& rate : {std::optional(told), meanRate(film)}) {
        if (rate && standsEvenly(film, *rate))
            return rate;
    }
    return std::nullopt;
}

bool beginsAtZero(const FilmTimes& film)
{
    return !film.frames.isEmpty() && std::abs(secondsOf(film, 0)) * film.clock.framesPerSecond() < slackPictures;
}

void describeFilm(CutList& list, const FilmTimes& film)
{
    list.rate = constantRateOf(film);
    list.pictureCount = film.frames.size();
    list.startTimecode.reset();
    const bool dropsFrames = film.startTimecode.contains(';');
    if (list.rate) {
        const auto counting = TimecodeCounting::of(*list.rate, dropsFrames);
        if (const auto pictures = parseTimecode(QString::fromLatin1(film.startTimecode), counting))
            list.startTimecode = StartTimecode{*pictures, counting.dropsFrames};
    }
}

void numberPictures(CutList& list, const FilmTimes& film)
{
    FrameIndex index;
    index.learn(FrameIndex::beginning, FrameIndex::end, film.frames);
    for (qsizetype i = 0; i < list.items.size(); ++i) {
        CutListItem& item = list.items[i];
        FrameSearch search(index, film.clock);
        const CutFrames cut = cutFrames(search, {0, true, item.start, item.end, true});
        if (!cut.first.isKnown() || !cut.last.isKnown())
            throw CutListError(u"第 %1 个片段里没有画面。"_s.arg(i + 1));
        const auto first = std::lower_bound(film.frames.begin(), film.frames.end(), cut.first.ticks);
        const auto end = std::upper_bound(film.frames.begin(), film.frames.end(), cut.last.ticks);
        item.pictures = PictureRange{first - film.frames.begin(), end - film.frames.begin()};
    }
}

void countPictures(CutList& list, const CutListKind& kind, const FilmTimes& film)
{
    if (kind.pictures == PictureUse::unused || (kind.pictures == PictureUse::welcome && !beginsAtZero(film)))
        return;
    describeFilm(list, film);
    numberPictures(list, film);
}

void timePictures(CutList& list, const FilmTimes& film)
{
    for (qsizetype i = 0; i < list.items.size(); ++i) {
        CutListItem& item = list.items[i];
        if (!item.pictures)
            continue;
        const PictureRange& range = *item.pictures;
        if (range.first < 0 || range.count() <= 0 || range.end > film.frames.size())
            throw CutListError(u"第 %1 个片段超出了视频的 %2 幅画面。"_s.arg(i + 1).arg(film.frames.size()));
        std::tie(item.start, item.end) =
            wholeMilliseconds(secondsOf(film, range.first), endOfPicture(film, range.end - 1));
    }
}
