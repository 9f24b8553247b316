#pragma once

class QMainWindow;

/// Builds the menu bar: quitting, and editing of whatever text has the focus.
/// It lies in the window, or at the top of the screen where the platform has it there.
void installMainMenu(QMainWindow* window);
