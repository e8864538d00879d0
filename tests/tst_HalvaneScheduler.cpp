#include "HalvaneScheduler.h"
#include "LogCapture.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXObserver.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

namespace {
const QDateTime kNow(QDate(2030, 6, 1), QTime(12, 0), QTimeZone::utc());

QVariantMap once(const QDateTime &date, const QString &id)
{
    return { { kVXTriggerType, kVXTriggerType_Once }, { kVXTriggerDate, date }, { kVXTriggerIdentifier, id } };
}

QVariantMap makeEvent(const QString &id, const QVariantList &triggers, bool onDemand = false)
{
    QVariantMap record { { kVXEventUniqueID, id }, { kVXEventName, id.toUpper() }, { kVXEventTriggers, triggers } };
    if (onDemand)
        record.insert(kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand });
    return record;
}

QStringList pendingIDs(const HalvaneScheduler &scheduler, const QString &variable = kVXObserveSchedulerPending)
{
    QStringList ids;
    const QVariantList list = scheduler.variable(variable).toList();
    for (const QVariant &record : list)
        ids.append(record.toMap().value(kVXQueuedTriggerTriggerID).toString());
    return ids;
}

QDateTime pendingDate(const HalvaneScheduler &scheduler, const QString &triggerID)
{
    const QVariantList list = scheduler.variable(kVXObserveSchedulerPending).toList();
    for (const QVariant &record : list) {
        const QVariantMap map = record.toMap();
        if (map.value(kVXQueuedTriggerTriggerID).toString() == triggerID)
            return map.value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime();
    }
    return QDateTime();
}

QHash<QString, QVariant> snapshot(const HalvaneScheduler &scheduler)
{
    QHash<QString, QVariant> values;
    for (const QString &name : TriskVXObserver::observedVariables())
        values.insert(name, scheduler.variable(name));
    return values;
}
} // namespace

class tst_HalvaneScheduler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void pendingIsSortedByDate();
    void adjustMovesOneFiring();
    void cancelSkipsTheFiring();
    void cancelUntilSkipsFiringsBeforeTheDate();
    void resetOne();
    void resetAll();
    void performOnDemand();
    void performRefusals_data();
    void performRefusals();
    void setEnabled();
    void malformedRequests_data();
    void malformedRequests();
    void onDemandList();
    void noticeAndWarningWindows();
    void firingWhileDisabledIsSkipped();
    void severalWarningsInDateOrder();
    void replacingAnEventForgetsItsAdjustments();
    void onlyChangedVariablesAreAnnounced();
    void dailyTriggerThroughItsLife();
    void weeklyTriggerThroughItsLife();
    void clockJumpsForwardFiresOnce();
    void clockJumpsBackNeverFiresTwice();
    void timeZoneChangeMovesLocalTimes();
    void cancelAdjustAndResetARepeatingTrigger();
    void postponeARepeatingTrigger();
    void catchUpRuleAtStart_data();
    void catchUpRuleAtStart();
    void stateRoundTrip();
    void restoreRefusesAndKeepsTheOldState_data();
    void restoreRefusesAndKeepsTheOldState();

private:
    // Stores the event "d" with the one daily trigger "d1" at the time.
    bool storeDaily(const QString &time);

    TriskVXClock *m_clock = nullptr;
    HalvaneScheduler *m_scheduler = nullptr;
};

void tst_HalvaneScheduler::init()
{
    m_clock = new TriskVXClock(this);
    m_clock->setNow(kNow);
    m_scheduler = new HalvaneScheduler(m_clock, nullptr, this);
    m_scheduler->start();
    const QVariantList events {
        makeEvent(QStringLiteral("a"),
                  { once(kNow.addDays(2), QStringLiteral("a1")), once(kNow.addDays(1), QStringLiteral("a2")) }),
        makeEvent(QStringLiteral("b"), { once(kNow.addSecs(3 * 3600), QStringLiteral("b1")) }, true),
    };
    QVERIFY(m_scheduler->handle(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events } }).succeeded());
}

void tst_HalvaneScheduler::cleanup()
{
    delete m_scheduler;
    delete m_clock;
}

void tst_HalvaneScheduler::pendingIsSortedByDate()
{
    QCOMPARE(pendingIDs(*m_scheduler),
             (QStringList { QStringLiteral("b1"), QStringLiteral("a2"), QStringLiteral("a1") }));
    const QVariantMap first = m_scheduler->variable(kVXObserveSchedulerPending).toList().first().toMap();
    QCOMPARE(first.value(kVXQueuedTriggerEvent).toMap().value(kVXEventName), QVariant(QStringLiteral("B")));
}

