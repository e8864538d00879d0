#include "HalvaneEventStore.h"
#include "TriskVXConstants.h"

#include <QDateTime>
#include <QTest>
#include <QTimeZone>

namespace {
QVariantMap once(const QDateTime &date, const QString &id = QString())
{
    QVariantMap trigger { { kVXTriggerType, kVXTriggerType_Once }, { kVXTriggerDate, date } };
    if (!id.isEmpty())
        trigger.insert(kVXTriggerIdentifier, id);
    return trigger;
}

const QDateTime kDate(QDate(2030, 1, 1), QTime(10, 0), QTimeZone::utc());

QVariantMap makeEvent(const QString &name, const QString &id = QString(), const QVariantList &triggers = {})
{
    QVariantMap record { { kVXEventName, name }, { kVXEventTriggers, triggers } };
    if (!id.isEmpty())
        record.insert(kVXEventUniqueID, id);
    return record;
}
} // namespace

class tst_HalvaneEventStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void assignsIdentifiers();
    void replacesByUniqueID();
    void refusesWithoutStoringAnything_data();
    void refusesWithoutStoringAnything();
    void removeTrigger();
};

void tst_HalvaneEventStore::assignsIdentifiers()
{
    HalvaneEventStore store;
    QStringList ids;
    QVERIFY(store.store({ makeEvent(QStringLiteral("A"), QString(), { once(kDate), once(kDate.addDays(1)) }) }, &ids)
                .succeeded());
    QCOMPARE(ids.size(), 1);
    const QVariantMap stored = store.event(ids.first());
    QCOMPARE(stored.value(kVXEventUniqueID).toString(), ids.first());
    QCOMPARE(stored.value(kVXEventEnabled), QVariant(true));
    const QVariantList triggers = stored.value(kVXEventTriggers).toList();
    QCOMPARE(triggers.size(), 2);
    const QString first = triggers.at(0).toMap().value(kVXTriggerIdentifier).toString();
    const QString second = triggers.at(1).toMap().value(kVXTriggerIdentifier).toString();
    QVERIFY(!first.isEmpty());
    QVERIFY(first != second);
    QVERIFY(store.containsTrigger(first));
    QCOMPARE(store.eventOfTrigger(second), ids.first());
}

void tst_HalvaneEventStore::replacesByUniqueID()
{
    HalvaneEventStore store;
    QVERIFY(store
                .store({ makeEvent(QStringLiteral("A"), QStringLiteral("a"), { once(kDate, QStringLiteral("t1")) }),
                         makeEvent(QStringLiteral("B"), QStringLiteral("b")) })
                .succeeded());
    QVERIFY(store.store({ makeEvent(QStringLiteral("A2"), QStringLiteral("a"), { once(kDate, QStringLiteral("t2")) }) })
                .succeeded());
    const QList<QVariantMap> events = store.events();
    QCOMPARE(events.size(), 2);
    // Replacing keeps the event's place.
    QCOMPARE(events.at(0).value(kVXEventName), QVariant(QStringLiteral("A2")));
    QVERIFY(!store.containsTrigger(QStringLiteral("t1")));
    QVERIFY(store.containsTrigger(QStringLiteral("t2")));
    QCOMPARE(store.takeVanishedTriggers(), QStringList { QStringLiteral("t1") });
    QVERIFY(store.takeVanishedTriggers().isEmpty());
}

void tst_HalvaneEventStore::refusesWithoutStoringAnything_data()
{
    QTest::addColumn<QVariantList>("events");
    QTest::addColumn<QString>("reason");
    QTest::newRow("nothing") << QVariantList() << QStringLiteral("no events");
    QTest::newRow("second of two is bad")
        << QVariantList { makeEvent(QStringLiteral("ok")), QVariantMap { { kVXEventNotes, QStringLiteral("x") } } }
        << QStringLiteral("event 1: an event has no name");
    QTest::newRow("same id twice") << QVariantList { makeEvent(QStringLiteral("x"), QStringLiteral("d")),
                                                     makeEvent(QStringLiteral("y"), QStringLiteral("d")) }
                                   << QStringLiteral("appears twice");
    QTest::newRow("unknown trigger type") << QVariantList {
        makeEvent(QStringLiteral("x"), QString(), { QVariantMap { { kVXTriggerType, QStringLiteral("Lunar") } } })
    } << QStringLiteral("unknown trigger type Lunar");
    QTest::newRow("trigger id used twice") << QVariantList { makeEvent(
        QStringLiteral("x"), QString(), { once(kDate, QStringLiteral("t")), once(kDate, QStringLiteral("t")) }) }
                                           << QStringLiteral("not a unique string");
    QTest::newRow("trigger of another event") << QVariantList { makeEvent(QStringLiteral("x"), QStringLiteral("other"),
                                                                          { once(kDate, QStringLiteral("kept")) }) }
                                              << QStringLiteral("belongs to another event");
    QTest::newRow("negative notice period")
        << QVariantList { QVariantMap { { kVXEventName, QStringLiteral("x") }, { kVXEventNoticePeriod, qint64(-1) } } }
        << QStringLiteral("NoticePeriod");
    QTest::newRow("warning lead not a number") << QVariantList {
        QVariantMap { { kVXEventName, QStringLiteral("x") }, { kVXEventWarningLead, QStringLiteral("soon") } }
    } << QStringLiteral("WarningLead");
}

void tst_HalvaneEventStore::refusesWithoutStoringAnything()
{
    QFETCH(QVariantList, events);
    QFETCH(QString, reason);
    HalvaneEventStore store;
    QVERIFY(store
                .store({ makeEvent(QStringLiteral("Kept"), QStringLiteral("kept-event"),
                                   { once(kDate, QStringLiteral("kept")) }) })
                .succeeded());
    const QList<QVariantMap> before = store.events();
    const HalvaneResult result = store.store(events);
    QVERIFY(!result.succeeded());
    QVERIFY(result.status() == kVXStatusInvalidEvent || result.status() == kVXStatusInvalidParameter);
    QVERIFY2(result.message().contains(reason), qPrintable(result.message()));
    QCOMPARE(store.events(), before);
}

void tst_HalvaneEventStore::removeTrigger()
{
    HalvaneEventStore store;
    QVERIFY(store
                .store({ makeEvent(QStringLiteral("A"), QStringLiteral("a"),
                                   { once(kDate, QStringLiteral("t1")), once(kDate, QStringLiteral("t2")) }) })
                .succeeded());
    store.removeTrigger(QStringLiteral("t1"));
    QVERIFY(!store.containsTrigger(QStringLiteral("t1")));
    QCOMPARE(store.event(QStringLiteral("a")).value(kVXEventTriggers).toList().size(), 1);
    store.removeTrigger(QStringLiteral("unknown"));
    QCOMPARE(store.events().size(), 1);
}

QTEST_GUILESS_MAIN(tst_HalvaneEventStore)
#include "tst_HalvaneEventStore.moc"
