#include "TriskUDFeedFetcherModule.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXDesktopStatusBar.h"
#include "TriskVXDistributedNotificationCenter.h"
#include "TriskVXNotificationCenter.h"
#include "TriskVXNotificationsController.h"
#include "TriskVXNotifierApplication.h"
#include "TriskVXNotifierCommandLine.h"
#include "TriskVXNotifierLogging.h"
#include "TriskVXNotifyController.h"
#include "TriskVXNotifyEnvironment.h"
#include "TriskVXQuickScheduleController.h"
#include "TriskVXRequestErrorReporter.h"
#include "TriskVXSoftwareUpdateController.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusMenuController.h"
#include "TriskVXUserNotificationCenter.h"
#include "TriskVXUserNotificationController.h"
#include "TriskVXWarningController.h"
#include "TriskVXWorkspace.h"

#include <QApplication>
#include <QDBusConnection>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {
// The session's desktop: the status item, the panels, desktop notifications, the update check and the
// Quick Schedule panel.
int runOnDesktop()
{
    // The notifier classes the controller's tables name, as this build has them.
    TriskVXStatusMenuController::registerClass();
    TriskVXNotificationsController::registerClass(TriskVXClock::systemClock());
    TriskVXWarningController::registerClass();
    // Desktop notifications go to the session's notification server, whenever one runs; the weekly
    // update check posts through the same centre.
    TriskVXUserNotificationCenter notifications(QDBusConnection::sessionBus());
    if (TriskVXBundle *bundle = TriskVXBundle::mainBundle())
        notifications.setApplicationName(bundle->infoDictionary().value(QStringLiteral("CFBundleName")).toString());
    notifications.setApplicationIcon(QStringLiteral("appointment-soon"));
    notifications.setDesktopEntry(QStringLiteral("org.halvane.TriskNotifier"));
    TriskVXUserNotificationController::registerClass(&notifications, TriskVXClock::systemClock());
    // The network module is loaded by the first check, not at start.
    TriskVXSoftwareUpdateController updates(&notifications, TriskUDFeedFetcherModule::factory(),
                                            TriskVXClock::systemClock(),
                                            TriskVXDistributedNotificationCenter::defaultCenter());
    updates.init();
    // What the scheduler refused is told through the same centre.
    TriskVXRequestErrorReporter failures(&notifications, TriskVXNotificationCenter::defaultCenter());
    // The status bar's items appear in the desktop's panel (or tray) of the session.
    TriskVXDesktopStatusBar desktop(TriskVXStatusBar::systemStatusBar(), QDBusConnection::sessionBus());
    // Panels and trays give the item the width its picture and label take.
    TriskVXStatusBar::systemStatusBar()->setDrawsItemLengths(false);
    // The Quick Schedule panel, opened from the status menu through the workspace and made then.
    const auto quickSchedule = [](TriskVXNotifyController *notifier) -> std::unique_ptr<QObject> {
        return TriskVXQuickScheduleController::controllerOnFirstRequest(notifier, TriskVXClock::systemClock(),
                                                                        TriskVXWorkspace::workspace());
    };
    return TriskVXNotifierApplication::run({ quickSchedule });
}

// The login screen has a program of its own, with only the count-down window and the warning panel:
// its code is what stays resident there (docs/decisions.md). It takes the same command line.
int runLoginScreenProgram(char *argv[])
{
    const QString program = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalPath() + QLatin1Char('/')
        + QStringLiteral(TRISK_LOGIN_PROGRAM);
    execv(QFile::encodeName(program).constData(), argv);
    qCWarning(lcTriskNotifier).noquote() << QStringLiteral("cannot start the login screen's program %1: %2")
                                                .arg(program, QString::fromLocal8Bit(std::strerror(errno)));
    return TriskVXNotifierApplication::kUnavailable;
}
} // namespace

int main(int argc, char *argv[])
{
    const QStringList arguments = TriskVXNotifierCommandLine::fromArgv(argc, argv);
    if (const std::optional<int> status = TriskVXNotifierCommandLine::answer(arguments))
        return *status;
    if (TriskVXNotifyEnvironment::runningWithinLoginWindow(arguments))
        return runLoginScreenProgram(argv);
    if (!TriskVXNotifierApplication::hasWindowSystem(argc, argv))
        return TriskVXNotifierApplication::kUnavailable;
    QApplication application(argc, argv);
    return runOnDesktop();
}
