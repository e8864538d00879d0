// The status menu with a large schedule (issue 13), against the real halvaned on its test clock and a
// panel's side of the bus in this process: with 10,000 pending triggers, what the panel's GetLayout(0, -1)
// and AboutToShow(0) cost and how big the layout is; the notifier's resident memory; and a burst of 100
// firings within one second: how many reports came, how many rebuilds the panel heard of, the longest
// time the event loop did not turn, and the memory afterwards; then the trisk-notifier program itself
// against the same service, and what it holds once a panel has read its menu.
// Usage: bench_statusmenu_scale [EVENTS]
#include "BenchEvents.h"
#include "BenchProcess.h"
#include "FakeStatusNotifierWatcher.h"
#include "HalvanedProcess.h"
#include "NotifierResources.h"
#include "ServiceClient.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusMenuExporter.h"
#include "TriskVXDBusMenuTypes.h"
#include "TriskVXDesktopStatusBar.h"
#include "TriskVXRequestsController.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"
#include "TriskVXStatusMenuController.h"
#include "TriskVXStatusNotifierItem.h"
#include "WaitFor.h"

#include <QApplication>
#include <QDBusArgument>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QProcess>
#include <QTimeZone>
#include <QTimer>

#include <cstdio>

namespace {
const int kWait = 120000;
const int kBurst = 100;
const QString kMenuInterface = QStringLiteral("com.canonical.dbusmenu");

double mainThreadCpuMSecs()
{
    rusage usage {};
    getrusage(RUSAGE_THREAD, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000.0
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000.0;
}

// What the layout weighs on the bus: ids, property names and values, and the framing of each item
// (structure, array and variant headers with their alignment, about 24 bytes).
qsizetype wireSizeOf(const TriskVXDBusMenuLayoutItem &item)
{
    qsizetype size = 24;
    for (auto it = item.properties.cbegin(); it != item.properties.cend(); ++it) {
        size += 8 + it.key().toUtf8().size() + 8;
        const QVariant &value = it.value();
        if (value.typeId() == QMetaType::QByteArray)
            size += value.toByteArray().size();
        else if (value.typeId() == QMetaType::QString)
            size += value.toString().toUtf8().size() + 1;
        else
            size += 4;
    }
    for (const TriskVXDBusMenuLayoutItem &child : item.children)
        size += wireSizeOf(child);
    return size;
}

qsizetype itemsIn(const TriskVXDBusMenuLayoutItem &item)
{
    qsizetype count = 1;
    for (const TriskVXDBusMenuLayoutItem &child : item.children)
        count += itemsIn(child);
    return count;
}

// The longest time between two turns of the event loop, seen by a timer that asks to run every 5 ms.
class StallMeter : public QObject
{
public:
    StallMeter()
    {
        m_timer.setInterval(5);
        m_timer.setTimerType(Qt::PreciseTimer);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            const qint64 gap = m_sinceTick.restart();
            const double cpu = mainThreadCpuMSecs();
            if (gap > 200 && qEnvironmentVariableIsSet("BENCH_STALLS"))
                std::printf("    stall of %lld ms, %.0f ms of it working\n", static_cast<long long>(gap), cpu - m_cpu);
            m_cpu = cpu;
            m_longest = std::max(m_longest, gap);
        });
    }
    void start()
    {
        m_longest = 0;
        m_cpu = mainThreadCpuMSecs();
        m_sinceTick.start();
        m_timer.start();
    }
    qint64 stop()
    {
        m_timer.stop();
        return m_longest;
    }

private:
    QTimer m_timer;
    QElapsedTimer m_sinceTick;
    qint64 m_longest = 0;
    double m_cpu = 0;
};

// One call as a panel makes it: asynchronous, so that this process answers meanwhile.
QDBusMessage hostCall(const QDBusConnection &host, const QString &service, const QString &method,
                      const QVariantList &arguments, double *msecs)
{
    QDBusMessage message
        = QDBusMessage::createMethodCall(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, method);
    message.setArguments(arguments);
    QElapsedTimer timer;
    timer.start();
    QDBusPendingCall pending = host.asyncCall(message, kWait);
    waitFor(
        [&pending] {
            return pending.isFinished();
        },
        kWait);
    *msecs = double(timer.nsecsElapsed()) / 1e6;
    return pending.reply();
}

TriskVXDBusMenuLayoutItem readLayout(const QDBusConnection &host, const QString &service, double *msecs)
{
    TriskVXDBusMenuLayoutItem layout;
    const QVariant argument
        = hostCall(host, service, QStringLiteral("GetLayout"), { 0, -1, QStringList() }, msecs).arguments().value(1);
    if (argument.canConvert<QDBusArgument>())
        argument.value<QDBusArgument>() >> layout;
    return layout;
}

