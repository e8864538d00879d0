// Request round trip through TriskVXRequestsController::sendRequestLocalisedSummary to the real halvaned
// and back to the completion, and a bare D-Bus call for comparison; and the time from a store change
// requested of halvaned to the observer's change notice. Run under dbus-run-session (bench/run).
#include "BenchStatistics.h"
#include "HalvanedProcess.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXNotificationCenter.h"
#include "TriskVXObserver.h"
#include "TriskVXRequest.h"
#include "TriskVXRequestsController.h"
#include "WaitFor.h"
#include "halvane_properties_interface.h"

#include <QCoreApplication>
#include <QDBusPendingCallWatcher>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QTimeZone>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("trisk.*.info=false\nhalvane.*.info=false"));
    QTextStream out(stdout);
    const int count = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 10000;

    HalvanedProcess service;
    if (!service.start()) {
        out << "cannot start halvaned" << Qt::endl;
        return 1;
    }
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    if (!waitFor([&] {
            return connection->isValid();
        })) {
        out << "cannot connect" << Qt::endl;
        return 1;
    }
    std::unique_ptr<TriskVXRequestsController> requests(
        TriskVXRequestsController::requestsControllerWithConnection(connection.get()));

    // Requests controller round trip: one request at a time, from the send to the pending-empty notice.
    bool done = false;
    QObject *token = TriskVXNotificationCenter::defaultCenter()->addObserverForNameObjectQueueUsingBlock(
        TriskVXRequestsControllerNotificationPendingEmpty, requests.get(), nullptr, [&](const TriskVXNotification &) {
            done = true;
        });
    const TriskVXRequest reset
        = TriskVXRequest::requestWithRequestValueForParameter(kVXRPCSchedulerSetEnabled, true, kVXRPCParameterEnabled);
    QList<qint64> roundTrips;
    roundTrips.reserve(count);
    QElapsedTimer timer;
    for (int i = 0; i < count; ++i) {
        done = false;
        timer.start();
        requests->sendRequestLocalisedSummary(&reset, QStringLiteral("bench"));
        while (!done)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        roundTrips.append(timer.nsecsElapsed());
    }
    TriskVXNotificationCenter::defaultCenter()->removeObserver(token);
    BenchStatistics::report(out, QStringLiteral("sendRequest:localisedSummary: round trip"), roundTrips);

    // The same transport without the framework: Properties.Get of a boolean, asynchronous.
    OrgFreedesktopDBusPropertiesInterface properties(service.serviceName(), kVXDBusObjectPath,
                                                     QDBusConnection::sessionBus());
    QList<qint64> bare;
    bare.reserve(count);
    for (int i = 0; i < count; ++i) {
        timer.start();
        QDBusPendingCallWatcher watcher(properties.Get(kVXDBusInterface, kVXObserveSchedulerEnabled));
        bool finished = false;
        QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, [&] {
            finished = true;
        });
        while (!finished)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        bare.append(timer.nsecsElapsed());
    }
    BenchStatistics::report(out, QStringLiteral("bare asynchronous D-Bus call (Properties.Get)"), bare);

    // Store change to change notice: the request that changes the store is sent, and the clock stops when
    // the observer announces the new pending list (the service publishes before it answers).
    TriskVXObserver observer(connection.get());
    bool reloaded = false;
    QObject::connect(&observer, &TriskVXObserver::reloaded, [&] {
        reloaded = true;
    });
    waitFor([&] {
        return reloaded;
    });
    bool noticed = false;
    QObject::connect(&observer, &TriskVXObserver::schedulerPendingChanged, [&] {
        noticed = true;
    });
    const int changes = qMin(count, 2000);
    QList<qint64> notices;
    const QDateTime base = QDateTime::currentDateTimeUtc().addYears(1);
    const QVariantMap event { { kVXEventUniqueID, QStringLiteral("bench") },
                              { kVXEventName, QStringLiteral("Bench") } };
    for (int i = 0; i < changes; ++i) {
        QVariantMap changed = event;
        changed.insert(kVXEventTriggers,
                       QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                                    { kVXTriggerDate, base.addSecs(i) },
                                                    { kVXTriggerIdentifier, QStringLiteral("bench-trigger") } } });
        const TriskVXRequest store(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { changed } } });
        noticed = false;
        timer.start();
        connection->send(&store, nullptr);
        while (!noticed)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        notices.append(timer.nsecsElapsed());
    }
    BenchStatistics::report(out, QStringLiteral("store request to observer change notice"), notices);
    return 0;
}
