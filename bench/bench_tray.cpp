// Trisk Notifier beside a bare Qt tray application (bench_bare_tray), both shown by xfce4-panel's tray
// on the display and private session bus that bench/run gives it, against the real halvaned:
// - start until the item is registered with the watcher, with 1,000 pending triggers, and the resident
//   memory a moment later; the memory also with the demo schedule (halvaned --demo);
// - counting down in the last minute before a firing, both at once: context switches and processor time
//   per minute of each (all threads), their ratio, and the bytes each sends on the bus per second; for the
//   whole notifier (its count-down panel on screen too) and for its status item alone;
// - nothing pending: the notifier's wake-ups (context switches of all its threads) per minute.
// Usage: bench_tray [SECONDS (5 to 50)] [IDLE_SECONDS] [RUNS (starts, and count-down minutes, each)]
#include "BenchProcess.h"
#include "BenchStatistics.h"
#include "HalvanedProcess.h"
#include "ServiceClient.h"
#include "TriskVXConstants.h"
#include "WaitFor.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {
const QString kWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");
const int kWait = 20000;

struct Counters
{
    long switches = 0;
    double cpuMSecs = 0;
};

// Summed over the process's threads, from the kernel's own accounts.
Counters countersOf(qint64 pid)
{
    Counters counters;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    const QStringList ids = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &id : ids) {
        QFile status(tasks.filePath(id + QStringLiteral("/status")));
        if (status.open(QIODevice::ReadOnly)) {
            const QList<QByteArray> lines = status.readAll().split('\n');
            for (const QByteArray &line : lines) {
                if (line.startsWith("voluntary_ctxt_switches:") || line.startsWith("nonvoluntary_ctxt_switches:"))
                    counters.switches += line.mid(line.indexOf(':') + 1).trimmed().toLong();
            }
        }
        QFile schedstat(tasks.filePath(id + QStringLiteral("/schedstat")));
        if (schedstat.open(QIODevice::ReadOnly))
            counters.cpuMSecs += schedstat.readAll().split(' ').value(0).toDouble() / 1e6;
    }
    return counters;
}

// The unique bus names of a process's connections: a Qt tray icon, and the notifier's item, each talk on a
// connection of their own beside the application's.
QStringList busNamesOf(qint64 pid)
{
    QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
    const QStringList names = bus->registeredServiceNames().value();
    QStringList owned;
    for (const QString &name : names) {
        if (name.startsWith(QLatin1Char(':')) && bus->servicePid(name).value() == pid)
            owned.append(name);
    }
    return owned;
}

// Counts what a process's connections put on the bus, as dbus-monitor hands it over (pcap records).
class BusBytes : public QObject
{
public:
    explicit BusBytes(const QStringList &senders)
    {
        QStringList arguments { QStringLiteral("--session"), QStringLiteral("--pcap") };
        for (const QString &sender : senders)
            arguments.append(QStringLiteral("sender='%1'").arg(sender));
        m_monitor.setProgram(QStringLiteral("dbus-monitor"));
        m_monitor.setArguments(arguments);
        connect(&m_monitor, &QProcess::readyReadStandardOutput, this, [this] {
            m_buffer += m_monitor.readAllStandardOutput();
            take();
        });
        m_monitor.start();
        m_monitor.waitForStarted();
    }
    ~BusBytes() override
    {
        m_monitor.kill();
        m_monitor.waitForFinished();
    }
    qint64 bytes = 0;
    qint64 messages = 0;

private:
    void take()
    {
        if (!m_headerRead) {
            if (m_buffer.size() < 24)
                return;
            m_buffer.remove(0, 24);
            m_headerRead = true;
        }
        while (m_buffer.size() >= 16) {
            const quint32 length = qFromLittleEndian<quint32>(m_buffer.constData() + 8);
            if (m_buffer.size() < 16 + qsizetype(length))
                return;
            bytes += length;
            ++messages;
            m_buffer.remove(0, 16 + length);
        }
    }
    QProcess m_monitor;
    QByteArray m_buffer;
    bool m_headerRead = false;
};