void tst_HalvaneScheduler::adjustMovesOneFiring()
{
    const QDateTime later = kNow.addDays(5);
    QVERIFY(m_scheduler
                ->handle(kVXRPCSchedulerAdjust,
                         { { kVXRPCParameterTriggerID, QStringLiteral("b1") }, { kVXRPCParameterDate, later } })
                .succeeded());
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("b1")), later);
    QCOMPARE(pendingIDs(*m_scheduler).last(), QStringLiteral("b1"));
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("a1")), kNow.addDays(2));
}

void tst_HalvaneScheduler::cancelSkipsTheFiring()
{
    QVERIFY(
        m_scheduler->handle(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("a2") } }).succeeded());
    QCOMPARE(pendingIDs(*m_scheduler), (QStringList { QStringLiteral("b1"), QStringLiteral("a1") }));
}

void tst_HalvaneScheduler::cancelUntilSkipsFiringsBeforeTheDate()
{
    const QDateTime until = kNow.addSecs(36 * 3600);
    for (const QString &id : { QStringLiteral("b1"), QStringLiteral("a2"), QStringLiteral("a1") })
        QVERIFY(
            m_scheduler
                ->handle(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, id }, { kVXRPCParameterUntil, until } })
                .succeeded());
    QCOMPARE(pendingIDs(*m_scheduler), QStringList { QStringLiteral("a1") });
}

void tst_HalvaneScheduler::resetOne()
{
    QVERIFY(
        m_scheduler->handle(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("a2") } }).succeeded());
    QVERIFY(
        m_scheduler
            ->handle(kVXRPCSchedulerAdjust,
                     { { kVXRPCParameterTriggerID, QStringLiteral("a1") }, { kVXRPCParameterDate, kNow.addDays(9) } })
            .succeeded());
    QVERIFY(
        m_scheduler->handle(kVXRPCSchedulerReset, { { kVXRPCParameterTriggerID, QStringLiteral("a2") } }).succeeded());
    QVERIFY(pendingIDs(*m_scheduler).contains(QStringLiteral("a2")));
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("a1")), kNow.addDays(9));
}

void tst_HalvaneScheduler::resetAll()
{
    QVERIFY(
        m_scheduler->handle(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("a2") } }).succeeded());
    QVERIFY(
        m_scheduler
            ->handle(kVXRPCSchedulerAdjust,
                     { { kVXRPCParameterTriggerID, QStringLiteral("a1") }, { kVXRPCParameterDate, kNow.addDays(9) } })
            .succeeded());
    QVERIFY(m_scheduler->handle(kVXRPCSchedulerReset, {}).succeeded());
    QCOMPARE(pendingIDs(*m_scheduler),
             (QStringList { QStringLiteral("b1"), QStringLiteral("a2"), QStringLiteral("a1") }));
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("a1")), kNow.addDays(2));
}

void tst_HalvaneScheduler::performOnDemand()
{
    QSignalSpy changed(m_scheduler, &HalvaneScheduler::variablesChanged);
    QVERIFY(
        m_scheduler->handle(kVXRPCOnDemandPerform, { { kVXRPCParameterUniqueID, QStringLiteral("b") } }).succeeded());
    const QVariantList active = m_scheduler->variable(kVXObserveSchedulerActive).toList();
    QCOMPARE(active.size(), 1);
    QCOMPARE(active.first().toMap().value(kVXActiveEventEvent).toMap().value(kVXEventUniqueID),
             QVariant(QStringLiteral("b")));
    QTRY_COMPARE(m_scheduler->variable(kVXObserveSchedulerActive), QVariant(QVariantList()));
    QCOMPARE(changed.count(), 2);
    // Performing on demand leaves the event's own triggers as they were.
    QVERIFY(pendingIDs(*m_scheduler).contains(QStringLiteral("b1")));
}

void tst_HalvaneScheduler::performRefusals_data()
{
    QTest::addColumn<QVariantMap>("parameters");
    QTest::addColumn<bool>("disable");
    QTest::addColumn<qint64>("status");
    QTest::newRow("unknown event") << QVariantMap { { kVXRPCParameterUniqueID, QStringLiteral("zzz") } } << false
                                   << qint64(kVXStatusUnknownEvent);
    QTest::newRow("not performable on demand")
        << QVariantMap { { kVXRPCParameterUniqueID, QStringLiteral("a") } } << false << qint64(kVXStatusNotPerformable);
    QTest::newRow("criteria: scheduler disabled")
        << QVariantMap { { kVXRPCParameterUniqueID, QStringLiteral("b") }, { kVXRPCParameterApplyCriteria, true } }
        << true << qint64(kVXStatusCriteriaNotMet);
}

