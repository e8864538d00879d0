#include "HalvaneTriggerState.h"

#include <QTest>
#include <QTimeZone>

class tst_HalvaneTriggerState : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip();
    void emptyStateIsAnEmptyDictionary();
    void halfAnAdjustmentIsNone();
    void resetKeepsWhatCameToPass();
};

namespace {
const QDateTime kDate(QDate(2030, 6, 1), QTime(12, 0, 0, 5), QTimeZone::utc());
}

void tst_HalvaneTriggerState::roundTrip()
{
    HalvaneTriggerState state;
    state.anchor = kDate;
    state.lastFired = kDate.addDays(1);
    state.lastFiredDate = QDate(2030, 6, 2);
    state.adjustedNatural = kDate.addDays(2);
    state.adjustedDate = kDate.addDays(2).addSecs(600);
    state.skipped = { kDate.addDays(3), kDate.addDays(4) };
    state.until = kDate.addDays(9);
    QVERIFY(state.hasChanges());
    QVERIFY(HalvaneTriggerState::fromPropertyList(state.toPropertyList()) == state);
}

void tst_HalvaneTriggerState::emptyStateIsAnEmptyDictionary()
{
    QVERIFY(HalvaneTriggerState().toPropertyList().isEmpty());
    QVERIFY(!HalvaneTriggerState().hasChanges());
    QVERIFY(HalvaneTriggerState::fromPropertyList({}) == HalvaneTriggerState());
}

void tst_HalvaneTriggerState::halfAnAdjustmentIsNone()
{
    const HalvaneTriggerState state = HalvaneTriggerState::fromPropertyList(
        { { QStringLiteral("AdjustedDate"), kDate },
          { QStringLiteral("Skipped"), QVariantList { QStringLiteral("not a date"), kDate } } });
    QVERIFY(!state.adjustedDate.isValid());
    QVERIFY(!state.adjustedNatural.isValid());
    QCOMPARE(state.skipped, QList<QDateTime> { kDate });
}

void tst_HalvaneTriggerState::resetKeepsWhatCameToPass()
{
    HalvaneTriggerState state;
    state.anchor = kDate;
    state.lastFired = kDate;
    state.lastFiredDate = kDate.date();
    state.adjustedNatural = kDate.addDays(1);
    state.adjustedDate = kDate.addDays(2);
    state.skipped = { kDate.addDays(3) };
    state.until = kDate.addDays(4);
    state.resetChanges();
    QVERIFY(!state.hasChanges());
    QCOMPARE(state.anchor, kDate);
    QCOMPARE(state.lastFired, kDate);
    QCOMPARE(state.lastFiredDate, kDate.date());
}

QTEST_GUILESS_MAIN(tst_HalvaneTriggerState)
#include "tst_HalvaneTriggerState.moc"
