#include "HalvaneDaemon.h"

#include "HalvaneDemoSchedule.h"
#include "HalvanePerformer.h"
#include "HalvanePersistence.h"
#include "HalvanePolkitAuthority.h"
#include "HalvanePowerBackend.h"
#include "HalvaneRulesAuthority.h"
#include "HalvaneScheduler.h"
#include "HalvaneSchedulerService.h"
#include "HalvaneServiceLogging.h"
#include "HalvaneTestClock.h"
#include "TriskVXBusWatcher.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXUnixSignalWatcher.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTextStream>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {
const QString kTestClockPath = QStringLiteral("/org/halvane/SchedulerTest");

void complain(const QString &message)
{
    QTextStream(stderr) << QCoreApplication::applicationName() << QStringLiteral(": ") << message << Qt::endl;
}

QString tr(const char *text)
{
    return QCoreApplication::translate("halvaned", text);
}

// "session", "system" or an address; each address gets a connection of its own.
QDBusConnection busNamed(const QString &setting, const QString &connectionName)
{
    if (setting == QLatin1String("session"))
        return QDBusConnection::sessionBus();
    if (setting == QLatin1String("system"))
        return QDBusConnection::systemBus();
    return QDBusConnection::connectToBus(setting, connectionName);
}

QString defaultStateDirectory(bool systemBus)
{
    const QString fromSystemd = qEnvironmentVariable("STATE_DIRECTORY");
    if (!fromSystemd.isEmpty())
        return fromSystemd.split(QLatin1Char(':')).first();
    if (systemBus)
        return QStringLiteral("/var/lib/halvane");
    QString home = qEnvironmentVariable("XDG_STATE_HOME");
    if (home.isEmpty())
        home = QDir::homePath() + QStringLiteral("/.local/state");
    return home + QStringLiteral("/halvane");
}
// A large store is tens of megabytes of small records, all made at start, and page faults are most of
// that start. With the allocator asking the kernel for huge pages most of them go (at 10,000 events the
// start until the first answer takes about a third less). The allocator reads the setting only when a
// process starts, so a service about to read a large store starts itself again with it, once; a small
// store is not worth the second start.
void restartForLargeStore(const QString &store)
{
    static constexpr qint64 kLargeStoreBytes = 2 * 1024 * 1024;
    static constexpr char kHugePages[] = "glibc.malloc.hugetlb=1";
    const QByteArray tunables = qgetenv("GLIBC_TUNABLES");
    if (tunables.contains("glibc.malloc.hugetlb") || QFileInfo(store).size() < kLargeStoreBytes)
        return;
    qputenv("GLIBC_TUNABLES", tunables.isEmpty() ? QByteArray(kHugePages) : tunables + ':' + kHugePages);
    const QStringList arguments = QCoreApplication::arguments();
    std::vector<QByteArray> encoded;
    encoded.reserve(size_t(arguments.size()));
    for (const QString &argument : arguments)
        encoded.push_back(argument.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &argument : encoded)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    ::execv("/proc/self/exe", argv.data());
    // Still here: the start goes on as it is, only slower.
    qCWarning(lcHalvaned).noquote() << QStringLiteral("cannot start again with huge pages for the large store: %1")
                                           .arg(QString::fromLocal8Bit(strerror(errno)));
}
} // namespace

