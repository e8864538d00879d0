#include "AssertionOf.h"
#include "FakeScheduler.h"
#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXInternalInconsistencyException.h"
#include "TriskVXNotificationCenter.h"
#include "TriskVXRequest.h"
#include "TriskVXRequestsController.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

namespace {
const int kWait = 10000;

// The two notifications of Part 1.5, as the default centre delivers them.
class Broadcasts
{
public:
    explicit Broadcasts(TriskVXRequestsController *controller)
    {
        m_token = TriskVXNotificationCenter::defaultCenter()->addObserverForNameObjectQueueUsingBlock(
            QString(), controller, nullptr, [this](const TriskVXNotification &notification) {
                if (notification.name() == TriskVXRequestsControllerNotificationRequestError)
                    errors.append(notification.userInfo());
                else if (notification.name() == TriskVXRequestsControllerNotificationPendingEmpty)
                    ++pendingEmpty;
            });
    }
    ~Broadcasts() { TriskVXNotificationCenter::defaultCenter()->removeObserver(m_token); }
    QList<QVariantMap> errors;
    int pendingEmpty = 0;

private:
    QObject *m_token;
};

std::unique_ptr<TriskVXConnection> connectedTo(const TriskVXServiceLocation &location)
{
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(location));
    QDeadlineTimer deadline(kWait);
    while (!connection->isValid() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    return connection;
}

// A requests controller over a connection of its own; waitForValid waits until the service answered.
struct Subject
{
    std::unique_ptr<TriskVXConnection> connection;
    std::unique_ptr<TriskVXRequestsController> controller;
};

Subject controllerOn(const TriskVXServiceLocation &location, bool waitForValid = true)
{
    Subject subject;
    subject.connection = waitForValid
        ? connectedTo(location)
        : std::unique_ptr<TriskVXConnection>(TriskVXConnection::connectionWithLocation(location));
    subject.controller.reset(TriskVXRequestsController::requestsControllerWithConnection(subject.connection.get()));
    return subject;
}

} // namespace

class tst_TriskVXRequestsController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initRequiresAConnection();
    void sendingWhileTheConnectionRefuses();
    void twoSendsTwoCompletions();
    void completionWhenAlreadyZero();
    void statusWiderThan32Bits();
    void disconnectionWithRequestsOutstanding();
    void completionRunsAfterSendReturned();
    void refusedAuthenticationClearsTheCount();
    void acceptedAuthenticationKeepsTheCount();
    void nilSummaryGivesAnEmptyUserInfo();
    void additionsSendTheirRequests_data();
    void additionsSendTheirRequests();
    void additionsRequireTheirArguments_data();
    void additionsRequireTheirArguments();
    void standingRights();
    void canSend();
    void requestsReachTheRealService();
};

void tst_TriskVXRequestsController::initRequiresAConnection()
{
    QCOMPARE(assertionOf([] {
                 delete TriskVXRequestsController::requestsControllerWithConnection(nullptr);
             }),
             QStringLiteral("TriskVXRequestsController|Invalid parameter not satisfying: aConnection != nil"));
    HalvanedProcess service;
    QVERIFY(service.start());
    auto [connection, controller] = controllerOn(service.location());
    QCOMPARE(controller->connection(), connection.get());
    QVERIFY(controller->notifications() != nullptr);
    QCOMPARE(assertionOf([&] {
                 controller->sendRequestLocalisedSummary(nullptr, QStringLiteral("x"));
             }),
             QStringLiteral("TriskVXRequestsController|Invalid parameter not satisfying: aRequest != nil"));
    QCOMPARE(controller->pending(), quint64(0));
}

void tst_TriskVXRequestsController::sendingWhileTheConnectionRefuses()
{
    // A connection to a service that is not there refuses every send.
    auto [connection, controller] = controllerOn(
        TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), HalvanedProcess::uniqueServiceName()), false);
    Broadcasts broadcasts(controller.get());
    LogCapture log;
    controller->cancelTrigger(QStringLiteral("t1"));
    QCOMPARE(log.count(QStringLiteral("Halvane request failed: Cancel a trigger, -400")), 1);
    QCOMPARE(log.messages("trisk.notifier").size(), 1);
    QCOMPARE(broadcasts.errors.size(), 1);
    QCOMPARE(broadcasts.errors.first().value(QStringLiteral("summary")), QVariant(QStringLiteral("Cancel a trigger")));
    QCOMPARE(broadcasts.errors.first().value(QStringLiteral("key")), QVariant::fromValue(qint32(-400)));
    QCOMPARE(controller->pending(), quint64(0));
    QVERIFY(!controller->hasPending());
}

