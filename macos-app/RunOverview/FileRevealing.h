#pragma once

#include "Models/FileURL.h"

/// Shows a file in the desktop's file manager, selected where that is possible; otherwise opens its folder. Returns at
/// once.
void revealInFolder(const FileURL& url);
