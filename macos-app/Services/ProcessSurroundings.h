#pragma once

/// Puts right what a careless parent may have handed down, before the first file is opened or child started: closed
/// standard streams become the null device, so that no pipe takes their numbers, and a SIGCHLD that is ignored goes
/// back to its default, so that the exit statuses of children can be read.
void repairProcessSurroundings();