int HalvaneDaemon::run(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(tr("The Halvane scheduler service."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption busOption(QStringLiteral("bus"),
                                       tr("The bus to serve on: session, system or a D-Bus address."),
                                       QStringLiteral("bus"), QStringLiteral("session"));
    const QCommandLineOption nameOption(QStringLiteral("name"), tr("The bus name to take."), QStringLiteral("name"),
                                        kVXDBusServiceName);
    const QCommandLineOption demoOption(QStringLiteral("demo"),
                                        tr("Start with the demo schedule (never touches power)."));
    const QCommandLineOption dryRunOption(QStringLiteral("dry-run"),
                                          tr("Never touch power: log power actions instead."));
    const QCommandLineOption stateOption(QStringLiteral("state-dir"), tr("The folder of the store."),
                                         QStringLiteral("dir"));
    const QCommandLineOption memoryOption(QStringLiteral("no-state"), tr("Keep the state in memory only."));
    const QCommandLineOption rightsOption(QStringLiteral("rights"),
                                          tr("Who decides rights: rules or polkit (polkit on the system bus)."),
                                          QStringLiteral("kind"));
    const QCommandLineOption rulesOption(QStringLiteral("rules"), tr("The rights rules file (with --rights rules)."),
                                         QStringLiteral("file"));
    const QCommandLineOption polkitBusOption(QStringLiteral("polkit-bus"), tr("The bus polkit answers on."),
                                             QStringLiteral("bus"), QStringLiteral("system"));
    const QCommandLineOption logindBusOption(QStringLiteral("logind-bus"), tr("The bus systemd-logind answers on."),
                                             QStringLiteral("bus"), QStringLiteral("system"));
    const QCommandLineOption catchUpOption(
        QStringLiteral("catch-up"), tr("Seconds a firing missed while the service was down may be late and still run."),
        QStringLiteral("seconds"), QStringLiteral("300"));
    const QCommandLineOption testClockOption(QStringLiteral("test-clock"), tr("Let tests set the time over D-Bus."));
    parser.addOptions({ busOption, nameOption, demoOption, dryRunOption, stateOption, memoryOption, rightsOption,
                        rulesOption, polkitBusOption, logindBusOption, catchUpOption, testClockOption });
    if (!parser.parse(arguments)) {
        complain(parser.errorText());
        return 2;
    }
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp(0);
    if (parser.isSet(QStringLiteral("version")))
        parser.showVersion();
    if (!parser.positionalArguments().isEmpty()) {
        complain(tr("unexpected argument %1").arg(parser.positionalArguments().first()));
        return 2;
    }
    bool catchUpIsNumber = false;
    const qint64 catchUp = parser.value(catchUpOption).toLongLong(&catchUpIsNumber);
    if (!catchUpIsNumber || catchUp < 0) {
        complain(tr("--catch-up takes a number of seconds"));
        return 2;
    }
    const QString busSetting = parser.value(busOption);
    const bool systemBus = busSetting == QLatin1String("system");
    const QString rightsKind = parser.isSet(rightsOption)
        ? parser.value(rightsOption)
        : (systemBus ? QStringLiteral("polkit") : QStringLiteral("rules"));
    if (rightsKind != QLatin1String("rules") && rightsKind != QLatin1String("polkit")) {
        complain(tr("--rights is rules or polkit"));
        return 2;
    }

    QDBusConnection bus = busNamed(busSetting, QStringLiteral("halvaned"));
    // Give up before the store is touched when the name is served already: the start-up pass would run the
    // firings due and save into the store the serving halvaned keeps.
    if (QString taken; HalvaneSchedulerService::isTaken(bus, parser.value(nameOption), &taken)) {
        complain(taken);
        return 1;
    }
    TriskVXClock *clock = TriskVXClock::systemClock();
    std::unique_ptr<TriskVXClock> testClock;
    if (parser.isSet(testClockOption)) {
        testClock = std::make_unique<TriskVXClock>();
        testClock->setNow(QDateTime::currentDateTimeUtc());
        clock = testClock.get();
    } else {
        clock->watchSystemTimeZone();
    }

    const bool dryRun = parser.isSet(dryRunOption) || parser.isSet(demoOption);
    HalvanePowerBackend power(busNamed(parser.value(logindBusOption), QStringLiteral("halvaned-logind")), dryRun);
    HalvanePerformer performer(&power);
    HalvaneScheduler scheduler(clock, &performer);
    scheduler.setCatchUpSeconds(catchUp);

    std::unique_ptr<HalvanePersistence> persistence;
    if (!parser.isSet(memoryOption)) {
        const QString directory
            = parser.isSet(stateOption) ? parser.value(stateOption) : defaultStateDirectory(systemBus);
        restartForLargeStore(HalvanePersistence::storePath(directory));
        persistence = std::make_unique<HalvanePersistence>(&scheduler, directory);
        if (!persistence->load())
            return 1;
    }
    if (parser.isSet(demoOption)) {
        const HalvaneResult result = scheduler.handle(
            kVXRPCEventStoreStore, { { kVXRPCParameterEvents, HalvaneDemoSchedule::events(clock->now()) } });
        if (!result.succeeded()) {
            complain(result.message());
            return 1;
        }
    }
    // The first pass (what came due while the service was down) runs before there is anything to announce
    // it to: clients read the state it leaves once the name is on the bus.
    scheduler.start();
    if (persistence)
        persistence->saveNow();

    std::unique_ptr<HalvaneAuthority> authority;
    if (rightsKind == QLatin1String("polkit")) {
        authority = std::make_unique<HalvanePolkitAuthority>(
            busNamed(parser.value(polkitBusOption), QStringLiteral("halvaned-polkit")));
    } else {
        QString rules = parser.value(rulesOption);
        if (!parser.isSet(rulesOption)) {
            const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
            rules = config.isEmpty() ? QString() : config + QStringLiteral("/halvane/rights.plist");
        }
        authority = std::make_unique<HalvaneRulesAuthority>(rules, ::getuid());
    }

    // Before the name is on the bus: whoever sees it may stop the service at once, and a stop must be a
    // clean one (the state saved, status 0).
    TriskVXUnixSignalWatcher signalWatcher({ SIGTERM, SIGINT, SIGHUP });
    QObject::connect(&signalWatcher, &TriskVXUnixSignalWatcher::unixSignal, qApp, [](int signalNumber) {
        qCInfo(lcHalvaned).noquote() << QStringLiteral("stopping on signal %1").arg(signalNumber);
        QCoreApplication::quit();
    });
    HalvaneSchedulerService service(&scheduler, authority.get(), persistence.get());
    QString error;
    if (!service.registerOn(bus, parser.value(nameOption), &error)) {
        complain(error);
        return 1;
    }
    std::unique_ptr<HalvaneTestClock> testClockObject;
    if (testClock) {
        testClockObject = std::make_unique<HalvaneTestClock>(testClock.get());
        bus.registerObject(kTestClockPath, testClockObject.get());
    }
    qCInfo(lcHalvaned).noquote() << QStringLiteral("serving %1 on the %2 bus%3")
                                        .arg(parser.value(nameOption), busSetting,
                                             dryRun ? QStringLiteral(" (dry run)") : QString());

    TriskVXBusWatcher busWatcher(bus);
    QObject::connect(&busWatcher, &TriskVXBusWatcher::busDisconnected, qApp, [] {
        qCWarning(lcHalvaned).noquote() << QStringLiteral("the bus went away; stopping");
        QCoreApplication::exit(1);
    });
    const int status = QCoreApplication::exec();
    if (persistence)
        persistence->saveNow();
    return status;
}
