#pragma once

#include "Models/FileURL.h"

#include <optional>

/// Where the running application lies. This is the one place in which the platforms differ about it:
/// on macOS the bundle's Contents/Resources and the folder that holds the bundle; elsewhere `../share/kestrel` beside
/// the folder of the real executable, and that folder itself.
struct ApplicationLocations
{
    std::optional<FileURL> resourcesDirectory; ///< absent when the folder does not exist
    FileURL bundleParent;

    /// Asked of the system on each call; works before any application object exists. Links to the executable are
    /// resolved.
    [[nodiscard]] static ApplicationLocations current();
};