// Items the watcher has been told of, by the pid of their owner.
class Registrations : public QObject
{
    Q_OBJECT

public:
    Registrations()
    {
        QDBusConnection::sessionBus().connect(kWatcher, QStringLiteral("/StatusNotifierWatcher"), kWatcher,
                                              QStringLiteral("StatusNotifierItemRegistered"), this,
                                              SLOT(registered(QString)));
    }
    bool has(qint64 pid) const { return m_pids.contains(pid); }
    // Runs the event loop until the process's item is registered; false when it is not within kWait.
    bool waitFor(qint64 pid) const
    {
        return ::waitFor(
            [this, pid] {
                return has(pid);
            },
            kWait);
    }

public Q_SLOTS:
    void registered(const QString &item)
    {
        const QString service = item.section(QLatin1Char('/'), 0, 0);
        m_pids.insert(QDBusConnection::sessionBus().interface()->servicePid(service).value());
    }

private:
    QSet<qint64> m_pids;
};

// Runs the event loop for seconds, whatever happens meanwhile.
void idle(int seconds)
{
    waitFor(
        [] {
            return false;
        },
        seconds * 1000);
}

std::unique_ptr<QProcess> startProgram(const QString &program, const QString &service)
{
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HALVANE_SERVICE"), service);
    process->setProcessEnvironment(environment);
    process->setProgram(program);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    process->start();
    return process;
}

void stopProgram(QProcess *process)
{
    process->terminate();
    if (!process->waitForFinished(5000))
        process->kill();
    process->waitForFinished();
}

// An event due at date whose notice has begun: its count-down runs in the item. Stored again, it replaces
// the one before.
QVariantMap countDownEvent(const QDateTime &date)
{
    const QVariantMap log { { kVXActionType, kVXActionType_Log }, { kVXActionMessage, QStringLiteral("bench") } };
    return { { kVXEventUniqueID, QStringLiteral("count-down") },
             { kVXEventName, QStringLiteral("Shut down") },
             { kVXEventActions, QVariantList { log } },
             { kVXEventNoticePeriod, qint64(3600) },
             { kVXEventTriggers,
               QVariantList { QVariantMap { { kVXTriggerIdentifier, QStringLiteral("count-down") },
                                            { kVXTriggerType, kVXTriggerType_Once },
                                            { kVXTriggerDate, date } } } } };
}

// 1,000 events, each due once from an hour on, and one due in 20 minutes whose notice has begun: its
// count-down runs in the item.
QVariantList schedule(const QDateTime &now)
{
    const QVariantMap log { { kVXActionType, kVXActionType_Log }, { kVXActionMessage, QStringLiteral("bench") } };
    QVariantList events;
    for (int i = 0; i <= 1000; ++i) {
        const bool countDown = i == 1000;
        const QDateTime date = countDown ? now.addSecs(20 * 60) : now.addSecs(3600 + qint64(i) * 257);
        QVariantMap event { { kVXEventUniqueID, QStringLiteral("e%1").arg(i) },
                            { kVXEventName, QStringLiteral("Event %1").arg(i) },
                            { kVXEventActions, QVariantList { log } },
                            { kVXEventTriggers,
                              QVariantList { QVariantMap { { kVXTriggerIdentifier, QStringLiteral("t%1").arg(i) },
                                                           { kVXTriggerType, kVXTriggerType_Once },
                                                           { kVXTriggerDate, date } } } } };
        if (countDown)
            event.insert(kVXEventNoticePeriod, qint64(3600));
        events.append(event);
    }
    return events;
}

// Starts the notifier on service runs times: the time until its item is registered, and its resident
// memory 2 s after start.
bool startRuns(const QString &service, const Registrations &registrations, int runs, std::vector<double> *starts,
               std::vector<double> *memory)
{
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer timer;
        timer.start();
        auto notifier = startProgram(QStringLiteral(TRISK_NOTIFIER_PATH), service);
        const qint64 pid = notifier->processId();
        if (!registrations.waitFor(pid)) {
            std::fprintf(stderr, "the notifier's item did not register\n");
            return false;
        }
        starts->push_back(double(timer.nsecsElapsed()) / 1e6);
        idle(2);
        memory->push_back(double(BenchProcess::residentKiBUntrimmed(QString::number(pid))));
        stopProgram(notifier.get());
    }
    return true;
}

