#include "FakeSystemServices.h"
#include "HalvanedProcess.h"
#include "PrivateBus.h"
#include "ServiceClient.h"
#include "TriskVXConstants.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

namespace {
const QTimeZone kBerlin(QByteArrayLiteral("Europe/Berlin"));

QStringList activeIDs(const ServiceClient &client)
{
    QStringList ids;
    const QVariantList active = client.value(kVXObserveSchedulerActive).toList();
    for (const QVariant &record : active)
        ids.append(record.toMap().value(kVXActiveEventEvent).toMap().value(kVXEventUniqueID).toString());
    return ids;
}
} // namespace

// Triggers of the running service moving through pending, current, warning, active and gone, on the
// service's test clock, which the test moves and whose zone it changes.
class tst_HalvaneTimeline : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void onceDailyAndWeeklyThroughTheirLives();
    void clockJumpAndTimeZoneChange();
    void performingRunsTheActionsThroughLogind();

private:
    bool setNow(const QDateTime &now);
    bool setZone(const QByteArray &zone);

    std::unique_ptr<PrivateBus> m_systemBus;
    std::unique_ptr<FakeSystemServices> m_logind;
    std::unique_ptr<HalvanedProcess> m_service;
    std::unique_ptr<ServiceClient> m_client;
};

void tst_HalvaneTimeline::init()
{
    m_systemBus = std::make_unique<PrivateBus>();
    QVERIFY(m_systemBus->start());
    m_logind = std::make_unique<FakeSystemServices>();
    QVERIFY(m_logind->start(m_systemBus->address()));
    m_service = std::make_unique<HalvanedProcess>();
    QVERIFY(
        m_service->start({ QStringLiteral("--test-clock"), QStringLiteral("--logind-bus"), m_systemBus->address() }));
    m_client = std::make_unique<ServiceClient>(m_service->location());
    QVERIFY(m_client->ready());
    QVERIFY(setZone("Europe/Berlin"));
    // Saturday 1 June 2030, 08:00 in Berlin.
    QVERIFY(setNow(QDateTime(QDate(2030, 6, 1), QTime(8, 0), kBerlin)));
}

void tst_HalvaneTimeline::cleanup()
{
    m_client.reset();
    m_service.reset();
    m_logind.reset();
    m_systemBus.reset();
}

bool tst_HalvaneTimeline::setNow(const QDateTime &now)
{
    return m_service->setTestNow(now) && m_client->reload();
}

bool tst_HalvaneTimeline::setZone(const QByteArray &zone)
{
    return m_service->setTestTimeZone(zone) && m_client->reload();
}

void tst_HalvaneTimeline::onceDailyAndWeeklyThroughTheirLives()
{
    const QDateTime once(QDate(2030, 6, 1), QTime(9, 0), kBerlin);
    const QVariantList events {
        QVariantMap { { kVXEventUniqueID, QStringLiteral("once") },
                      { kVXEventName, QStringLiteral("Once") },
                      { kVXEventTriggers,
                        QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                                     { kVXTriggerDate, once },
                                                     { kVXTriggerIdentifier, QStringLiteral("o") } } } } },
        QVariantMap { { kVXEventUniqueID, QStringLiteral("daily") },
                      { kVXEventName, QStringLiteral("Daily") },
                      { kVXEventTriggers,
                        QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Daily },
                                                     { kVXTriggerTime, QStringLiteral("09:30") },
                                                     { kVXTriggerIdentifier, QStringLiteral("d") } } } } },
        QVariantMap { { kVXEventUniqueID, QStringLiteral("weekly") },
                      { kVXEventName, QStringLiteral("Weekly") },
                      { kVXEventTriggers,
                        QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Weekly },
                                                     { kVXTriggerTime, QStringLiteral("10:00") },
                                                     { kVXTriggerWeekdays, QVariantList { qint64(1) } },
                                                     { kVXTriggerIdentifier, QStringLiteral("w") } } } } },
    };
    QVERIFY(m_client->request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events } }));
    QCOMPARE(m_client->pendingIDs(), (QStringList { QStringLiteral("o"), QStringLiteral("d"), QStringLiteral("w") }));
    QCOMPARE(m_client->pendingDate(QStringLiteral("w")), QDateTime(QDate(2030, 6, 3), QTime(10, 0), kBerlin));
    QVERIFY(m_client->pendingIDs(kVXObserveNotificationsCurrent).isEmpty());

    // Once: current five minutes ahead, warned one minute ahead, active when it fires, then gone.
    QVERIFY(setNow(once.addSecs(-240)));
    QCOMPARE(m_client->pendingIDs(kVXObserveNotificationsCurrent), QStringList { QStringLiteral("o") });
    QCOMPARE(m_client->value(kVXObserveNotificationsWarning), QVariant(QVariantList()));
    QVERIFY(setNow(once.addSecs(-50)));
    QCOMPARE(m_client->value(QStringLiteral("NotificationsWarning.0.ActionID")), QVariant(QStringLiteral("o#warning")));
    QSignalSpy active(m_client->observer(), &TriskVXObserver::schedulerActiveChanged);
    QStringList seenActive;
    connect(m_client->observer(), &TriskVXObserver::schedulerActiveChanged, this, [&] {
        seenActive += activeIDs(*m_client);
    });
    QVERIFY(setNow(once));
    QTRY_VERIFY_WITH_TIMEOUT(active.count() >= 2, 10000);
    QVERIFY(seenActive.contains(QStringLiteral("once")));
    QVERIFY(!m_client->pendingIDs().contains(QStringLiteral("o")));
    QCOMPARE(m_client->value(kVXObserveNotificationsWarning), QVariant(QVariantList()));

    // Daily: fires at 09:30 and comes back for tomorrow.
    seenActive.clear();
    QVERIFY(setNow(QDateTime(QDate(2030, 6, 1), QTime(9, 26), kBerlin)));
    QCOMPARE(m_client->pendingIDs(kVXObserveNotificationsCurrent), QStringList { QStringLiteral("d") });
    QVERIFY(setNow(QDateTime(QDate(2030, 6, 1), QTime(9, 30), kBerlin)));
    QTRY_VERIFY_WITH_TIMEOUT(seenActive.contains(QStringLiteral("daily")), 10000);
    QCOMPARE(m_client->pendingDate(QStringLiteral("d")), QDateTime(QDate(2030, 6, 2), QTime(9, 30), kBerlin));

    // Weekly: Monday 10:00, then the Monday after.
    seenActive.clear();
    QVERIFY(setNow(QDateTime(QDate(2030, 6, 3), QTime(9, 59, 30), kBerlin)));
    QVERIFY(m_client->pendingIDs(kVXObserveNotificationsCurrent).contains(QStringLiteral("w")));
    QVERIFY(setNow(QDateTime(QDate(2030, 6, 3), QTime(10, 0), kBerlin)));
    QTRY_VERIFY_WITH_TIMEOUT(seenActive.contains(QStringLiteral("weekly")), 10000);
    QCOMPARE(m_client->pendingDate(QStringLiteral("w")), QDateTime(QDate(2030, 6, 10), QTime(10, 0), kBerlin));
}

