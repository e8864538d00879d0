#include "TriskVXConstants.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXRecords.h"

#include <QDateTime>
#include <QTest>
#include <QTimeZone>

class tst_TriskVXRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void queuedTriggerWithoutEvent();
    void performableOnDemand_data();
    void performableOnDemand();
    void rights_data();
    void rights();
    void firstQueuedWarning_data();
    void firstQueuedWarning();
    void wellFormedVariables_data();
    void wellFormedVariables();
    void wellFormedEvents_data();
    void wellFormedEvents();
};

void tst_TriskVXRecords::queuedTriggerWithoutEvent()
{
    const QVariantMap record { { kVXQueuedTriggerTriggerID, QStringLiteral("t") },
                               { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerType, kVXTriggerType_Once } } } };
    QVERIFY(!TriskVXRecords::eventNameOfQueuedTrigger(record).isValid());
    QVERIFY(TriskVXRecords::eventOfQueuedTrigger(record).isEmpty());
    QVERIFY(
        TriskVXIImageAssistant::imageAssistant()->UIIdentifierForEvent(record.value(kVXQueuedTriggerEvent)).isEmpty());
    QVERIFY(!TriskVXRecords::triggerDateOfQueuedTrigger(record).isValid());
    QVERIFY(TriskVXRecords::isWellFormedQueuedTrigger(record));
}

void tst_TriskVXRecords::performableOnDemand_data()
{
    QTest::addColumn<QVariantMap>("event");
    QTest::addColumn<bool>("performable");
    const QVariantList onDemand { kVXElementBehaviour_CanPerformOnDemand };
    QTest::newRow("enabled with behaviour")
        << QVariantMap { { kVXEventEnabled, true }, { kVXEventBehaviours, onDemand } } << true;
    QTest::newRow("disabled with behaviour")
        << QVariantMap { { kVXEventEnabled, false }, { kVXEventBehaviours, onDemand } } << false;
    QTest::newRow("enabled without behaviours") << QVariantMap { { kVXEventEnabled, true } } << false;
    QTest::newRow("enabled, empty behaviours")
        << QVariantMap { { kVXEventEnabled, true }, { kVXEventBehaviours, QVariantList() } } << false;
    QTest::newRow("enabled, other behaviour")
        << QVariantMap { { kVXEventEnabled, true }, { kVXEventBehaviours, QVariantList { QStringLiteral("Other") } } }
        << false;
    QTest::newRow("enabled absent") << QVariantMap { { kVXEventBehaviours, onDemand } } << false;
    QTest::newRow("enabled as number 1") << QVariantMap { { kVXEventEnabled, qint64(1) },
                                                          { kVXEventBehaviours, onDemand } }
                                         << true;
    QTest::newRow("enabled as a string") << QVariantMap { { kVXEventEnabled, QStringLiteral("yes") },
                                                          { kVXEventBehaviours, onDemand } }
                                         << false;
}

void tst_TriskVXRecords::performableOnDemand()
{
    QFETCH(QVariantMap, event);
    QFETCH(bool, performable);
    QCOMPARE(TriskVXRecords::isPerformableOnDemand(event), performable);
}

void tst_TriskVXRecords::rights_data()
{
    QTest::addColumn<QVariantList>("rights");
    QTest::addColumn<bool>("adjust");
    QTest::addColumn<bool>("cancel");
    auto right = [](const QString &signature, const QVariant &rule) {
        QVariantMap entry { { kVXAuthorisationRightSignature, signature } };
        if (rule.isValid())
            entry.insert(kVXAuthorisationRightRule, rule);
        return QVariant(entry);
    };
    QTest::newRow("empty") << QVariantList() << false << false;
    QTest::newRow("universal adjust") << QVariantList { right(kVXRPCSchedulerAdjust,
                                                              kVXAuthorisationRightRule_Universal) }
                                      << true << false;
    QTest::newRow("only a non-universal rule still grants")
        << QVariantList { right(kVXRPCSchedulerAdjust, QStringLiteral("admin")) } << true << false;
    QTest::newRow("entry without a rule grants nothing")
        << QVariantList { right(kVXRPCSchedulerAdjust, QVariant()) } << false << false;
    QTest::newRow("entries that are not dictionaries are skipped")
        << QVariantList { QStringLiteral("junk"), qint64(3),
                          right(kVXRPCSchedulerCancel, kVXAuthorisationRightRule_Universal) }
        << false << true;
    QTest::newRow("both") << QVariantList { right(kVXRPCSchedulerCancel, QStringLiteral("x")),
                                            right(kVXRPCSchedulerAdjust, QStringLiteral("y")) }
                          << true << true;
}

