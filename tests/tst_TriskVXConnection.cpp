// The client's link to the scheduler service: where it looks for the service, authentication, requests and
// their answers, the service leaving, crashing, hanging and coming back, and a service that answers wrongly.
#include "FakeScheduler.h"
#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "TriskVXClock.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXLocalService.h"
#include "WaitFor.h"

#include <QDBusPendingCallWatcher>
#include <QSignalSpy>
#include <QTest>

namespace {
const int kWait = 10000;

// The service answers a connection's calls in order: once this ping is answered, every call the
// connection made before it has had its answer delivered too.
bool roundTrip(const TriskVXServiceLocation &location)
{
    const QDBusMessage ping = QDBusMessage::createMethodCall(
        location.serviceName(), kVXDBusObjectPath, QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping"));
    QDBusPendingCallWatcher watcher(location.bus().asyncCall(ping));
    QSignalSpy finished(&watcher, &QDBusPendingCallWatcher::finished);
    return finished.wait(kWait) && !watcher.isError();
}

std::optional<TriskVXResponse> answerTo(TriskVXConnection *connection)
{
    std::optional<TriskVXResponse> answer;
    const TriskVXRequest request = TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset);
    if (connection->send(&request, [&](const TriskVXResponse &response) {
            answer = response;
        }))
        waitFor([&] {
            return answer.has_value();
        });
    return answer;
}
} // namespace

class tst_TriskVXConnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutTheService();
    void serviceLeavesCrashesAndComesBack();
    void keepAliveNoticesAHungService();
    void serviceThatAnswersWrongly();
};

void tst_TriskVXConnection::withoutTheService()
{
    // Set but empty counts as unset.
    qputenv("HALVANE_BUS", QByteArray());
    qputenv("HALVANE_SERVICE", QByteArray());
    const TriskVXServiceLocation fallback = TriskVXServiceLocation::fromEnvironment();
    QCOMPARE(fallback.busDescription(), QStringLiteral("session"));
    QCOMPARE(fallback.serviceName(), kVXDBusServiceName);
    qputenv("HALVANE_BUS", "unix:path=/nonexistent/bus");
    QCOMPARE(TriskVXConnection::connection(), nullptr);
    qunsetenv("HALVANE_BUS");
    qunsetenv("HALVANE_SERVICE");

    // A bus without the service is no error: the service may come later.
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(
        TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), HalvanedProcess::uniqueServiceName())));
    QSignalSpy failed(connection.get(), &TriskVXConnection::connectionAttemptFailed);
    QVERIFY(failed.wait(kWait));
    QVERIFY(!connection->isValid());
    QVERIFY(!answerTo(connection.get()));
}

