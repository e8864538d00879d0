#include "TriskVXNotifierApplication.h"

#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXInternalInconsistencyException.h"
#include "TriskVXNotifierLogging.h"
#include "TriskVXNotifyController.h"
#include "TriskVXUnixSignalWatcher.h"

#include <QApplication>

#include <csignal>
#include <vector>

namespace {
// sysexits' EX_SOFTWARE: the program found a programming error and stopped.
const int kProgrammingError = 70;
} // namespace

bool TriskVXNotifierApplication::hasWindowSystem(int argc, char *argv[])
{
    for (int index = 1; index < argc; ++index) {
        if (qstrcmp(argv[index], "-platform") == 0)
            return true;
    }
    if (!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("DISPLAY"))
        return true;
    qCWarning(lcTriskNotifier).noquote() << QStringLiteral(
        "cannot show windows: neither DISPLAY nor WAYLAND_DISPLAY is set");
    return false;
}

QString TriskVXNotifierApplication::applicationName()
{
    return QStringLiteral("trisk-notifier");
}

QString TriskVXNotifierApplication::organizationDomain()
{
    return QStringLiteral("org.halvane");
}

int TriskVXNotifierApplication::run(const QList<Maker> &makers)
{
    QApplication::setApplicationName(applicationName());
    QApplication::setOrganizationDomain(organizationDomain());
    QApplication::setQuitOnLastWindowClosed(false);
    // Under systemd the journal reads the priority from a <n> prefix.
    if (qEnvironmentVariableIsSet("JOURNAL_STREAM"))
        qSetMessagePattern(QStringLiteral(
            "%{if-debug}<7>%{endif}%{if-info}<6>%{endif}%{if-warning}<4>%{endif}%{if-critical}<3>%{endif}"
            "%{if-fatal}<2>%{endif}%{if-category}%{category}: %{endif}%{message}"));
    if (TriskVXBundle *bundle = TriskVXBundle::mainBundle())
        bundle->installTranslations();
    // The agent owns the system clock: it follows zone changes (posting the zone-change notification) and
    // answers each date's zone from memory instead of asking the system every time.
    TriskVXClock::systemClock()->watchSystemTimeZone();

    TriskVXUnixSignalWatcher signals({ SIGTERM, SIGINT, SIGHUP });
    QObject::connect(&signals, &TriskVXUnixSignalWatcher::unixSignal, qApp, [](int signalNumber) {
        qCInfo(lcTriskNotifier).noquote() << QStringLiteral("stopping on signal %1").arg(signalNumber);
        QApplication::quit();
    });
    try {
        TriskVXNotifyController controller;
        if (!controller.init())
            return kUnavailable;
        controller.awakeFromNib();
        std::vector<std::unique_ptr<QObject>> others;
        for (const Maker &make : makers)
            others.push_back(make(&controller));
        qCInfo(lcTriskNotifier).noquote()
            << QStringLiteral("started with %1 notifiers").arg(controller.notifiers().size());
        return QApplication::exec();
    } catch (const TriskVXInternalInconsistencyException &exception) {
        // The assertion handler has logged what and where; the agent does not start.
        return kProgrammingError;
    }
}