void tst_TriskVXRecords::rights()
{
    QFETCH(QVariantList, rights);
    QFETCH(bool, adjust);
    QFETCH(bool, cancel);
    QCOMPARE(TriskVXRecords::rightsGrant(rights, kVXRPCSchedulerAdjust), adjust);
    QCOMPARE(TriskVXRecords::rightsGrant(rights, kVXRPCSchedulerCancel), cancel);
}

void tst_TriskVXRecords::firstQueuedWarning_data()
{
    QTest::addColumn<QVariantList>("warnings");
    QTest::addColumn<QVariant>("shown");
    const QVariantMap first { { kVXQueuedWarningActionID, QStringLiteral("1") } };
    const QVariantMap second { { kVXQueuedWarningActionID, QStringLiteral("2") } };
    QTest::newRow("empty list shows nothing") << QVariantList() << QVariant();
    QTest::newRow("one") << QVariantList { first } << QVariant(first);
    QTest::newRow("several show only the first") << QVariantList { first, second, second } << QVariant(first);
}

void tst_TriskVXRecords::firstQueuedWarning()
{
    QFETCH(QVariantList, warnings);
    QFETCH(QVariant, shown);
    QCOMPARE(TriskVXRecords::firstQueuedWarning(warnings), shown);
}

void tst_TriskVXRecords::wellFormedVariables_data()
{
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("wellFormed");
    const QDateTime date(QDate(2030, 1, 1), QTime(0, 0), QTimeZone::utc());
    const QVariantMap queued { { kVXQueuedTriggerTriggerID, QStringLiteral("a") },
                               { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, date } } },
                               { kVXQueuedTriggerEvent, QVariantMap { { kVXEventName, QStringLiteral("E") } } } };
    QTest::newRow("enabled boolean") << kVXObserveSchedulerEnabled << QVariant(true) << true;
    QTest::newRow("enabled number") << kVXObserveSchedulerEnabled << QVariant(qint64(1)) << false;
    QTest::newRow("enabled list") << kVXObserveSchedulerEnabled << QVariant(QVariantList()) << false;
    QTest::newRow("pending") << kVXObserveSchedulerPending << QVariant(QVariantList { queued }) << true;
    QTest::newRow("pending empty") << kVXObserveSchedulerPending << QVariant(QVariantList()) << true;
    QTest::newRow("pending not a list") << kVXObserveSchedulerPending << QVariant(queued) << false;
    QTest::newRow("pending entry not a dictionary")
        << kVXObserveSchedulerPending << QVariant(QVariantList { queued, 3 }) << false;
    QTest::newRow("pending missing keys")
        << kVXObserveSchedulerPending << QVariant(QVariantList { QVariantMap() }) << true;
    QTest::newRow("pending id not a string")
        << kVXObserveNotificationsCurrent
        << QVariant(QVariantList { QVariantMap { { kVXQueuedTriggerTriggerID, qint64(4) } } }) << false;
    QTest::newRow("pending date not a date")
        << kVXObserveSchedulerPending
        << QVariant(QVariantList { QVariantMap {
               { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, QStringLiteral("soon") } } } } })
        << false;
    QTest::newRow("warning message not a string")
        << kVXObserveNotificationsWarning
        << QVariant(QVariantList { QVariantMap { { kVXQueuedWarningMessage, qint64(1) } } }) << false;
    QTest::newRow("warning") << kVXObserveNotificationsWarning
                             << QVariant(
                                    QVariantList { QVariantMap { { kVXQueuedWarningActionID, QStringLiteral("w") },
                                                                 { kVXQueuedWarningDate, date },
                                                                 { kVXQueuedWarningMessage, QStringLiteral("m") } } })
                             << true;
    QTest::newRow("active event not a dictionary")
        << kVXObserveSchedulerActive
        << QVariant(QVariantList { QVariantMap { { kVXActiveEventEvent, QStringLiteral("x") } } }) << false;
    QTest::newRow("on demand id not a string")
        << kVXObserveOnDemandAvailable << QVariant(QVariantList { QVariantMap { { kVXEventUniqueID, true } } })
        << false;
    QTest::newRow("rights with junk entry")
        << kVXObserveAuthorisationRights << QVariant(QVariantList { QStringLiteral("x") }) << false;
}

