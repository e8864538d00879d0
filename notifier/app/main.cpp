#include "TriskVXClock.h"
#include "TriskVXDesktopStatusBar.h"
#include "TriskVXNotificationsController.h"
#include "TriskVXNotifierApplication.h"
#include "TriskVXNotifierCommandLine.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusMenuController.h"
#include "TriskVXWarningController.h"

#include <QApplication>
#include <QDBusConnection>

int main(int argc, char *argv[])
{
    if (const std::optional<int> status
        = TriskVXNotifierCommandLine::answer(TriskVXNotifierCommandLine::fromArgv(argc, argv)))
        return *status;
    QApplication application(argc, argv);
    // The notifier classes the controller's tables name, as this build has them.
    TriskVXStatusMenuController::registerClass();
    TriskVXNotificationsController::registerClass(TriskVXClock::systemClock());
    TriskVXWarningController::registerClass();
    // The status bar's items appear in the desktop's panel (or tray) of the session.
    TriskVXDesktopStatusBar desktop(TriskVXStatusBar::systemStatusBar(), QDBusConnection::sessionBus());
    return TriskVXNotifierApplication::run();
}
