#include "CutLists/CutList.h"

#include <cmath>

namespace {

constexpr double mostPicturesPerSecond = 1000;
/// As far as a rate that was told with two decimals is from the one that is meant.
constexpr double tolerance = 0.006;

} // namespace

std::optional<FrameRate> FrameRate::of(double picturesPerSecond)
{
    if (!(picturesPerSecond > 0 && picturesPerSecond <= mostPicturesPerSecond))
        return std::nullopt;
    const qint64 whole = std::llround(picturesPerSecond);
    if (std::abs(picturesPerSecond - static_cast<double>(whole)) < 1e-6)
        return FrameRate{whole, 1};
    const FrameRate broadcast{std::llround(std::ceil(picturesPerSecond)) * 1000, 1001};
    if (std::abs(picturesPerSecond - broadcast.perSecond()) < tolerance)
        return broadcast;
    return FrameRate{std::llround(picturesPerSecond * 1000), 1000};
}