void tst_HalvaneScheduler::performRefusals()
{
    QFETCH(QVariantMap, parameters);
    QFETCH(bool, disable);
    QFETCH(qint64, status);
    if (disable)
        QVERIFY(m_scheduler->handle(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }).succeeded());
    const HalvaneResult result = m_scheduler->handle(kVXRPCOnDemandPerform, parameters);
    QVERIFY(!result.succeeded());
    QCOMPARE(result.status(), status);
    QCOMPARE(m_scheduler->variable(kVXObserveSchedulerActive), QVariant(QVariantList()));
    // Without the criteria, a disabled scheduler still performs on demand.
    if (disable)
        QVERIFY(m_scheduler->handle(kVXRPCOnDemandPerform, { { kVXRPCParameterUniqueID, QStringLiteral("b") } })
                    .succeeded());
}

void tst_HalvaneScheduler::setEnabled()
{
    QVERIFY(m_scheduler->handle(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }).succeeded());
    QCOMPARE(m_scheduler->variable(kVXObserveSchedulerEnabled), QVariant(false));
    QVERIFY(!m_scheduler->isEnabled());
    QVERIFY(m_scheduler->handle(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, true } }).succeeded());
    QCOMPARE(m_scheduler->variable(kVXObserveSchedulerEnabled), QVariant(true));
}

void tst_HalvaneScheduler::malformedRequests_data()
{
    QTest::addColumn<QString>("request");
    QTest::addColumn<QVariantMap>("parameters");
    QTest::addColumn<qint64>("status");
    const QVariant date(kNow.addDays(1));
    const QVariant id(QStringLiteral("a1"));
    const qint64 invalid = kVXStatusInvalidParameter;
    QTest::newRow("adjust: no date") << kVXRPCSchedulerAdjust << QVariantMap { { kVXRPCParameterTriggerID, id } }
                                     << invalid;
    QTest::newRow("adjust: no id") << kVXRPCSchedulerAdjust << QVariantMap { { kVXRPCParameterDate, date } } << invalid;
    QTest::newRow("adjust: date as text")
        << kVXRPCSchedulerAdjust
        << QVariantMap { { kVXRPCParameterTriggerID, id }, { kVXRPCParameterDate, QStringLiteral("tomorrow") } }
        << invalid;
    QTest::newRow("adjust: id as number")
        << kVXRPCSchedulerAdjust
        << QVariantMap { { kVXRPCParameterTriggerID, qint64(1) }, { kVXRPCParameterDate, date } } << invalid;
    QTest::newRow("adjust: unknown trigger")
        << kVXRPCSchedulerAdjust
        << QVariantMap { { kVXRPCParameterTriggerID, QStringLiteral("x") }, { kVXRPCParameterDate, date } }
        << qint64(kVXStatusUnknownTrigger);
    QTest::newRow("adjust: extra parameter") << kVXRPCSchedulerAdjust
                                             << QVariantMap { { kVXRPCParameterTriggerID, id },
                                                              { kVXRPCParameterDate, date },
                                                              { QStringLiteral("Force"), true } }
                                             << invalid;
    QTest::newRow("cancel: nothing") << kVXRPCSchedulerCancel << QVariantMap() << invalid;
    QTest::newRow("cancel: until as number")
        << kVXRPCSchedulerCancel
        << QVariantMap { { kVXRPCParameterTriggerID, id }, { kVXRPCParameterUntil, qint64(5) } } << invalid;
    QTest::newRow("cancel: unknown trigger")
        << kVXRPCSchedulerCancel << QVariantMap { { kVXRPCParameterTriggerID, QStringLiteral("x") } }
        << qint64(kVXStatusUnknownTrigger);
    QTest::newRow("reset: unknown trigger")
        << kVXRPCSchedulerReset << QVariantMap { { kVXRPCParameterTriggerID, QStringLiteral("x") } }
        << qint64(kVXStatusUnknownTrigger);
    QTest::newRow("reset: id as list") << kVXRPCSchedulerReset
                                       << QVariantMap { { kVXRPCParameterTriggerID, QVariantList() } } << invalid;
    QTest::newRow("perform: no id") << kVXRPCOnDemandPerform << QVariantMap() << invalid;
    QTest::newRow("perform: criteria as number")
        << kVXRPCOnDemandPerform
        << QVariantMap { { kVXRPCParameterUniqueID, QStringLiteral("b") }, { kVXRPCParameterApplyCriteria, qint64(1) } }
        << invalid;
    QTest::newRow("store: no events") << kVXRPCEventStoreStore << QVariantMap() << invalid;
    QTest::newRow("store: events not a list")
        << kVXRPCEventStoreStore
        << QVariantMap { { kVXRPCParameterEvents, QVariantMap { { kVXEventName, QStringLiteral("x") } } } } << invalid;
    QTest::newRow("store: empty list") << kVXRPCEventStoreStore
                                       << QVariantMap { { kVXRPCParameterEvents, QVariantList() } } << invalid;
    QTest::newRow("store: event without name")
        << kVXRPCEventStoreStore
        << QVariantMap { { kVXRPCParameterEvents, QVariantList { QVariantMap { { kVXEventEnabled, true } } } } }
        << qint64(kVXStatusInvalidEvent);
    QTest::newRow("store: one good, one bad")
        << kVXRPCEventStoreStore
        << QVariantMap { { kVXRPCParameterEvents,
                           QVariantList { makeEvent(QStringLiteral("c"), {}), QStringLiteral("not an event") } } }
        << qint64(kVXStatusInvalidEvent);
    QTest::newRow("set enabled: text") << kVXRPCSchedulerSetEnabled
                                       << QVariantMap { { kVXRPCParameterEnabled, QStringLiteral("no") } } << invalid;
    QTest::newRow("set enabled: nothing") << kVXRPCSchedulerSetEnabled << QVariantMap() << invalid;
    QTest::newRow("unknown request") << QStringLiteral("SchedulerExplode") << QVariantMap()
                                     << qint64(kVXStatusUnknownRequest);
}

