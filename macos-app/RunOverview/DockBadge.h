#pragma once

/// macOS only: this percentage as the badge of the program's icon in the Dock; a negative one takes the badge away.
void showDockBadge(int percentage);