void measureHost(const QDBusConnection &host, const QString &service, const char *when)
{
    double getLayout = 0;
    const TriskVXDBusMenuLayoutItem layout = readLayout(host, service, &getLayout);
    double aboutToShow = 0;
    hostCall(host, service, QStringLiteral("AboutToShow"), { 0 }, &aboutToShow);
    double afterShow = 0;
    hostCall(host, service, QStringLiteral("GetLayout"), { 0, -1, QStringList() }, &afterShow);
    std::printf("  %s: GetLayout(0, -1) %.1f ms, %lld items, about %.1f KiB; AboutToShow(0) %.1f ms; GetLayout "
                "after it %.1f ms\n",
                when, getLayout, static_cast<long long>(itemsIn(layout)), double(wireSizeOf(layout)) / 1024.0,
                aboutToShow, afterShow);
}

void printMemory(const char *when)
{
    const long untrimmed = BenchProcess::residentKiBUntrimmed();
    std::printf("  resident memory %s: %.1f MiB (%.1f MiB once the heap's free pages are returned)\n", when,
                double(untrimmed) / 1024.0, double(BenchProcess::residentKiB()) / 1024.0);
}
// The benchmark's schedule, stored in requests of at most 1,000 events.
bool storeSchedule(ServiceClient &client, int count, const QDateTime &now)
{
    QVariantList events = benchEvents(count - kBurst, now);
    for (int i = 0; i < kBurst; ++i) {
        QVariantMap event = benchEvents(1, now).first().toMap();
        event.insert(kVXEventUniqueID, QStringLiteral("burst%1").arg(i));
        event.insert(kVXEventName, QStringLiteral("Burst %1").arg(i));
        event.insert(kVXEventTriggers,
                     QVariantList { QVariantMap { { kVXTriggerIdentifier, QStringLiteral("b%1").arg(i) },
                                                  { kVXTriggerType, kVXTriggerType_Once },
                                                  { kVXTriggerDate, now.addMSecs(60000 + i * 10) } } });
        events.append(event);
    }
    // A store request carries at most 2,000 events (docs/protocol.md, "Limits").
    for (qsizetype first = 0; first < events.size(); first += 1000) {
        if (!client.request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events.mid(first, 1000) } })) {
            return false;
        }
    }
    return true;
}
// The trisk-notifier program itself against the same service: once its item is registered and a panel
// has read and opened the menu, what it holds. Its memory is read as the system sees it, untrimmed.
bool measureProgram(const HalvanedProcess &service, FakeStatusNotifierWatcher &watcher, int pending)
{
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HALVANE_SERVICE"), service.serviceName());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    // The program reads its whole resource folder, beside it in the build tree.
    environment.remove(QStringLiteral("TRISK_RESOURCES"));
    program.setProcessEnvironment(environment);
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QString itemService;
    QObject::connect(&watcher, &FakeStatusNotifierWatcher::StatusNotifierItemRegistered, &program,
                     [&itemService](const QString &registered) {
                         itemService = registered;
                     });
    QElapsedTimer timer;
    timer.start();
    program.start(QCoreApplication::applicationDirPath() + QStringLiteral("/../bin/trisk-notifier"), {});
    if (!waitFor(
            [&itemService] {
                return !itemService.isEmpty();
            },
            kWait)) {
        std::fprintf(stderr, "trisk-notifier did not register its item\n");
        return false;
    }
    std::printf("trisk-notifier with %d pending triggers (item registered after %.0f ms):\n", pending,
                double(timer.nsecsElapsed()) / 1e6);
    // Until the menu lists the schedule: its sections are full and end in a "more" line.
    waitFor(
        [&watcher, &itemService] {
            double msecs = 0;
            return itemsIn(readLayout(watcher.connection(), itemService, &msecs)) > 100;
        },
        kWait);
    measureHost(watcher.connection(), itemService, "the panel reads its menu");
    const QString pid = QString::number(program.processId());
    std::printf("  its resident memory: %.1f MiB", double(BenchProcess::residentKiBUntrimmed(pid)) / 1024.0);
    // The menu hands the heap's free pages back a while after the reports stop coming.
    QElapsedTimer settling;
    settling.start();
    waitFor(
        [&settling] {
            return settling.hasExpired(3000);
        },
        kWait);
    std::printf(", %.1f MiB three seconds later\n", double(BenchProcess::residentKiBUntrimmed(pid)) / 1024.0);
    program.terminate();
    program.waitForFinished(kWait);
    return true;
}
} // namespace