void tst_HalvaneScheduler::malformedRequests()
{
    QFETCH(QString, request);
    QFETCH(QVariantMap, parameters);
    QFETCH(qint64, status);
    const auto before = snapshot(*m_scheduler);
    const int eventCount = int(m_scheduler->eventStore().events().size());
    QSignalSpy changed(m_scheduler, &HalvaneScheduler::variablesChanged);
    LogCapture log;
    const HalvaneResult result = m_scheduler->handle(request, parameters);
    QVERIFY(!result.succeeded());
    QCOMPARE(result.status(), status);
    QVERIFY(!result.message().isEmpty());
    QCOMPARE(snapshot(*m_scheduler), before);
    QCOMPARE(m_scheduler->eventStore().events().size(), eventCount);
    QCOMPARE(changed.count(), 0);
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("refused")).size(), 1);
}

void tst_HalvaneScheduler::onDemandList()
{
    const QVariantList events {
        QVariantMap { { kVXEventUniqueID, QStringLiteral("disabled") },
                      { kVXEventName, QStringLiteral("D") },
                      { kVXEventEnabled, false },
                      { kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand } } },
        QVariantMap { { kVXEventUniqueID, QStringLiteral("plain") },
                      { kVXEventName, QStringLiteral("P") },
                      { kVXEventEnabled, true } },
    };
    QVERIFY(m_scheduler->handle(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events } }).succeeded());
    const QVariantList onDemand = m_scheduler->variable(kVXObserveOnDemandAvailable).toList();
    QCOMPARE(onDemand.size(), 1);
    QCOMPARE(onDemand.first().toMap().value(kVXEventUniqueID), QVariant(QStringLiteral("b")));
    QCOMPARE(m_scheduler->handle(kVXRPCOnDemandPerform, { { kVXRPCParameterUniqueID, QStringLiteral("disabled") } })
                 .status(),
             qint64(kVXStatusNotPerformable));
    QCOMPARE(
        m_scheduler->handle(kVXRPCOnDemandPerform, { { kVXRPCParameterUniqueID, QStringLiteral("plain") } }).status(),
        qint64(kVXStatusNotPerformable));
}

void tst_HalvaneScheduler::noticeAndWarningWindows()
{
    // b1 fires at kNow + 3 h: notice 5 minutes, warning 1 minute before.
    const QDateTime fire = kNow.addSecs(3 * 3600);
    m_clock->setNow(fire.addSecs(-6 * 60));
    QVERIFY(pendingIDs(*m_scheduler, kVXObserveNotificationsCurrent).isEmpty());
    m_clock->setNow(fire.addSecs(-4 * 60));
    QCOMPARE(pendingIDs(*m_scheduler, kVXObserveNotificationsCurrent), QStringList { QStringLiteral("b1") });
    QCOMPARE(m_scheduler->variable(kVXObserveNotificationsWarning), QVariant(QVariantList()));
    m_clock->setNow(fire.addSecs(-30));
    const QVariantList warnings = m_scheduler->variable(kVXObserveNotificationsWarning).toList();
    QCOMPARE(warnings.size(), 1);
    const QVariantMap warning = warnings.first().toMap();
    QCOMPARE(warning.value(kVXQueuedWarningDate).toDateTime(), fire);
    QCOMPARE(warning.value(kVXQueuedWarningEvent).toMap().value(kVXEventName), QVariant(QStringLiteral("B")));
    QVERIFY(warning.value(kVXQueuedWarningMessage).toString().contains(QStringLiteral("B")));
    QVERIFY(!warning.value(kVXQueuedWarningActionID).toString().isEmpty());

    LogCapture log;
    m_clock->setNow(fire);
    QVERIFY(!pendingIDs(*m_scheduler).contains(QStringLiteral("b1")));
    QCOMPARE(m_scheduler->variable(kVXObserveSchedulerActive).toList().size(), 1);
    QVERIFY(!m_scheduler->eventStore().containsTrigger(QStringLiteral("b1")));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("performing “B” (trigger b1)")).size(), 1);
    QTRY_COMPARE(m_scheduler->variable(kVXObserveSchedulerActive), QVariant(QVariantList()));
    QCOMPARE(m_scheduler->variable(kVXObserveNotificationsWarning), QVariant(QVariantList()));
}

