#include "FakeScheduler.h"
#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "TriskVXConnection.h"
#include "TriskVXConnectionDelegate.h"
#include "TriskVXConstants.h"
#include "TriskVXNotificationCenter.h"

#include <QSignalSpy>
#include <QTest>

namespace {
class CountingDelegate : public TriskVXConnectionDelegate
{
public:
    void connectionDidInvalidate(TriskVXConnection *connection) override
    {
        ++calls;
        last = connection;
    }
    int calls = 0;
    TriskVXConnection *last = nullptr;
};

// Counts the connection's notifications on the default centre.
class NotificationCounter
{
public:
    explicit NotificationCounter(QObject *object)
    {
        m_token = TriskVXNotificationCenter::defaultCenter()->addObserverForNameObjectQueueUsingBlock(
            QString(), object, nullptr, [this](const TriskVXNotification &notification) {
                names.append(notification.name());
            });
    }
    ~NotificationCounter() { TriskVXNotificationCenter::defaultCenter()->removeObserver(m_token); }
    int count(const QString &name) const { return int(names.count(name)); }
    QStringList names;

private:
    QObject *m_token;
};

const int kWait = 10000;
} // namespace

class tst_TriskVXConnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nilWithoutABus();
    void authenticates();
    void defaultConnectionFollowsTheEnvironment();
    void refusedAuthenticationIsStillReported();
    void otherProtocolVersionIsRefused();
    void completionRunsOnceAfterSendReturned();
    void sendRefusedWhileInvalid();
    void serviceLeavesAndComesBack();
    void withoutAutoReconnectStaysInvalid();
    void requestsInFlightAtStopCompleteOnce();
    void keepAliveNoticesAHungService();
    void unknownRequestName();
    void malformedReply();
    void statusForError_data();
    void statusForError();
};

void tst_TriskVXConnection::nilWithoutABus()
{
    const QDBusConnection nowhere
        = QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"), QStringLiteral("nowhere"));
    QVERIFY(!nowhere.isConnected());
    QCOMPARE(TriskVXConnection::connectionWithLocation(TriskVXServiceLocation::onBus(nowhere, kVXDBusServiceName)),
             nullptr);
    // A bus without the service is not nil: the service may come later.
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(
        TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), HalvanedProcess::uniqueServiceName())));
    QVERIFY(connection);
    QSignalSpy failed(connection.get(), &TriskVXConnection::connectionAttemptFailed);
    QVERIFY(failed.wait(kWait));
    QVERIFY(!connection->isValid());
}

void tst_TriskVXConnection::authenticates()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    NotificationCounter notifications(connection.get());
    QVERIFY(!connection->isValid());
    QTRY_COMPARE_WITH_TIMEOUT(notifications.count(TriskVXConnectionNotificationDidAuthenticate), 1, kWait);
    QVERIFY(connection->isValid());
    QVERIFY(connection->isAuthenticated());
    QCOMPARE(notifications.count(TriskVXConnectionNotificationDidBecomeInvalid), 0);
}

void tst_TriskVXConnection::defaultConnectionFollowsTheEnvironment()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    qputenv("HALVANE_SERVICE", service.serviceName().toUtf8());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connection());
    qunsetenv("HALVANE_SERVICE");
    QVERIFY(connection);
    QCOMPARE(connection->location().serviceName(), service.serviceName());
    QCOMPARE(connection->location().busDescription(), QStringLiteral("session"));
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
}

void tst_TriskVXConnection::refusedAuthenticationIsStillReported()
{
    FakeScheduler fake;
    fake.acceptClients = false;
    QVERIFY(fake.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(fake.location()));
    NotificationCounter notifications(connection.get());
    QTRY_COMPARE_WITH_TIMEOUT(notifications.count(TriskVXConnectionNotificationDidAuthenticate), 1, kWait);
    QVERIFY(!connection->isAuthenticated());
    QVERIFY(connection->isValid());
}