void tst_TriskVXRecords::wellFormedVariables()
{
    QFETCH(QString, variable);
    QFETCH(QVariant, value);
    QFETCH(bool, wellFormed);
    QString error;
    QCOMPARE(TriskVXRecords::isWellFormedVariable(variable, value, &error), wellFormed);
    QCOMPARE(error.isEmpty(), wellFormed);
}

void tst_TriskVXRecords::wellFormedEvents_data()
{
    QTest::addColumn<QVariant>("event");
    QTest::addColumn<bool>("wellFormed");
    const QVariantMap once { { kVXTriggerType, kVXTriggerType_Once },
                             { kVXTriggerDate, QDateTime(QDate(2030, 1, 1), QTime(0, 0), QTimeZone::utc()) } };
    const QVariantMap minimal { { kVXEventName, QStringLiteral("E") } };
    auto with = [&](const QString &key, const QVariant &value) {
        QVariantMap event = minimal;
        event.insert(key, value);
        return QVariant(event);
    };
    QTest::newRow("minimal") << QVariant(minimal) << true;
    QTest::newRow("not a dictionary") << QVariant(QStringLiteral("E")) << false;
    QTest::newRow("no name") << QVariant(QVariantMap { { kVXEventEnabled, true } }) << false;
    QTest::newRow("empty name") << with(kVXEventName, QStringLiteral("")) << false;
    QTest::newRow("enabled not boolean") << with(kVXEventEnabled, QStringLiteral("yes")) << false;
    QTest::newRow("behaviours not a list") << with(kVXEventBehaviours, kVXElementBehaviour_CanPerformOnDemand) << false;
    QTest::newRow("behaviour not a string") << with(kVXEventBehaviours, QVariantList { qint64(1) }) << false;
    QTest::newRow("once trigger") << with(kVXEventTriggers, QVariantList { once }) << true;
    QTest::newRow("once trigger without date")
        << with(kVXEventTriggers, QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once } } }) << false;
    QTest::newRow("trigger without type")
        << with(kVXEventTriggers, QVariantList { QVariantMap { { kVXTriggerDate, once.value(kVXTriggerDate) } } })
        << false;
    QTest::newRow("trigger not a dictionary") << with(kVXEventTriggers, QVariantList { qint64(1) }) << false;
    QTest::newRow("unique id not a string") << with(kVXEventUniqueID, qint64(1)) << false;
    QTest::newRow("notes not a string") << with(kVXEventNotes, QVariantList()) << false;
}

void tst_TriskVXRecords::wellFormedEvents()
{
    QFETCH(QVariant, event);
    QFETCH(bool, wellFormed);
    QString error;
    QCOMPARE(TriskVXRecords::isWellFormedEvent(event, &error), wellFormed);
    QCOMPARE(error.isEmpty(), wellFormed);
}

QTEST_GUILESS_MAIN(tst_TriskVXRecords)
#include "tst_TriskVXRecords.moc"
