#pragma once

#include <QList>
#include <QObject>
#include <QString>

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

    // sysexits' EX_UNAVAILABLE: no window system, or no bus the service could live on.
    static constexpr int kUnavailable = 69;
    // The names run gives the application; its user defaults' domain is made of them.
    static QString applicationName();
    static QString organizationDomain();

    // Runs the existing QApplication; the answer is the exit status (70 after a programming error, 69
    // when the service's bus cannot be reached).
    static int run(const QList<Maker> &makers = {});
    // Whether a window system is named (a display, a Wayland socket or a chosen platform), checked before
    // the application object exists: without one Qt would abort, where the login screen's instance
    // should only say why it does not start. Logs the reason when not.
    static bool hasWindowSystem(int argc, char *argv[]);
};