void tst_HalvaneTimeline::clockJumpAndTimeZoneChange()
{
    const QVariantMap daily { { kVXEventUniqueID, QStringLiteral("daily") },
                              { kVXEventName, QStringLiteral("Daily") },
                              { kVXEventTriggers,
                                QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Daily },
                                                             { kVXTriggerTime, QStringLiteral("22:00") },
                                                             { kVXTriggerIdentifier, QStringLiteral("d") } } } } };
    QVERIFY(m_client->request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { daily } } }));
    QCOMPARE(m_client->pendingDate(QStringLiteral("d")), QDateTime(QDate(2030, 6, 1), QTime(22, 0), kBerlin));
    // The zone changes: the same local time, another instant.
    QVERIFY(setZone("America/New_York"));
    const QTimeZone newYork(QByteArrayLiteral("America/New_York"));
    QCOMPARE(m_client->pendingDate(QStringLiteral("d")), QDateTime(QDate(2030, 6, 1), QTime(22, 0), newYork));
    // Two days pass at once: one firing, then tomorrow's.
    QSignalSpy active(m_client->observer(), &TriskVXObserver::schedulerActiveChanged);
    QVERIFY(setNow(QDateTime(QDate(2030, 6, 3), QTime(23, 0), newYork)));
    QTRY_VERIFY_WITH_TIMEOUT(active.count() >= 2, 10000);
    QTest::qWait(100);
    QCOMPARE(active.count(), 2);
    QCOMPARE(m_client->pendingDate(QStringLiteral("d")), QDateTime(QDate(2030, 6, 4), QTime(22, 0), newYork));
    // The clock goes back an hour: nothing fires again.
    QVERIFY(setNow(QDateTime(QDate(2030, 6, 3), QTime(22, 0), newYork).addSecs(-1800)));
    QVERIFY(setNow(QDateTime(QDate(2030, 6, 3), QTime(22, 30), newYork)));
    QTest::qWait(100);
    QCOMPARE(active.count(), 2);
}

void tst_HalvaneTimeline::performingRunsTheActionsThroughLogind()
{
    const QVariantMap event {
        { kVXEventUniqueID, QStringLiteral("sleep") },
        { kVXEventName, QStringLiteral("Sleep") },
        { kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand } },
        { kVXEventActions, QVariantList { QVariantMap { { kVXActionType, kVXActionType_Suspend } } } },
        { kVXEventTriggers,
          QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                       { kVXTriggerDate, QDateTime(QDate(2030, 6, 1), QTime(9, 0), kBerlin) } } } }
    };
    QVERIFY(m_client->request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { event } } }));
    QCOMPARE(m_client->value(QStringLiteral("NotificationsWarning.0.Message")), QVariant());
    QVERIFY(setNow(QDateTime(QDate(2030, 6, 1), QTime(8, 59, 30), kBerlin)));
    QCOMPARE(m_client->value(QStringLiteral("NotificationsWarning.0.Message")),
             QVariant(QStringLiteral("“Sleep” will put this computer to sleep.")));
    QVERIFY(setNow(QDateTime(QDate(2030, 6, 1), QTime(9, 0), kBerlin)));
    QTRY_COMPARE_WITH_TIMEOUT(m_logind->powerCalls(), QStringList { QStringLiteral("Suspend") }, 10000);
    QVERIFY(m_client->request(kVXRPCOnDemandPerform, { { kVXRPCParameterUniqueID, QStringLiteral("sleep") } }));
    QTRY_COMPARE_WITH_TIMEOUT(m_logind->powerCalls(),
                              (QStringList { QStringLiteral("Suspend"), QStringLiteral("Suspend") }), 10000);
}

QTEST_GUILESS_MAIN(tst_HalvaneTimeline)
#include "tst_HalvaneTimeline.moc"