void tst_HalvaneScheduler::firingWhileDisabledIsSkipped()
{
    QVERIFY(m_scheduler->handle(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }).succeeded());
    LogCapture log;
    m_clock->setNow(kNow.addSecs(3 * 3600 + 1));
    QVERIFY(!pendingIDs(*m_scheduler).contains(QStringLiteral("b1")));
    QCOMPARE(m_scheduler->variable(kVXObserveSchedulerActive), QVariant(QVariantList()));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("passed while the scheduler was disabled")).size(),
             1);
}

void tst_HalvaneScheduler::severalWarningsInDateOrder()
{
    const QVariantList events {
        QVariantMap { { kVXEventUniqueID, QStringLiteral("w") },
                      { kVXEventName, QStringLiteral("W") },
                      { kVXEventWarningLead, qint64(7200) },
                      { kVXEventWarningMessage, QStringLiteral("Custom") },
                      { kVXEventTriggers,
                        QVariantList { once(kNow.addSecs(1800), QStringLiteral("w2")),
                                       once(kNow.addSecs(600), QStringLiteral("w1")) } } },
    };
    QVERIFY(m_scheduler->handle(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events } }).succeeded());
    const QVariantList warnings = m_scheduler->variable(kVXObserveNotificationsWarning).toList();
    QCOMPARE(warnings.size(), 2);
    QCOMPARE(warnings.at(0).toMap().value(kVXQueuedWarningDate).toDateTime(), kNow.addSecs(600));
    QCOMPARE(warnings.at(1).toMap().value(kVXQueuedWarningDate).toDateTime(), kNow.addSecs(1800));
    QCOMPARE(warnings.at(0).toMap().value(kVXQueuedWarningMessage), QVariant(QStringLiteral("Custom")));
}

void tst_HalvaneScheduler::replacingAnEventForgetsItsAdjustments()
{
    QVERIFY(
        m_scheduler->handle(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("b1") } }).succeeded());
    QVERIFY(m_scheduler
                ->handle(kVXRPCEventStoreStore,
                         { { kVXRPCParameterEvents,
                             QVariantList { makeEvent(QStringLiteral("b"),
                                                      { once(kNow.addDays(3), QStringLiteral("b9")) }, true) } } })
                .succeeded());
    QVERIFY(!m_scheduler->eventStore().containsTrigger(QStringLiteral("b1")));
    QVERIFY(pendingIDs(*m_scheduler).contains(QStringLiteral("b9")));
    QCOMPARE(m_scheduler->handle(kVXRPCSchedulerReset, { { kVXRPCParameterTriggerID, QStringLiteral("b1") } }).status(),
             qint64(kVXStatusUnknownTrigger));
}

void tst_HalvaneScheduler::onlyChangedVariablesAreAnnounced()
{
    QSignalSpy changed(m_scheduler, &HalvaneScheduler::variablesChanged);
    QVERIFY(m_scheduler->handle(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, true } }).succeeded());
    QCOMPARE(changed.count(), 0);
    QVERIFY(
        m_scheduler->handle(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("a1") } }).succeeded());
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.first().first().toStringList(), QStringList { kVXObserveSchedulerPending });
}

namespace {
QVariantMap dailyAt(const QString &time, const QString &id)
{
    return { { kVXTriggerType, kVXTriggerType_Daily }, { kVXTriggerTime, time }, { kVXTriggerIdentifier, id } };
}

QStringList idsOf(const QVariant &list, const QString &key = kVXQueuedTriggerTriggerID)
{
    QStringList ids;
    const QVariantList records = list.toList();
    for (const QVariant &record : records)
        ids.append(record.toMap().value(key).toString());
    return ids;
}
} // namespace

bool tst_HalvaneScheduler::storeDaily(const QString &time)
{
    const QVariantMap event = makeEvent(QStringLiteral("d"), { dailyAt(time, QStringLiteral("d1")) });
    return m_scheduler->handle(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { event } } })
        .succeeded();
}