void tst_TriskVXRequestsController::twoSendsTwoCompletions()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    auto [connection, controller] = controllerOn(service.location());
    Broadcasts broadcasts(controller.get());
    QList<quint64> counts;
    connect(controller.get(), &TriskVXRequestsController::pendingChanged, this, [&](quint64 pending) {
        counts.append(pending);
    });
    const TriskVXRequest reset = TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset);
    controller->sendRequestLocalisedSummary(&reset, QStringLiteral("first"));
    controller->sendRequestLocalisedSummary(&reset, QStringLiteral("second"));
    QTRY_COMPARE_WITH_TIMEOUT(controller->pending(), quint64(0), kWait);
    QCOMPARE(counts, (QList<quint64> { 1, 2, 1, 0 }));
    QCOMPARE(broadcasts.pendingEmpty, 1);
    QVERIFY(broadcasts.errors.isEmpty());
}

void tst_TriskVXRequestsController::completionWhenAlreadyZero()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    auto [connection, controller] = controllerOn(service.location());
    Broadcasts broadcasts(controller.get());
    LogCapture log;
    // An unknown trigger: the service answers with failure.
    controller->cancelTrigger(QStringLiteral("no-such-trigger"));
    QCOMPARE(controller->pending(), quint64(1));
    controller->setPending(0);
    QTRY_COMPARE_WITH_TIMEOUT(broadcasts.errors.size(), 1, kWait);
    QCOMPARE(log.count(QStringLiteral("decrementPending already zero.")), 1);
    QCOMPARE(broadcasts.pendingEmpty, 0);
    QCOMPARE(broadcasts.errors.first().value(QStringLiteral("key")),
             QVariant::fromValue(qint32(kVXStatusUnknownTrigger)));
    QCOMPARE(
        log.count(QStringLiteral("Halvane request failed: Cancel a trigger, %1").arg(qint64(kVXStatusUnknownTrigger))),
        1);
    QCOMPARE(controller->pending(), quint64(0));
}

void tst_TriskVXRequestsController::statusWiderThan32Bits()
{
    FakeScheduler fake;
    fake.succeeded = false;
    fake.status = 0x100000005LL;
    QVERIFY(fake.start());
    auto [connection, controller] = controllerOn(fake.location());
    Broadcasts broadcasts(controller.get());
    LogCapture log;
    controller->performNow(QStringLiteral("e1"));
    QTRY_COMPARE_WITH_TIMEOUT(broadcasts.errors.size(), 1, kWait);
    QCOMPARE(broadcasts.errors.first().value(QStringLiteral("key")), QVariant::fromValue(qint32(5)));
    QCOMPARE(log.count(QStringLiteral("Halvane request failed: Perform now, 4294967301")), 1);
    QCOMPARE(broadcasts.pendingEmpty, 1);
}

void tst_TriskVXRequestsController::disconnectionWithRequestsOutstanding()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    auto [connection, controller] = controllerOn(service.location());
    Broadcasts broadcasts(controller.get());
    LogCapture log;
    service.pause();
    controller->resetTrigger(QStringLiteral("a"));
    controller->resetTrigger(QStringLiteral("b"));
    QCOMPARE(controller->pending(), quint64(2));
    QVERIFY(service.kill());
    QTRY_COMPARE_WITH_TIMEOUT(log.count(QStringLiteral("Disconnected.")), 1, kWait);
    QCOMPARE(controller->pending(), quint64(0));
    QCOMPARE(broadcasts.pendingEmpty, 0);
    // The two completions still come, once each, and find the count at zero.
    QTRY_COMPARE_WITH_TIMEOUT(log.count(QStringLiteral("decrementPending already zero.")), 2, kWait);
    QTRY_COMPARE_WITH_TIMEOUT(broadcasts.errors.size(), 2, kWait);
    QCOMPARE(broadcasts.errors.first().value(QStringLiteral("summary")), QVariant(QStringLiteral("")));
    QCOMPARE(broadcasts.pendingEmpty, 0);
}

void tst_TriskVXRequestsController::completionRunsAfterSendReturned()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    auto [connection, controller] = controllerOn(service.location());
    Broadcasts broadcasts(controller.get());
    const TriskVXRequest reset = TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset);
    controller->sendRequestLocalisedSummary(&reset, QStringLiteral("x"));
    // Had the completion run inside the send, the count would be 0 here and then stick at 1.
    QCOMPARE(controller->pending(), quint64(1));
    QCOMPARE(broadcasts.pendingEmpty, 0);
    QTRY_COMPARE_WITH_TIMEOUT(broadcasts.pendingEmpty, 1, kWait);
    QCOMPARE(controller->pending(), quint64(0));
}

