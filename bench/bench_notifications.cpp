// The desktop notifications' figures: from the service making a trigger current to Notify arriving at a
// notification server; reconciling 500 current triggers against 500 delivered notifications after one
// change; reading an update feed of 1,000 releases.
// Usage: bench_notifications [RUNS]   (on a private session bus)
#include "BenchService.h"
#include "BenchStatistics.h"
#include "HalvanedProcess.h"
#include "NotifierResources.h"
#include "RecordingNotificationServer.h"
#include "ServiceClient.h"
#include "TriskUDReleasesFeed.h"
#include "TriskUDUpdrift.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXRequestsController.h"
#include "TriskVXUserNotificationCenter.h"
#include "TriskVXUserNotificationController.h"
#include "WaitFor.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTimeZone>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {
const QDateTime kStart(QDate(2030, 6, 1), QTime(8, 0), QTimeZone::utc());
const qint64 kSpacing = 1000;
const qint64 kNotice = 300;

void report(const char *what, const std::vector<double> &values)
{
    std::printf("%s (%zu runs): median %.3f ms, min %.3f ms, max %.3f ms\n", what, values.size(),
                BenchStatistics::median(values), *std::min_element(values.begin(), values.end()),
                *std::max_element(values.begin(), values.end()));
}

QVariantMap queued(int i)
{
    return { { kVXQueuedTriggerTriggerID, QStringLiteral("T%1").arg(i) },
             { kVXQueuedTriggerEvent, QVariantMap { { kVXEventName, QStringLiteral("Event %1").arg(i) } } },
             { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, kStart.addSecs(i) } } } };
}

bool measureLatency(int runs)
{
    RecordingNotificationServer server;
    HalvanedProcess service;
    if (!server.start() || !startWithSpacedEvents(service, runs, kStart, kSpacing, kNotice)) {
        std::fprintf(stderr, "the notification server or halvaned did not start\n");
        return false;
    }
    ServiceClient client(service.location());
    if (!client.ready())
        return false;
    std::unique_ptr<TriskVXRequestsController> requests(
        TriskVXRequestsController::requestsControllerWithConnection(client.connection()));
    TriskVXClock clock;
    clock.setNow(kStart);
    TriskVXUserNotificationCenter center(QDBusConnection::sessionBus(), RecordingNotificationServer::testService());
    waitFor([&] {
        return center.isServerAvailable();
    });
    TriskVXUserNotificationController controller(&center, &clock);
    controller.initWithObserverRequests(client.observer(), requests.get());
    controller.refresh();

    QElapsedTimer elapsed;
    elapsed.start();
    QHash<QString, qint64> arrived;
    server.setOnNotify([&](const RecordingNotificationServer::Notification &notification) {
        arrived.insert(notification.summary, elapsed.nsecsElapsed());
    });
    std::vector<double> latencies;
    for (int i = 0; i < runs; ++i) {
        const QDateTime now = kStart.addSecs((i + 1) * kSpacing - kNotice + 1);
        clock.setNow(now);
        const QString name = QStringLiteral("Event %1").arg(i);
        const qint64 sent = elapsed.nsecsElapsed();
        service.setTestNow(now);
        if (!waitFor([&] {
                return arrived.contains(name);
            })) {
            std::fprintf(stderr, "no notification for %s\n", qPrintable(name));
            return false;
        }
        latencies.push_back(double(arrived.value(name) - sent) / 1e6);
    }
    report("service clock moved to Notify at the server", latencies);
    return true;
}

void measureReconciliation(int runs)
{
    // No server: the centre only keeps its list, so this is the reconciliation alone.
    TriskVXUserNotificationCenter center(QDBusConnection::sessionBus(), QStringLiteral("org.halvane.Bench.Nobody"));
    TriskVXClock clock;
    clock.setNow(kStart);
    TriskVXUserNotificationController controller(&center, &clock);
    controller.init();
    QVariantList current;
    for (int i = 0; i < 500; ++i)
        current.append(queued(i));
    controller.observedVariableDidBecome(kVXObserveNotificationsCurrent, current);
    std::vector<double> times;
    QElapsedTimer elapsed;
    for (int run = 0; run < runs; ++run) {
        // One trigger leaves, another comes.
        current.removeFirst();
        current.append(queued(500 + run));
        elapsed.start();
        controller.observedVariableDidBecome(kVXObserveNotificationsCurrent, current);
        times.push_back(double(elapsed.nsecsElapsed()) / 1e6);
    }
    report("reconciling 500 current against 500 delivered, one change", times);
}

void measureFeed(int runs)
{
    QByteArray feed = "<?xml version=\"1.0\"?>\n<component><id>org.halvane.TriskNotifier</id><releases>\n";
    for (int i = 1000; i > 0; --i)
        feed += "<release version=\"1." + QByteArray::number(i / 100) + "." + QByteArray::number(i % 100)
            + "\" date=\"2030-01-01\">"
              "<description><p>Fixes and improvements.</p></description><url>https://halvane.org/r/"
            + QByteArray::number(i) + "</url></release>\n";
    feed += "</releases></component>\n";
    std::vector<double> times;
    QElapsedTimer elapsed;
    qsizetype updates = 0;
    for (int run = 0; run < runs; ++run) {
        elapsed.start();
        QString error;
        updates = TriskUDUpdrift::updatesNewerThan(TriskUDReleasesFeed::parse(feed, &error), QStringLiteral("1.5.0"))
                      .size();
        times.push_back(double(elapsed.nsecsElapsed()) / 1e6);
    }
    std::printf("feed of 1,000 releases (%lld bytes), %lld newer\n", qint64(feed.size()), qint64(updates));
    report("reading the feed and choosing the updates", times);
}
} // namespace

int main(int argc, char *argv[])
{
    NotifierResources resources({ QStringLiteral("Info.plist") });
    resources.use();
    QApplication application(argc, argv);
    const int runs = argc > 1 ? QByteArray(argv[1]).toInt() : 30;
    TriskVXBundle::mainBundle()->installTranslations();
    measureReconciliation(200);
    measureFeed(50);
    return measureLatency(runs) ? 0 : 1;
}
