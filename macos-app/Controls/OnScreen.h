#pragma once

class QWidget;

/// Keeps a window wholly on its screen, frame included: moves it there and shrinks it where it must, below its set
/// minimum on a screen smaller than that. To be called when the window has the place and size that it should have, and
/// is shown or about to be; a frame that is known only later counts, too.
void keepOnScreen(QWidget* window);
