#include "TriskVXClock.h"
#include "TriskVXDeadlineTimer.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

class tst_TriskVXDeadlineTimer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void manualClockFiresWhenMovedPast();
    void manualClockMovesShortOfTheDeadline();
    void zoneChangeIsAClockChange();
    void wallClockDeadline();
    void stopped();
};

void tst_TriskVXDeadlineTimer::manualClockFiresWhenMovedPast()
{
    TriskVXClock clock;
    const QDateTime start(QDate(2030, 1, 1), QTime(0, 0), QTimeZone::utc());
    clock.setNow(start);
    TriskVXDeadlineTimer timer(&clock);
    QSignalSpy timeout(&timer, &TriskVXDeadlineTimer::timeout);
    QSignalSpy changed(&timer, &TriskVXDeadlineTimer::clockChanged);
    timer.start(start.addSecs(60));
    QVERIFY(timer.isActive());
    clock.setNow(start.addSecs(120));
    QCOMPARE(timeout.count(), 1);
    QCOMPARE(changed.count(), 0);
    QVERIFY(!timer.isActive());
    // Fired once: moving on does not fire again.
    clock.setNow(start.addSecs(180));
    QCOMPARE(timeout.count(), 1);
}

void tst_TriskVXDeadlineTimer::manualClockMovesShortOfTheDeadline()
{
    TriskVXClock clock;
    const QDateTime start(QDate(2030, 1, 1), QTime(0, 0), QTimeZone::utc());
    clock.setNow(start);
    TriskVXDeadlineTimer timer(&clock);
    QSignalSpy timeout(&timer, &TriskVXDeadlineTimer::timeout);
    QSignalSpy changed(&timer, &TriskVXDeadlineTimer::clockChanged);
    timer.start(start.addSecs(60));
    clock.setNow(start.addSecs(-3600));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(timeout.count(), 0);
    QVERIFY(timer.isActive());
}

void tst_TriskVXDeadlineTimer::zoneChangeIsAClockChange()
{
    TriskVXClock clock;
    clock.setNow(QDateTime(QDate(2030, 1, 1), QTime(0, 0), QTimeZone::utc()));
    TriskVXDeadlineTimer timer(&clock);
    QSignalSpy changed(&timer, &TriskVXDeadlineTimer::clockChanged);
    clock.setTimeZone(QTimeZone(QByteArrayLiteral("Asia/Tokyo")));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(clock.timeZone().id(), QByteArrayLiteral("Asia/Tokyo"));
}

void tst_TriskVXDeadlineTimer::wallClockDeadline()
{
    TriskVXClock clock;
    TriskVXDeadlineTimer timer(&clock);
    QSignalSpy timeout(&timer, &TriskVXDeadlineTimer::timeout);
    const QDateTime deadline = QDateTime::currentDateTimeUtc().addMSecs(150);
    timer.start(deadline);
    QVERIFY(timeout.wait(5000));
    QVERIFY(QDateTime::currentDateTimeUtc() >= deadline);
    // A deadline already past fires at once.
    timer.start(QDateTime::currentDateTimeUtc().addSecs(-10));
    QVERIFY(timeout.wait(5000));
    QCOMPARE(timeout.count(), 2);
}

void tst_TriskVXDeadlineTimer::stopped()
{
    TriskVXClock clock;
    TriskVXDeadlineTimer timer(&clock);
    QSignalSpy timeout(&timer, &TriskVXDeadlineTimer::timeout);
    timer.start(QDateTime::currentDateTimeUtc().addMSecs(100));
    timer.stop();
    QVERIFY(!timer.isActive());
    QVERIFY(!timeout.wait(400));
}

QTEST_GUILESS_MAIN(tst_TriskVXDeadlineTimer)
#include "tst_TriskVXDeadlineTimer.moc"
