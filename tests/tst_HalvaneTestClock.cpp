#include "HalvaneTestClock.h"
#include "LogCapture.h"
#include "TriskVXClock.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

class tst_HalvaneTestClock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void movesTheClock();
    void timeZones_data();
    void timeZones();
};

void tst_HalvaneTestClock::movesTheClock()
{
    TriskVXClock clock;
    HalvaneTestClock testClock(&clock);
    QSignalSpy changed(&clock, &TriskVXClock::timeChanged);
    const QDateTime when(QDate(2031, 2, 3), QTime(4, 5, 6, 7), QTimeZone::utc());
    testClock.SetNow(when.toMSecsSinceEpoch());
    QCOMPARE(clock.now(), when);
    QCOMPARE(testClock.Now(), when.toMSecsSinceEpoch());
    QCOMPARE(changed.count(), 1);
}

void tst_HalvaneTestClock::timeZones_data()
{
    QTest::addColumn<QString>("zone");
    QTest::addColumn<bool>("known");
    QTest::newRow("Berlin") << QStringLiteral("Europe/Berlin") << true;
    QTest::newRow("UTC") << QStringLiteral("UTC") << true;
    QTest::newRow("nowhere") << QStringLiteral("Atlantis/Capital") << false;
}

void tst_HalvaneTestClock::timeZones()
{
    QFETCH(QString, zone);
    QFETCH(bool, known);
    TriskVXClock clock;
    clock.setTimeZone(QTimeZone(QByteArrayLiteral("Asia/Tokyo")));
    HalvaneTestClock testClock(&clock);
    LogCapture log;
    QCOMPARE(testClock.SetTimeZone(zone), known);
    QCOMPARE(clock.timeZone().id(), known ? zone.toUtf8() : QByteArrayLiteral("Asia/Tokyo"));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("unknown time zone")).size(), known ? 0 : 1);
}

QTEST_GUILESS_MAIN(tst_HalvaneTestClock)
#include "tst_HalvaneTestClock.moc"