void tst_TriskVXConnection::otherProtocolVersionIsRefused()
{
    FakeScheduler fake;
    fake.protocolVersion = kVXProtocolVersion + 1;
    QVERIFY(fake.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(fake.location()));
    QSignalSpy failed(connection.get(), &TriskVXConnection::connectionAttemptFailed);
    QVERIFY(failed.wait(kWait));
    QVERIFY(failed.first().first().toString().contains(QStringLiteral("protocol version")));
    QVERIFY(!connection->isValid());
}

void tst_TriskVXConnection::completionRunsOnceAfterSendReturned()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    bool returned = false;
    int calls = 0;
    bool ranAfterReturn = false;
    const TriskVXRequest reset = TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset);
    QVERIFY(connection->send(&reset, [&](const TriskVXResponse &response) {
        ++calls;
        ranAfterReturn = returned;
        QVERIFY(response.succeeded());
    }));
    returned = true;
    QCOMPARE(calls, 0);
    QTRY_COMPARE_WITH_TIMEOUT(calls, 1, kWait);
    QVERIFY(ranAfterReturn);
    // A later round trip gives a second call every chance to show up.
    bool second = false;
    QVERIFY(connection->send(&reset, [&](const TriskVXResponse &) {
        second = true;
    }));
    QTRY_VERIFY_WITH_TIMEOUT(second, kWait);
    QCOMPARE(calls, 1);
}

void tst_TriskVXConnection::sendRefusedWhileInvalid()
{
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(
        TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), HalvanedProcess::uniqueServiceName())));
    QSignalSpy failed(connection.get(), &TriskVXConnection::connectionAttemptFailed);
    QVERIFY(failed.wait(kWait));
    bool called = false;
    const TriskVXRequest reset = TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset);
    QVERIFY(!connection->send(&reset, [&](const TriskVXResponse &) {
        called = true;
    }));
    QVERIFY(!connection->send(nullptr, nullptr));
    QTest::qWait(0);
    QVERIFY(!called);
}

void tst_TriskVXConnection::serviceLeavesAndComesBack()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    CountingDelegate delegate;
    connection->setDelegate(&delegate);
    connection->setAutoReconnect(true);
    NotificationCounter notifications(connection.get());
    QTRY_COMPARE_WITH_TIMEOUT(notifications.count(TriskVXConnectionNotificationDidAuthenticate), 1, kWait);

    QVERIFY(service.stop());
    QTRY_COMPARE_WITH_TIMEOUT(notifications.count(TriskVXConnectionNotificationDidBecomeInvalid), 1, kWait);
    QVERIFY(!connection->isValid());
    QVERIFY(!connection->isAuthenticated());
    QCOMPARE(delegate.calls, 1);
    QCOMPARE(delegate.last, connection.get());

    QVERIFY(service.start());
    QTRY_COMPARE_WITH_TIMEOUT(notifications.count(TriskVXConnectionNotificationDidAuthenticate), 2, kWait);
    QVERIFY(connection->isValid());
    QVERIFY(connection->isAuthenticated());
    QCOMPARE(notifications.count(TriskVXConnectionNotificationDidBecomeInvalid), 1);
    QCOMPARE(delegate.calls, 1);
    // The order the notifier sees: authenticated, invalid, authenticated.
    QCOMPARE(notifications.names,
             (QStringList { TriskVXConnectionNotificationDidAuthenticate, TriskVXConnectionNotificationDidBecomeInvalid,
                            TriskVXConnectionNotificationDidAuthenticate }));
}

void tst_TriskVXConnection::withoutAutoReconnectStaysInvalid()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    QSignalSpy invalid(connection.get(), &TriskVXConnection::didBecomeInvalid);
    QVERIFY(service.kill());
    QVERIFY(invalid.wait(kWait));
    QVERIFY(service.start());
    // Nothing reconnects by itself; a round trip to the bus shows that nothing is on its way.
    QSignalSpy authenticated(connection.get(), &TriskVXConnection::didAuthenticate);
    QVERIFY(!authenticated.wait(500));
    QVERIFY(!connection->isValid());
    connection->connect();
    QVERIFY(authenticated.wait(kWait));
    QVERIFY(connection->isValid());
}