void tst_TriskVXConnection::serviceLeavesCrashesAndComesBack()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    // A bus given by address is reached as well.
    qputenv("HALVANE_BUS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    qputenv("HALVANE_SERVICE", service.serviceName().toUtf8());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connection());
    TriskVXLocalService local;
    qunsetenv("HALVANE_BUS");
    qunsetenv("HALVANE_SERVICE");
    QVERIFY(connection);
    const TriskVXServiceLocation location = connection->location();
    QCOMPARE(location.serviceName(), service.serviceName());
    connection->setAutoReconnect(true);
    QStringList events;
    connect(connection.get(), &TriskVXConnection::didAuthenticate, this, [&] {
        events.append(connection->isAuthenticated() ? QStringLiteral("accepted") : QStringLiteral("refused"));
    });
    connect(connection.get(), &TriskVXConnection::didBecomeInvalid, this, [&] {
        events.append(QStringLiteral("invalid"));
    });
    QTRY_COMPARE_WITH_TIMEOUT(events, QStringList { QStringLiteral("accepted") }, kWait);
    QTRY_COMPARE_WITH_TIMEOUT(local.url(), location.url(), kWait);

    // The handler runs once, after send has returned.
    bool returned = false;
    int calls = 0;
    const TriskVXRequest reset = TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset);
    QVERIFY(connection->send(&reset, [&](const TriskVXResponse &response) {
        QVERIFY(returned && response.succeeded());
        ++calls;
    }));
    returned = true;
    QTRY_COMPARE_WITH_TIMEOUT(calls, 1, kWait);

    // Requests in flight when the service crashes fail, each once.
    service.pause();
    QList<qint64> statuses;
    for (int i = 0; i < 3; ++i)
        QVERIFY(connection->send(&reset, [&](const TriskVXResponse &response) {
            statuses.append(response.succeeded() ? qint64(kVXStatusOK) : response.status());
        }));
    QVERIFY(service.kill());
    QTRY_COMPARE_WITH_TIMEOUT(statuses.size(), 3, kWait);
    for (qint64 status : std::as_const(statuses))
        QVERIFY2(status == kVXStatusNoReply || status == kVXStatusServiceUnavailable,
                 qPrintable(QString::number(status)));
    QTRY_VERIFY_WITH_TIMEOUT(events.contains(QStringLiteral("invalid")), kWait);
    QVERIFY(!connection->isAuthenticated());
    QTRY_VERIFY_WITH_TIMEOUT(local.url().isEmpty(), kWait);

    // Back on the bus: reconnected without being asked.
    QVERIFY(service.start());
    QTRY_COMPARE_WITH_TIMEOUT(events.size(), 3, kWait);
    QVERIFY(answerTo(connection.get())->succeeded());
    QCOMPARE(calls, 1);
    QCOMPARE(statuses.size(), 3);
    QCOMPARE(events,
             (QStringList { QStringLiteral("accepted"), QStringLiteral("invalid"), QStringLiteral("accepted") }));

    // Without auto-reconnect it stays away until asked.
    connection->setAutoReconnect(false);
    QVERIFY(service.stop());
    QTRY_VERIFY_WITH_TIMEOUT(!connection->isValid(), kWait);
    QVERIFY(service.start());
    // The local service hears of the new owner from the same bus signal as the connection.
    QTRY_VERIFY_WITH_TIMEOUT(!local.url().isEmpty(), kWait);
    QVERIFY(roundTrip(location));
    QVERIFY(!connection->isValid());
    connection->connect();
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
}

void tst_TriskVXConnection::keepAliveNoticesAHungService()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    TriskVXClock clock;
    clock.setNow(QDateTime::currentDateTimeUtc());
    connection->setClock(&clock);
    connection->setKeepAlive(true);
    QSignalSpy invalid(connection.get(), &TriskVXConnection::didBecomeInvalid);
    // Each interval sends a ping; answered ones keep the connection.
    for (int i = 0; i < 3; ++i) {
        clock.advance(connection->keepAliveInterval());
        QVERIFY(roundTrip(service.location()));
    }
    service.pause();
    clock.advance(connection->keepAliveInterval());
    QVERIFY(connection->isValid());
    // One interval without an answer: the service hangs.
    clock.advance(connection->keepAliveInterval());
    QCOMPARE(invalid.count(), 1);
    QVERIFY(!connection->isValid());
}

void tst_TriskVXConnection::serviceThatAnswersWrongly()
{
    FakeScheduler fake;
    fake.protocolVersion = kVXProtocolVersion + 1;
    QVERIFY(fake.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(fake.location()));
    QSignalSpy failed(connection.get(), &TriskVXConnection::connectionAttemptFailed);
    QVERIFY(failed.wait(kWait));
    QVERIFY(failed.first().first().toString().contains(QStringLiteral("protocol version")));
    QVERIFY(!connection->isValid());

    fake.protocolVersion = kVXProtocolVersion;
    fake.malformedReplies = true;
    connection->connect();
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    LogCapture log;
    const std::optional<TriskVXResponse> response = answerTo(connection.get());
    QVERIFY(response && !response->succeeded());
    QCOMPARE(response->status(), qint64(kVXStatusMalformedReply));
    QCOMPARE(log.messages("trisk.halvane").filter(QStringLiteral("malformed reply to SchedulerReset")).size(), 1);
    QVERIFY(connection->isValid());
}

QTEST_GUILESS_MAIN(tst_TriskVXConnection)
#include "tst_TriskVXConnection.moc"
