#include "TriskVXClock.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

class tst_TriskVXClock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void systemTimeByDefault();
    void manualTimeMovesOnlyWhenTold();
    void backToSystemTime();
};

void tst_TriskVXClock::systemTimeByDefault()
{
    TriskVXClock clock;
    QVERIFY(!clock.isManual());
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QDateTime now = clock.now();
    QVERIFY(now >= before);
    QCOMPARE(now.timeSpec(), Qt::UTC);
    QVERIFY(TriskVXClock::systemClock() == TriskVXClock::systemClock());
}

void tst_TriskVXClock::manualTimeMovesOnlyWhenTold()
{
    TriskVXClock clock;
    QSignalSpy changed(&clock, &TriskVXClock::timeChanged);
    const QDateTime start(QDate(2030, 6, 1), QTime(12, 0), QTimeZone(3600));
    clock.setNow(start);
    QVERIFY(clock.isManual());
    QCOMPARE(clock.now(), start);
    QCOMPARE(clock.now().timeSpec(), Qt::UTC);
    clock.advance(90 * 1000);
    QCOMPARE(clock.now(), start.addSecs(90));
    QCOMPARE(changed.count(), 2);
}

void tst_TriskVXClock::backToSystemTime()
{
    TriskVXClock clock;
    clock.setNow(QDateTime(QDate(1999, 1, 1), QTime(0, 0), QTimeZone::utc()));
    clock.useSystemTime();
    QVERIFY(!clock.isManual());
    QVERIFY(clock.now().date().year() > 2020);
}

QTEST_GUILESS_MAIN(tst_TriskVXClock)
#include "tst_TriskVXClock.moc"
