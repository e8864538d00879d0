#pragma once

#include <QList>
#include <QObject>

#include <functional>
#include <memory>

class TriskVXNotifyController;

// The trisk-notifier program: names the application, sets up logging and translations, builds the
// objects of the main interface (the notifier controller, then the others the program names, such as
// the Quick Schedule panel), initialises and wakes them (init, then awakeFromNib) and runs until
// SIGTERM or SIGINT.
class TriskVXNotifierApplication
{
public:
    // Makes one more object of the main interface once the notifier controller is awake; it lives until
    // the program ends.
    using Maker = std::function<std::unique_ptr<QObject>(TriskVXNotifyController *)>;

    // Runs the existing QApplication; the answer is the exit status (70 after a programming error).
    static int run(const QList<Maker> &makers = {});
};
