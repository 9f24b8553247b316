#pragma once

class MainWindow;

/// Builds the menu bar: quitting, and editing of whatever has the focus, and the steps of the list of segments.
/// It lies in the window, or at the top of the screen where the platform has it there.
void installMainMenu(MainWindow* window);