int main(int argc, char *argv[])
{
    NotifierResources resources({ QStringLiteral("Info.plist"), QStringLiteral("TriskVXStatusMenuController.plist"),
                                  QStringLiteral("TriskVXStatusMenuController.ui") });
    resources.use();
    QApplication application(argc, argv);
    const int count = argc > 1 ? QByteArray(argv[1]).toInt() : 10000;
    TriskVXBundle::mainBundle()->installTranslations();
    registerTriskVXDBusMenuTypes();

    const QDateTime now(QDate(2030, 6, 1), QTime(8, 0), QTimeZone("Europe/Berlin"));
    TriskVXClock clock;
    clock.setTimeZone(now.timeZone());
    clock.setNow(now);
    HalvanedProcess service;
    if (!service.start({ QStringLiteral("--test-clock"), QStringLiteral("--dry-run") })
        || !service.setTestTimeZone(now.timeZone().id()) || !service.setTestNow(now)) {
        std::fprintf(stderr, "halvaned did not start\n");
        return 1;
    }
    ServiceClient client(service.location());
    client.setTimeout(kWait);
    if (!client.ready()) {
        std::fprintf(stderr, "halvaned did not answer\n");
        return 1;
    }
    // As the notifier's controller sets it up.
    client.observer()->setTakesNewestOnly(true);
    std::unique_ptr<TriskVXRequestsController> requests(
        TriskVXRequestsController::requestsControllerWithConnection(client.connection()));
    TriskVXStatusBar bar;
    TriskVXStatusMenuController controller;
    controller.setStatusBar(&bar);
    controller.setClock(&clock);
    if (!controller.initWithObserverRequests(client.observer(), requests.get())) {
        std::fprintf(stderr, "the status menu did not start\n");
        return 1;
    }
    FakeStatusNotifierWatcher watcher;
    watcher.start();
    TriskVXDesktopStatusBar desktop(&bar, QDBusConnection::sessionBus());
    TriskVXStatusNotifierItem *exported = desktop.statusNotifierItem(controller.statusItem());
    if (!exported) {
        std::fprintf(stderr, "the status item is not on the bus\n");
        return 1;
    }
    const QString itemService = exported->serviceName();
    int reports = 0;
    QObject::connect(client.observer(), &TriskVXObserver::didChangeValueForKeyPath, &controller, [&reports] {
        ++reports;
    });
    int layoutUpdates = 0;
    QObject::connect(exported->findChild<TriskVXDBusMenuExporter *>(), &TriskVXDBusMenuExporter::LayoutUpdated,
                     &controller, [&layoutUpdates] {
                         ++layoutUpdates;
                     });
    printMemory("with halvaned's client, before any event");

    // The schedule: the benchmark's events, and a hundred more that fire within one second a minute from now.
    // The service's limit is 10,000 events in all: the burst is part of the count. The list is this
    // program's own and is gone before the notifier's memory is read.
    QElapsedTimer timer;
    timer.start();
    if (!storeSchedule(client, count, now)) {
        std::fprintf(stderr, "halvaned did not take the events\n");
        return 1;
    }
    const auto settledAt = [&controller](qsizetype pending) {
        return waitFor(
            [&controller, pending] {
                return controller.pendingEvents().toList().size() == pending
                    && controller.activeEvents().toList().isEmpty() && !controller.isRebuildScheduled();
            },
            kWait);
    };
    if (!settledAt(count)) {
        std::fprintf(stderr, "the menu did not follow the store\n");
        return 1;
    }
    std::printf("status menu with %d pending triggers (stored and shown in %.0f ms):\n", count,
                double(timer.nsecsElapsed()) / 1e6);
    measureHost(watcher.connection(), itemService, "the panel reads the menu");
    // What the status menu's malloc_trim costs on a heap of this size with pages to hand back.
    const long untrimmed = BenchProcess::residentKiBUntrimmed();
    timer.restart();
    malloc_trim(0);
    std::printf("  handing %.1f MiB of free heap pages back took %.1f ms\n",
                double(untrimmed - BenchProcess::residentKiBUntrimmed()) / 1024.0, double(timer.nsecsElapsed()) / 1e6);
    printMemory("with the menu exported");

    // The burst: the service's clock moves past the hundred firings; each firing and each end of a
    // performance is a report.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    const long before = BenchProcess::residentKiB();
    reports = 0;
    layoutUpdates = 0;
    StallMeter stalls;
    const double cpuBefore = mainThreadCpuMSecs();
    stalls.start();
    timer.restart();
    QDBusMessage setNow
        = QDBusMessage::createMethodCall(service.serviceName(), QStringLiteral("/org/halvane/SchedulerTest"),
                                         QStringLiteral("org.halvane.SchedulerTest1"), QStringLiteral("SetNow"));
    setNow << now.addSecs(61).toMSecsSinceEpoch();
    QDBusConnection::sessionBus().asyncCall(setNow);
    if (!settledAt(count - kBurst)) {
        std::fprintf(stderr, "the burst did not end\n");
        return 1;
    }
    const double burstMSecs = double(timer.nsecsElapsed()) / 1e6;
    const qint64 longest = stalls.stop();
    const double cpu = mainThreadCpuMSecs() - cpuBefore;
    std::printf("a burst of %d firings within one second:\n", kBurst);
    std::printf("  %d reports in %.0f ms; the panel heard of %d new layouts; longest the event loop did not turn: "
                "%lld ms\n",
                reports, burstMSecs, layoutUpdates, static_cast<long long>(longest));
    std::printf("  the event loop's thread worked %.0f ms of it\n", cpu);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    printMemory("after the burst");
    std::printf("  after the burst, against before it: %+.1f MiB\n",
                double(BenchProcess::residentKiB() - before) / 1024.0);
    measureHost(watcher.connection(), itemService, "the panel reads the menu again");
    return measureProgram(service, watcher, count - kBurst) ? 0 : 1;
}