void tst_TriskVXConnection::requestsInFlightAtStopCompleteOnce()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    service.pause();
    QList<TriskVXResponse> responses;
    const TriskVXRequest reset = TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset);
    for (int i = 0; i < 3; ++i)
        QVERIFY(connection->send(&reset, [&](const TriskVXResponse &response) {
            responses.append(response);
        }));
    QVERIFY(service.kill());
    QTRY_COMPARE_WITH_TIMEOUT(responses.size(), 3, kWait);
    for (const TriskVXResponse &response : std::as_const(responses)) {
        QVERIFY(!response.succeeded());
        QVERIFY2(response.status() == kVXStatusNoReply || response.status() == kVXStatusServiceUnavailable,
                 qPrintable(QString::number(response.status())));
    }
    QTRY_VERIFY_WITH_TIMEOUT(!connection->isValid(), kWait);
    QTest::qWait(100);
    QCOMPARE(responses.size(), 3);
}

void tst_TriskVXConnection::keepAliveNoticesAHungService()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    connection->setKeepAliveInterval(200);
    connection->setKeepAlive(true);
    QSignalSpy invalid(connection.get(), &TriskVXConnection::didBecomeInvalid);
    // Answering pings keeps it valid.
    QVERIFY(!invalid.wait(700));
    service.pause();
    QVERIFY(invalid.wait(kWait));
    QVERIFY(!connection->isValid());
}

void tst_TriskVXConnection::unknownRequestName()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    std::optional<TriskVXResponse> response;
    const TriskVXRequest request = TriskVXRequest::requestWithRequest(QStringLiteral("SchedulerExplode"));
    QVERIFY(connection->send(&request, [&](const TriskVXResponse &received) {
        response = received;
    }));
    QTRY_VERIFY_WITH_TIMEOUT(response.has_value(), kWait);
    QVERIFY(!response->succeeded());
    QCOMPARE(response->status(), qint64(kVXStatusUnknownRequest));
    QVERIFY(connection->isValid());
}

void tst_TriskVXConnection::malformedReply()
{
    FakeScheduler fake;
    fake.malformedReplies = true;
    QVERIFY(fake.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(fake.location()));
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    LogCapture log;
    std::optional<TriskVXResponse> response;
    const TriskVXRequest request = TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset);
    QVERIFY(connection->send(&request, [&](const TriskVXResponse &received) {
        response = received;
    }));
    QTRY_VERIFY_WITH_TIMEOUT(response.has_value(), kWait);
    QVERIFY(!response->succeeded());
    QCOMPARE(response->status(), qint64(kVXStatusMalformedReply));
    QCOMPARE(log.messages("trisk.halvane").filter(QStringLiteral("malformed reply to SchedulerReset")).size(), 1);
}

void tst_TriskVXConnection::statusForError_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<qint64>("status");
    QTest::newRow("unknown method") << int(QDBusError::UnknownMethod) << qint64(kVXStatusUnknownRequest);
    QTest::newRow("invalid args") << int(QDBusError::InvalidArgs) << qint64(kVXStatusInvalidParameter);
    QTest::newRow("access denied") << int(QDBusError::AccessDenied) << qint64(kVXStatusNotAuthorised);
    QTest::newRow("service unknown") << int(QDBusError::ServiceUnknown) << qint64(kVXStatusServiceUnavailable);
    QTest::newRow("no reply") << int(QDBusError::NoReply) << qint64(kVXStatusNoReply);
    QTest::newRow("timeout") << int(QDBusError::Timeout) << qint64(kVXStatusNoReply);
}

void tst_TriskVXConnection::statusForError()
{
    QFETCH(int, type);
    QFETCH(qint64, status);
    QCOMPARE(TriskVXConnection::statusForError(QDBusError(QDBusError::ErrorType(type), QStringLiteral("x"))), status);
}

QTEST_GUILESS_MAIN(tst_TriskVXConnection)
#include "tst_TriskVXConnection.moc"
