#pragma once

// The trisk-notifier program: names the application, sets up logging and translations, builds the
// objects of the main interface (the notifier controller; later the Quick Schedule and update
// controllers), initialises and wakes them (init, then awakeFromNib) and runs until SIGTERM or SIGINT.
class TriskVXNotifierApplication
{
public:
    // Runs the existing QApplication; the answer is the exit status (70 after a programming error).
    static int run();
};