void tst_HalvaneScheduler::dailyTriggerThroughItsLife()
{
    // kNow is 12:00 UTC; in UTC the daily trigger fires at 13:00 today.
    m_clock->setTimeZone(QTimeZone::utc());
    QVERIFY(storeDaily(QStringLiteral("13:00")));
    const QDateTime first(QDate(2030, 6, 1), QTime(13, 0), QTimeZone::utc());
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), first);
    QVERIFY(!pendingIDs(*m_scheduler, kVXObserveNotificationsCurrent).contains(QStringLiteral("d1")));
    m_clock->setNow(first.addSecs(-4 * 60));
    QVERIFY(pendingIDs(*m_scheduler, kVXObserveNotificationsCurrent).contains(QStringLiteral("d1")));
    m_clock->setNow(first.addSecs(-30));
    QCOMPARE(idsOf(m_scheduler->variable(kVXObserveNotificationsWarning), kVXQueuedWarningActionID),
             QStringList { QStringLiteral("d1#warning") });
    LogCapture log;
    m_clock->setNow(first);
    QCOMPARE(m_scheduler->variable(kVXObserveSchedulerActive).toList().size(), 1);
    // The next firing is queued at once: tomorrow, same time; the trigger stays in its event.
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), first.addDays(1));
    QVERIFY(m_scheduler->eventStore().containsTrigger(QStringLiteral("d1")));
    QVERIFY(!pendingIDs(*m_scheduler, kVXObserveNotificationsCurrent).contains(QStringLiteral("d1")));
    QTRY_COMPARE(m_scheduler->variable(kVXObserveSchedulerActive), QVariant(QVariantList()));
    QCOMPARE(m_scheduler->triggerState(QStringLiteral("d1")).lastFired, first);
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("performing “D” (trigger d1)")).size(), 1);
}

void tst_HalvaneScheduler::weeklyTriggerThroughItsLife()
{
    // 2030-06-01 is a Saturday; the trigger fires on Mondays and Wednesdays at 09:00 in Berlin.
    m_clock->setTimeZone(QTimeZone(QByteArrayLiteral("Europe/Berlin")));
    const QVariantMap trigger { { kVXTriggerType, kVXTriggerType_Weekly },
                                { kVXTriggerTime, QStringLiteral("09:00") },
                                { kVXTriggerWeekdays, QVariantList { qint64(1), qint64(3) } },
                                { kVXTriggerIdentifier, QStringLiteral("w1") } };
    QVERIFY(m_scheduler
                ->handle(kVXRPCEventStoreStore,
                         { { kVXRPCParameterEvents, QVariantList { makeEvent(QStringLiteral("w"), { trigger }) } } })
                .succeeded());
    const QTimeZone berlin(QByteArrayLiteral("Europe/Berlin"));
    const QDateTime monday(QDate(2030, 6, 3), QTime(9, 0), berlin);
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("w1")), monday);
    m_clock->setNow(monday.addSecs(-120));
    QVERIFY(pendingIDs(*m_scheduler, kVXObserveNotificationsCurrent).contains(QStringLiteral("w1")));
    m_clock->setNow(monday.addSecs(-59));
    QVERIFY(idsOf(m_scheduler->variable(kVXObserveNotificationsWarning), kVXQueuedWarningActionID)
                .contains(QStringLiteral("w1#warning")));
    m_clock->setNow(monday);
    QStringList active;
    const QVariantList activeList = m_scheduler->variable(kVXObserveSchedulerActive).toList();
    for (const QVariant &record : activeList)
        active.append(record.toMap().value(kVXActiveEventEvent).toMap().value(kVXEventUniqueID).toString());
    QVERIFY(active.contains(QStringLiteral("w")));
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("w1")), QDateTime(QDate(2030, 6, 5), QTime(9, 0), berlin));
    QTRY_COMPARE(m_scheduler->variable(kVXObserveSchedulerActive), QVariant(QVariantList()));
}

void tst_HalvaneScheduler::clockJumpsForwardFiresOnce()
{
    m_clock->setTimeZone(QTimeZone::utc());
    QVERIFY(storeDaily(QStringLiteral("13:00")));
    LogCapture log;
    // Three days pass at once (a suspend, a clock set): one firing now, the rest are reported.
    m_clock->setNow(kNow.addDays(3));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("performing “D” (trigger d1")).size(), 1);
    QCOMPARE(
        log.messages("halvane.service").filter(QStringLiteral("trigger d1: 2 more firings passed unperformed")).size(),
        1);
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")),
             QDateTime(QDate(2030, 6, 4), QTime(13, 0), QTimeZone::utc()));
    // b1 (three hours after kNow) came due in the same jump and fired too, once.
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("(trigger b1")).size(), 1);
}