void tst_TriskVXRequestsController::refusedAuthenticationClearsTheCount()
{
    FakeScheduler fake;
    fake.acceptClients = false;
    fake.holdReplies = true;
    QVERIFY(fake.start());
    auto [connection, controller] = controllerOn(fake.location());
    Broadcasts broadcasts(controller.get());
    controller->resetTrigger(QStringLiteral("a"));
    QCOMPARE(controller->pending(), quint64(1));
    LogCapture log;
    QSignalSpy authenticated(connection.get(), &TriskVXConnection::didAuthenticate);
    connection->connect();
    QVERIFY(authenticated.wait(kWait));
    QCOMPARE(log.count(QStringLiteral("Authenticated: 0")), 1);
    QCOMPARE(controller->pending(), quint64(0));
    QCOMPARE(broadcasts.pendingEmpty, 0);
}

void tst_TriskVXRequestsController::acceptedAuthenticationKeepsTheCount()
{
    FakeScheduler fake;
    fake.holdReplies = true;
    QVERIFY(fake.start());
    auto [connection, controller] = controllerOn(fake.location());
    Broadcasts broadcasts(controller.get());
    controller->resetTrigger(QStringLiteral("a"));
    LogCapture log;
    QSignalSpy authenticated(connection.get(), &TriskVXConnection::didAuthenticate);
    connection->connect();
    QVERIFY(authenticated.wait(kWait));
    QCOMPARE(log.count(QStringLiteral("Authenticated: 1")), 1);
    QCOMPARE(controller->pending(), quint64(1));
    fake.releaseHeld();
    QTRY_COMPARE_WITH_TIMEOUT(broadcasts.pendingEmpty, 1, kWait);
}

void tst_TriskVXRequestsController::nilSummaryGivesAnEmptyUserInfo()
{
    auto [connection, controller] = controllerOn(
        TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), HalvanedProcess::uniqueServiceName()), false);
    Broadcasts broadcasts(controller.get());
    LogCapture log;
    controller->issueErrorReason(QString(), -400);
    QCOMPARE(broadcasts.errors.size(), 1);
    QVERIFY(broadcasts.errors.first().isEmpty());
    QCOMPARE(log.count(QStringLiteral("Halvane request failed: , -400")), 1);
}

void tst_TriskVXRequestsController::additionsSendTheirRequests_data()
{
    QTest::addColumn<int>("operation");
    QTest::addColumn<QString>("request");
    QTest::addColumn<QVariantMap>("parameters");
    QTest::addColumn<QString>("summary");
    const QDateTime date(QDate(2031, 2, 3), QTime(4, 5, 6), QTimeZone::utc());
    QTest::newRow("adjustTrigger:to:") << 0 << kVXRPCSchedulerAdjust
                                       << QVariantMap { { kVXRPCParameterTriggerID, QStringLiteral("t1") },
                                                        { kVXRPCParameterDate, date } }
                                       << QString();
    QTest::newRow("cancelTrigger:") << 1 << kVXRPCSchedulerCancel
                                    << QVariantMap { { kVXRPCParameterTriggerID, QStringLiteral("t1") } }
                                    << QStringLiteral("Cancel a trigger");
    QTest::newRow("resetTrigger:") << 2 << kVXRPCSchedulerReset
                                   << QVariantMap { { kVXRPCParameterTriggerID, QStringLiteral("t1") } } << QString();
    QTest::newRow("triggerNow:") << 3 << kVXRPCOnDemandPerform
                                 << QVariantMap { { kVXRPCParameterUniqueID, QStringLiteral("e1") },
                                                  { kVXRPCParameterApplyCriteria, true } }
                                 << QStringLiteral("Trigger now");
    QTest::newRow("performNow:") << 4 << kVXRPCOnDemandPerform
                                 << QVariantMap { { kVXRPCParameterUniqueID, QStringLiteral("e1") } }
                                 << QStringLiteral("Perform now");
}