// What one minute of counting down cost the notifier and the bare app, each.
struct CountDownFigures
{
    double notifierSwitches = 0;
    double bareSwitches = 0;
    double notifierCpu = 0;
    double bareCpu = 0;
    double notifierBytes = 0;
    double notifierMessages = 0;
    double bareBytes = 0;
    double bareMessages = 0;
};

// Starts the notifier on service and measures it and the bare app over the same seconds, runs times;
// false, with a message, when there was nothing to measure: an item that never registered, an event the
// service did not take, or a program that ended.
// The measured seconds lie within the last minute before a firing: from there on the item's picture
// shows the seconds left and changes every second, like the bare app's tool tip (further off it
// changes once a minute, and a tick costs nothing most seconds). Each run has a firing of its own.
bool countDownBeside(const QString &label, ServiceClient &client, const QString &service, const QProcess &bareApp,
                     const Registrations &registrations, int seconds, int runs)
{
    auto notifier = startProgram(QStringLiteral(TRISK_NOTIFIER_PATH), service);
    const qint64 notifierPid = notifier->processId();
    const qint64 barePid = bareApp.processId();
    if (!registrations.waitFor(notifierPid)) {
        std::fprintf(stderr, "counting down, %s: the notifier's item did not register\n", qPrintable(label));
        stopProgram(notifier.get());
        return false;
    }
    const int settle = 3;
    const double perMinute = 60.0 / seconds;
    std::vector<CountDownFigures> measured;
    for (int run = 0; run < runs; ++run) {
        const QVariantMap soon = countDownEvent(QDateTime::currentDateTimeUtc().addSecs(settle + seconds + 3));
        if (!client.request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { soon } } })) {
            std::fprintf(stderr, "counting down, %s: halvaned did not take the event\n", qPrintable(label));
            stopProgram(notifier.get());
            return false;
        }
        idle(settle);
        BusBytes notifierBus(busNamesOf(notifierPid));
        BusBytes bareBus(busNamesOf(barePid));
        const Counters notifierBefore = countersOf(notifierPid);
        const Counters bareBefore = countersOf(barePid);
        idle(seconds);
        const Counters notifierAfter = countersOf(notifierPid);
        const Counters bareAfter = countersOf(barePid);
        if (notifier->state() != QProcess::Running || bareApp.state() != QProcess::Running) {
            std::fprintf(stderr, "counting down, %s: %s ended while it was measured\n", qPrintable(label),
                         notifier->state() != QProcess::Running ? "the notifier" : "the bare tray app");
            stopProgram(notifier.get());
            return false;
        }
        // Past the firing before the next run, so that its count-down starts afresh.
        idle(4);
        measured.push_back({ double(notifierAfter.switches - notifierBefore.switches) * perMinute,
                             double(bareAfter.switches - bareBefore.switches) * perMinute,
                             (notifierAfter.cpuMSecs - notifierBefore.cpuMSecs) * perMinute,
                             (bareAfter.cpuMSecs - bareBefore.cpuMSecs) * perMinute,
                             double(notifierBus.bytes) / seconds, double(notifierBus.messages) / seconds,
                             double(bareBus.bytes) / seconds, double(bareBus.messages) / seconds });
    }
    stopProgram(notifier.get());
    const auto medianOf = [&measured](double CountDownFigures::*field) {
        std::vector<double> values;
        for (const CountDownFigures &figures : measured)
            values.push_back(figures.*field);
        return BenchStatistics::median(values);
    };
    const auto ratioOf = [&measured](double CountDownFigures::*mine, double CountDownFigures::*bare) {
        std::vector<double> values;
        for (const CountDownFigures &figures : measured)
            values.push_back(figures.*mine / std::max(figures.*bare, 0.001));
        return BenchStatistics::median(values);
    };
    std::printf("counting down, %s, per minute, medians of %d runs of %d s: context switches %.0f vs %.0f (ratio "
                "%.2f, goal <= 1.0), CPU %.1f ms vs %.1f ms (ratio %.2f, goal <= 1.0)\n",
                qPrintable(label), runs, seconds, medianOf(&CountDownFigures::notifierSwitches),
                medianOf(&CountDownFigures::bareSwitches),
                ratioOf(&CountDownFigures::notifierSwitches, &CountDownFigures::bareSwitches),
                medianOf(&CountDownFigures::notifierCpu), medianOf(&CountDownFigures::bareCpu),
                ratioOf(&CountDownFigures::notifierCpu, &CountDownFigures::bareCpu));
    std::printf("  sent on the bus per second (one tick): notifier %.0f bytes in %.1f messages, bare app %.0f "
                "bytes in %.1f messages (goal <= 20 KB)\n",
                medianOf(&CountDownFigures::notifierBytes), medianOf(&CountDownFigures::notifierMessages),
                medianOf(&CountDownFigures::bareBytes), medianOf(&CountDownFigures::bareMessages));
    return true;
}
} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    // At most 50: the measured seconds have to fit within the last minute before a firing.
    const int seconds = std::clamp(argc > 1 ? QByteArray(argv[1]).toInt() : 50, 5, 50);
    const int idleSeconds = argc > 2 ? QByteArray(argv[2]).toInt() : 120;
    const int runs = argc > 3 ? QByteArray(argv[3]).toInt() : 5;
    const QString bare = QCoreApplication::applicationDirPath() + QStringLiteral("/bench_bare_tray");
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        std::printf("bench_tray: no display (run it under xvfb-run); skipped\n");
        return 0;
    }

    // A home of its own, and xfce4-panel with its tray as the watcher and host.
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", home.filePath(QStringLiteral("config")).toUtf8());
    qputenv("XDG_DATA_HOME", home.filePath(QStringLiteral("data")).toUtf8());
    qputenv("XDG_CACHE_HOME", home.filePath(QStringLiteral("cache")).toUtf8());
    const QString panelConfig = home.filePath(QStringLiteral("config/xfce4/xfconf/xfce-perchannel-xml"));
    QDir().mkpath(panelConfig);
    QFile::copy(QStringLiteral(TRISK_SOURCE_DIR "/scripts/xfce4-panel.xml"),
                panelConfig + QStringLiteral("/xfce4-panel.xml"));
    QProcess panel;
    panel.setProgram(QStringLiteral("xfce4-panel"));
    panel.setStandardOutputFile(QProcess::nullDevice());
    panel.setStandardErrorFile(QProcess::nullDevice());
    panel.start();
    QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
    if (!panel.waitForStarted()
        || !waitFor(
            [bus] {
                return bus->isServiceRegistered(kWatcher).value();
            },
            kWait)) {
        std::printf("bench_tray: xfce4-panel gave no StatusNotifierWatcher; skipped\n");
        return 0;
    }
    // The watcher comes up before its host (the tray plugin) has registered; items made meanwhile by a
    // plain Qt application go to the XEmbed tray instead.
    QDBusInterface watcher(kWatcher, QStringLiteral("/StatusNotifierWatcher"), kWatcher);
    if (!waitFor(
            [&watcher] {
                return watcher.property("IsStatusNotifierHostRegistered").toBool();
            },
            kWait)) {
        std::printf("bench_tray: xfce4-panel's tray registered no StatusNotifierHost; skipped\n");
        return 0;
    }
    Registrations registrations;

    HalvanedProcess service;
    if (!service.start({ QStringLiteral("--dry-run") })) {
        std::fprintf(stderr, "halvaned did not start\n");
        return 1;
    }
    ServiceClient client(service.location());
    // In batches, under the limit of one store request.
    const QVariantList events = schedule(QDateTime::currentDateTimeUtc());
    for (qsizetype first = 0; first < events.size(); first += 1000) {
        if (!client.ready()
            || !client.request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events.mid(first, 1000) } })) {
            std::fprintf(stderr, "halvaned did not take the events\n");
            return 1;
        }
    }
    std::printf("trisk-notifier beside a bare Qt tray app on xfce4-panel (Xvfb, private bus; the machine is "
                "shared, figures are indicative)\n");

    // Start until registered, with 1,000 pending.
    std::vector<double> starts;
    std::vector<double> memory;
    if (!startRuns(service.serviceName(), registrations, runs, &starts, &memory))
        return 1;
    // The same with the demo schedule, which is what a person trying the notifier runs: three events,
    // one of them counting down.
    HalvanedProcess demo;
    std::vector<double> demoStarts;
    std::vector<double> demoMemory;
    if (!demo.start({ QStringLiteral("--demo") })
        || !startRuns(demo.serviceName(), registrations, runs, &demoStarts, &demoMemory))
        return 1;
    // Not left running beside the count-down phases it has no part in.
    demo.stop();
    auto bareApp = startProgram(bare, QString());
    // Qt falls back to the XEmbed tray when no host is registered as the icon is made; that yardstick sends
    // nothing on the bus and draws its tool tip elsewhere, so it would compare different things.
    if (!registrations.waitFor(bareApp->processId())) {
        std::fprintf(stderr, "the bare tray app's item did not register with the watcher\n");
        return 1;
    }
    idle(2);
    const long bareMemory = BenchProcess::residentKiBUntrimmed(QString::number(bareApp->processId()));
    std::printf("start until the item is registered, 1,000 pending: median %.0f ms over %d runs (goal <= 100)\n",
                BenchStatistics::median(starts), runs);
    // The goal is in MB (10^6 bytes); MiB beside it as the kernel counts.
    std::printf("resident memory 2 s after start: notifier median %.1f MB (%.1f MiB) with 1,000 pending, %.1f MB "
                "(%.1f MiB) with the demo schedule; bare tray app %.1f MB (goal <= 32 MB)\n",
                BenchStatistics::median(memory) * 1.024e-3, BenchStatistics::median(memory) / 1024.0,
                BenchStatistics::median(demoMemory) * 1.024e-3, BenchStatistics::median(demoMemory) / 1024.0,
                double(bareMemory) * 1.024e-3);

    // Counting down, side by side over the same minute: the whole notifier, whose count-down panel is on
    // screen as well, then its status item alone (the other notifiers switched off in the preferences).
    if (!countDownBeside(QStringLiteral("whole notifier"), client, service.serviceName(), *bareApp, registrations,
                         seconds, runs))
        return 1;
    QFile domain(home.filePath(QStringLiteral("config/halvane/org.halvane.scheduler.plist")));
    QDir().mkpath(home.filePath(QStringLiteral("config/halvane")));
    if (domain.open(QIODevice::WriteOnly)) {
        domain.write("<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                     "<key>notifier.notifications</key><false/><key>notifier.notification-center</key><false/>"
                     "<key>notifier.warning</key><false/></dict></plist>");
        domain.close();
    }
    if (!countDownBeside(QStringLiteral("status item alone"), client, service.serviceName(), *bareApp, registrations,
                         seconds, runs))
        return 1;
    stopProgram(bareApp.get());

    // Nothing pending: a service with an empty schedule.
    HalvanedProcess empty;
    if (!empty.start({ QStringLiteral("--dry-run") })) {
        std::fprintf(stderr, "the second halvaned did not start\n");
        return 1;
    }
    auto quiet = startProgram(QStringLiteral(TRISK_NOTIFIER_PATH), empty.serviceName());
    const qint64 quietPid = quiet->processId();
    if (!registrations.waitFor(quietPid)) {
        std::fprintf(stderr, "nothing pending: the notifier's item did not register\n");
        return 1;
    }
    idle(5);
    const Counters quietBefore = countersOf(quietPid);
    idle(idleSeconds);
    const Counters quietAfter = countersOf(quietPid);
    // A program that has ended wakes up no more either.
    if (quiet->state() != QProcess::Running) {
        std::fprintf(stderr, "nothing pending: the notifier ended while it was measured\n");
        return 1;
    }
    std::printf("nothing pending, over %d s: %.1f wake-ups (context switches) per minute, %.2f ms CPU per minute "
                "(goal 0)\n",
                idleSeconds, double(quietAfter.switches - quietBefore.switches) * 60.0 / idleSeconds,
                (quietAfter.cpuMSecs - quietBefore.cpuMSecs) * 60.0 / idleSeconds);
    stopProgram(quiet.get());
    panel.terminate();
    panel.waitForFinished(5000);
    return 0;
}

#include "bench_tray.moc"
