// trisk-notifier-login: the notifier at the login screen, started by "trisk-notifier -login YES" with the
// same command line. Only the count-down window and the warning panel: nobody's session exists there, so
// nothing reaches for a session bus, a notification server or the network, and the program carries none
// of the desktop's code.
#include "TriskVXClock.h"
#include "TriskVXLoginNotificationController.h"
#include "TriskVXNotifierApplication.h"
#include "TriskVXWarningController.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    if (!TriskVXNotifierApplication::hasWindowSystem(argc, argv))
        return TriskVXNotifierApplication::kUnavailable;
    QApplication application(argc, argv);
    TriskVXWarningController::registerClass();
    TriskVXLoginNotificationController::registerClass(TriskVXClock::systemClock());
    return TriskVXNotifierApplication::run();
}