void tst_TriskVXRequestsController::additionsSendTheirRequests()
{
    QFETCH(int, operation);
    QFETCH(QString, request);
    QFETCH(QVariantMap, parameters);
    QFETCH(QString, summary);
    FakeScheduler fake;
    fake.succeeded = false;
    fake.status = 9;
    QVERIFY(fake.start());
    auto [connection, controller] = controllerOn(fake.location());
    Broadcasts broadcasts(controller.get());
    switch (operation) {
    case 0:
        controller->adjustTriggerTo(QStringLiteral("t1"), parameters.value(kVXRPCParameterDate).toDateTime());
        break;
    case 1:
        controller->cancelTrigger(QStringLiteral("t1"));
        break;
    case 2:
        controller->resetTrigger(QStringLiteral("t1"));
        break;
    case 3:
        controller->triggerNow(QStringLiteral("e1"));
        break;
    default:
        controller->performNow(QStringLiteral("e1"));
        break;
    }
    QTRY_COMPARE_WITH_TIMEOUT(broadcasts.errors.size(), 1, kWait);
    QCOMPARE(fake.received().size(), 1);
    QCOMPARE(fake.received().first().request, request);
    QCOMPARE(fake.received().first().parameters, parameters);
    // Adjust and reset go out with an empty summary, so their failures carry an empty one.
    QCOMPARE(broadcasts.errors.first().value(QStringLiteral("summary")).toString(), summary);
    QVERIFY(!broadcasts.errors.first().value(QStringLiteral("summary")).toString().isNull());
    QCOMPARE(broadcasts.errors.first().value(QStringLiteral("key")), QVariant::fromValue(qint32(9)));
}

void tst_TriskVXRequestsController::additionsRequireTheirArguments_data()
{
    QTest::addColumn<int>("operation");
    QTest::addColumn<QString>("description");
    QTest::newRow("adjust without id") << 0 << QStringLiteral("aTriggerID != nil");
    QTest::newRow("adjust without date") << 1 << QStringLiteral("aTriggerDate != nil");
    QTest::newRow("cancel") << 2 << QStringLiteral("aTriggerID != nil");
    QTest::newRow("reset") << 3 << QStringLiteral("aTriggerID != nil");
    QTest::newRow("trigger now") << 4 << QStringLiteral("anEventID != nil");
    QTest::newRow("perform now") << 5 << QStringLiteral("anEventID != nil");
}

void tst_TriskVXRequestsController::additionsRequireTheirArguments()
{
    QFETCH(int, operation);
    QFETCH(QString, description);
    auto [connection, controller] = controllerOn(
        TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), HalvanedProcess::uniqueServiceName()), false);
    const QString assertion = assertionOf([&] {
        switch (operation) {
        case 0:
            controller->adjustTriggerTo(QString(), QDateTime::currentDateTimeUtc());
            break;
        case 1:
            controller->adjustTriggerTo(QStringLiteral("t"), QDateTime());
            break;
        case 2:
            controller->cancelTrigger(QString());
            break;
        case 3:
            controller->resetTrigger(QString());
            break;
        case 4:
            controller->triggerNow(QString());
            break;
        default:
            controller->performNow(QString());
            break;
        }
    });
    QCOMPARE(assertion,
             QStringLiteral("TriskVXRequestsControllerAdditions|Invalid parameter not satisfying: ") + description);
    QCOMPARE(controller->pending(), quint64(0));
}

void tst_TriskVXRequestsController::standingRights()
{
    TriskVXRequestsController controller;
    QVERIFY(controller.hasExistingAdjustTriggerRight());
    QVERIFY(controller.hasExistingCancelTriggerRight());
}

void tst_TriskVXRequestsController::canSend()
{
    TriskVXRequestsController withoutConnection;
    QVERIFY(!withoutConnection.canSend());
    HalvanedProcess service;
    QVERIFY(service.start());
    auto [connection, controller] = controllerOn(service.location());
    QVERIFY(controller->canSend());
    QVERIFY(service.stop());
    QTRY_VERIFY_WITH_TIMEOUT(!controller->canSend(), kWait);
}

void tst_TriskVXRequestsController::requestsReachTheRealService()
{
    HalvanedProcess service;
    QVERIFY(service.start({ QStringLiteral("--demo") }));
    auto [connection, controller] = controllerOn(service.location());
    Broadcasts broadcasts(controller.get());
    controller->performNow(QStringLiteral("demo-sleep"));
    controller->triggerNow(QStringLiteral("demo-backup"));
    QTRY_COMPARE_WITH_TIMEOUT(broadcasts.pendingEmpty, 1, kWait);
    QVERIFY(broadcasts.errors.isEmpty());
    controller->performNow(QStringLiteral("demo-shutdown"));
    QTRY_COMPARE_WITH_TIMEOUT(broadcasts.errors.size(), 1, kWait);
    QCOMPARE(broadcasts.errors.first().value(QStringLiteral("key")),
             QVariant::fromValue(qint32(kVXStatusNotPerformable)));
}

QTEST_GUILESS_MAIN(tst_TriskVXRequestsController)
#include "tst_TriskVXRequestsController.moc"
