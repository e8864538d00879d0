#include "HalvaneDaemon.h"

#include "HalvaneDemoSchedule.h"
#include "HalvaneScheduler.h"
#include "HalvaneSchedulerService.h"
#include "HalvaneServiceLogging.h"
#include "TriskVXBusWatcher.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXUnixSignalWatcher.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QTextStream>

#include <csignal>

namespace {
void complain(const QString &message)
{
    QTextStream(stderr) << QCoreApplication::applicationName() << QStringLiteral(": ") << message << Qt::endl;
}
} // namespace

int HalvaneDaemon::run(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QCoreApplication::translate("halvaned", "The Halvane scheduler service."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption busOption(
        QStringLiteral("bus"),
        QCoreApplication::translate("halvaned", "The bus to serve on: session, system or a D-Bus address."),
        QStringLiteral("bus"), QStringLiteral("session"));
    const QCommandLineOption nameOption(QStringLiteral("name"),
                                        QCoreApplication::translate("halvaned", "The bus name to take."),
                                        QStringLiteral("name"), kVXDBusServiceName);
    const QCommandLineOption demoOption(QStringLiteral("demo"),
                                        QCoreApplication::translate("halvaned", "Start with the demo schedule."));
    const QCommandLineOption dryRunOption(QStringLiteral("dry-run"),
                                          QCoreApplication::translate("halvaned", "Never touch power (log instead)."));
    parser.addOptions({ busOption, nameOption, demoOption, dryRunOption });
    if (!parser.parse(arguments)) {
        complain(parser.errorText());
        return 2;
    }
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp(0);
    if (parser.isSet(QStringLiteral("version")))
        parser.showVersion();
    if (!parser.positionalArguments().isEmpty()) {
        complain(QCoreApplication::translate("halvaned", "unexpected argument %1")
                     .arg(parser.positionalArguments().first()));
        return 2;
    }

    const QString busSetting = parser.value(busOption);
    QDBusConnection bus = busSetting == QLatin1String("session") ? QDBusConnection::sessionBus()
        : busSetting == QLatin1String("system")                  ? QDBusConnection::systemBus()
                                                : QDBusConnection::connectToBus(busSetting, QStringLiteral("halvaned"));

    HalvaneScheduler scheduler(TriskVXClock::systemClock());
    if (parser.isSet(demoOption)) {
        const HalvaneResult result = scheduler.handle(
            kVXRPCEventStoreStore,
            { { kVXRPCParameterEvents, HalvaneDemoSchedule::events(TriskVXClock::systemClock()->now()) } });
        if (!result.succeeded()) {
            complain(result.message());
            return 1;
        }
    }
    HalvaneSchedulerService service(&scheduler);
    QString error;
    if (!service.registerOn(bus, parser.value(nameOption), &error)) {
        complain(error);
        return 1;
    }
    qCInfo(lcHalvaned).noquote()
        << QStringLiteral("serving %1 on the %2 bus").arg(parser.value(nameOption), busSetting);

    TriskVXBusWatcher busWatcher(bus);
    QObject::connect(&busWatcher, &TriskVXBusWatcher::busDisconnected, qApp, [] {
        qCWarning(lcHalvaned).noquote() << QStringLiteral("the bus went away; stopping");
        QCoreApplication::exit(1);
    });
    TriskVXUnixSignalWatcher signalWatcher({ SIGTERM, SIGINT, SIGHUP });
    QObject::connect(&signalWatcher, &TriskVXUnixSignalWatcher::unixSignal, qApp, [](int signalNumber) {
        qCInfo(lcHalvaned).noquote() << QStringLiteral("stopping on signal %1").arg(signalNumber);
        QCoreApplication::quit();
    });
    return QCoreApplication::exec();
}