void tst_HalvaneScheduler::clockJumpsBackNeverFiresTwice()
{
    m_clock->setTimeZone(QTimeZone::utc());
    QVERIFY(storeDaily(QStringLiteral("13:00")));
    const QDateTime first(QDate(2030, 6, 1), QTime(13, 0), QTimeZone::utc());
    LogCapture log;
    m_clock->setNow(first.addSecs(10));
    m_clock->setNow(first.addSecs(-600));
    m_clock->setNow(first.addSecs(20));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("(trigger d1")).size(), 1);
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), first.addDays(1));
}

void tst_HalvaneScheduler::timeZoneChangeMovesLocalTimes()
{
    const QTimeZone berlin(QByteArrayLiteral("Europe/Berlin"));
    const QTimeZone london(QByteArrayLiteral("Europe/London"));
    m_clock->setTimeZone(berlin);
    m_clock->setNow(QDateTime(QDate(2030, 6, 1), QTime(8, 0), berlin));
    QVERIFY(storeDaily(QStringLiteral("22:00")));
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), QDateTime(QDate(2030, 6, 1), QTime(22, 0), berlin));
    m_clock->setTimeZone(london);
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), QDateTime(QDate(2030, 6, 1), QTime(22, 0), london));
    // Fired at 22:00 in London, then moved back to Berlin: 22:00 Berlin that day has passed and the
    // local day has had its firing, so the next one is tomorrow.
    LogCapture log;
    m_clock->setNow(QDateTime(QDate(2030, 6, 1), QTime(22, 0), london));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("(trigger d1")).size(), 1);
    m_clock->setTimeZone(berlin);
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), QDateTime(QDate(2030, 6, 2), QTime(22, 0), berlin));
    // Moving west after a firing does not bring the same local evening round again.
    m_clock->setNow(QDateTime(QDate(2030, 6, 2), QTime(22, 0), berlin));
    m_clock->setTimeZone(QTimeZone(QByteArrayLiteral("America/New_York")));
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")),
             QDateTime(QDate(2030, 6, 3), QTime(22, 0), QTimeZone(QByteArrayLiteral("America/New_York"))));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("(trigger d1")).size(), 2);
}

void tst_HalvaneScheduler::cancelAdjustAndResetARepeatingTrigger()
{
    m_clock->setTimeZone(QTimeZone::utc());
    QVERIFY(storeDaily(QStringLiteral("13:00")));
    const QDateTime first(QDate(2030, 6, 1), QTime(13, 0), QTimeZone::utc());
    QVERIFY(
        m_scheduler->handle(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("d1") } }).succeeded());
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), first.addDays(1));
    QVERIFY(
        m_scheduler->handle(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("d1") } }).succeeded());
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), first.addDays(2));
    // Adjust moves the queued firing only; the one after is at the usual time.
    const QDateTime moved = first.addDays(2).addSecs(1800);
    QVERIFY(m_scheduler
                ->handle(kVXRPCSchedulerAdjust,
                         { { kVXRPCParameterTriggerID, QStringLiteral("d1") }, { kVXRPCParameterDate, moved } })
                .succeeded());
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), moved);
    QCOMPARE(m_scheduler->triggerState(QStringLiteral("d1")).skipped.size(), 2);
    QVERIFY(
        m_scheduler->handle(kVXRPCSchedulerReset, { { kVXRPCParameterTriggerID, QStringLiteral("d1") } }).succeeded());
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), first);
    QVERIFY(m_scheduler
                ->handle(
                    kVXRPCSchedulerAdjust,
                    { { kVXRPCParameterTriggerID, QStringLiteral("d1") }, { kVXRPCParameterDate, first.addSecs(600) } })
                .succeeded());
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), first.addSecs(600));
    LogCapture log;
    m_clock->setNow(first.addSecs(60));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("(trigger d1")).size(), 0);
    m_clock->setNow(first.addSecs(600));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("(trigger d1")).size(), 1);
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")), first.addDays(1));
}

void tst_HalvaneScheduler::postponeARepeatingTrigger()
{
    m_clock->setTimeZone(QTimeZone::utc());
    QVERIFY(storeDaily(QStringLiteral("13:00")));
    const QDateTime until(QDate(2030, 6, 5), QTime(0, 0), QTimeZone::utc());
    QVERIFY(m_scheduler
                ->handle(kVXRPCSchedulerCancel,
                         { { kVXRPCParameterTriggerID, QStringLiteral("d1") }, { kVXRPCParameterUntil, until } })
                .succeeded());
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")),
             QDateTime(QDate(2030, 6, 5), QTime(13, 0), QTimeZone::utc()));
    LogCapture log;
    m_clock->setNow(QDateTime(QDate(2030, 6, 4), QTime(14, 0), QTimeZone::utc()));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("(trigger d1")).size(), 0);
    // The postponed firings whose time came are gone: a reset brings back only what is still ahead.
    QVERIFY(m_scheduler->handle(kVXRPCSchedulerReset, {}).succeeded());
    QCOMPARE(pendingDate(*m_scheduler, QStringLiteral("d1")),
             QDateTime(QDate(2030, 6, 5), QTime(13, 0), QTimeZone::utc()));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("(trigger d1")).size(), 0);
}

void tst_HalvaneScheduler::catchUpRuleAtStart_data()
{
    QTest::addColumn<qint64>("lateSeconds");
    QTest::addColumn<bool>("performed");
    QTest::newRow("a restart: performed") << qint64(120) << true;
    QTest::newRow("at the limit: performed") << qint64(300) << true;
    QTest::newRow("the machine was off: skipped") << qint64(3 * 3600) << false;
}

void tst_HalvaneScheduler::catchUpRuleAtStart()
{
    QFETCH(qint64, lateSeconds);
    QFETCH(bool, performed);
    const QVariantMap state = m_scheduler->toPropertyList();
    // The service comes back after b1 (kNow + 3 h) was due.
    TriskVXClock clock;
    clock.setNow(kNow.addSecs(3 * 3600 + lateSeconds));
    HalvaneScheduler restarted(&clock, nullptr);
    QString error;
    QVERIFY2(restarted.restore(state, &error), qPrintable(error));
    QVERIFY(pendingIDs(restarted).contains(QStringLiteral("b1")));
    LogCapture log;
    restarted.start();
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("performing “B” (trigger b1")).size(),
             performed ? 1 : 0);
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("while halvaned was not running; skipped")).size(),
             performed ? 0 : 1);
    QVERIFY(!pendingIDs(restarted).contains(QStringLiteral("b1")));
}

void tst_HalvaneScheduler::stateRoundTrip()
{
    m_clock->setTimeZone(QTimeZone::utc());
    QVERIFY(storeDaily(QStringLiteral("13:00")));
    QVERIFY(
        m_scheduler->handle(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("a2") } }).succeeded());
    QVERIFY(
        m_scheduler
            ->handle(kVXRPCSchedulerAdjust,
                     { { kVXRPCParameterTriggerID, QStringLiteral("a1") }, { kVXRPCParameterDate, kNow.addDays(9) } })
            .succeeded());
    QVERIFY(
        m_scheduler
            ->handle(kVXRPCSchedulerCancel,
                     { { kVXRPCParameterTriggerID, QStringLiteral("d1") }, { kVXRPCParameterUntil, kNow.addDays(4) } })
            .succeeded());
    QVERIFY(m_scheduler->handle(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }).succeeded());
    HalvaneScheduler copy(m_clock, nullptr);
    QString error;
    QVERIFY2(copy.restore(m_scheduler->toPropertyList(), &error), qPrintable(error));
    for (const QString &name : TriskVXObserver::observedVariables())
        QCOMPARE(copy.variable(name), m_scheduler->variable(name));
    for (const QString &id : { QStringLiteral("a1"), QStringLiteral("a2"), QStringLiteral("b1"), QStringLiteral("d1") })
        QVERIFY(copy.triggerState(id) == m_scheduler->triggerState(id));
}

void tst_HalvaneScheduler::restoreRefusesAndKeepsTheOldState_data()
{
    QTest::addColumn<QVariantMap>("state");
    QTest::addColumn<QString>("error");
    QTest::newRow("empty") << QVariantMap() << QStringLiteral("version");
    QTest::newRow("newer version") << QVariantMap { { QStringLiteral("Version"), qint64(2) } }
                                   << QStringLiteral("version 2");
    QTest::newRow("events not a list") << QVariantMap { { QStringLiteral("Version"), qint64(1) },
                                                        { QStringLiteral("Enabled"), true },
                                                        { QStringLiteral("Events"), QStringLiteral("x") },
                                                        { QStringLiteral("TriggerStates"), QVariantMap() } }
                                       << QStringLiteral("missing");
    QTest::newRow("an invalid event") << QVariantMap { { QStringLiteral("Version"), qint64(1) },
                                                       { QStringLiteral("Enabled"), true },
                                                       { QStringLiteral("Events"), QVariantList { QVariantMap() } },
                                                       { QStringLiteral("TriggerStates"), QVariantMap() } }
                                      << QStringLiteral("no name");
}

void tst_HalvaneScheduler::restoreRefusesAndKeepsTheOldState()
{
    QFETCH(QVariantMap, state);
    QFETCH(QString, error);
    const auto before = snapshot(*m_scheduler);
    QString message;
    QVERIFY(!m_scheduler->restore(state, &message));
    QVERIFY2(message.contains(error), qPrintable(message));
    QCOMPARE(snapshot(*m_scheduler), before);
}

QTEST_GUILESS_MAIN(tst_HalvaneScheduler)
#include "tst_HalvaneScheduler.moc"
