#include "TriskVXClock.h"
#include "TriskVXIDateTransformer.h"

#include <QTest>
#include <QTimeZone>

namespace {
const QTimeZone kBerlin(QByteArrayLiteral("Europe/Berlin"));
QDateTime berlin(int year, int month, int day, int hour, int minute)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), kBerlin);
}
} // namespace

class tst_TriskVXIDateTransformer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void relativeDaysAway_data();
    void relativeDaysAway();
    void transformedValue_data();
    void transformedValue();
    void followsTheLocale();
    void followsTheClocksZoneWithoutOneOfItsOwn();
};

void tst_TriskVXIDateTransformer::relativeDaysAway_data()
{
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<QDateTime>("date");
    QTest::addColumn<qint64>("days");
    QTest::newRow("same instant") << berlin(2030, 3, 10, 12, 0) << berlin(2030, 3, 10, 12, 0) << qint64(0);
    QTest::newRow("later today") << berlin(2030, 3, 10, 0, 1) << berlin(2030, 3, 10, 23, 59) << qint64(0);
    QTest::newRow("two minutes, across midnight")
        << berlin(2030, 3, 10, 23, 59) << berlin(2030, 3, 11, 0, 1) << qint64(1);
    QTest::newRow("almost two days, one calendar day")
        << berlin(2030, 3, 10, 0, 0) << berlin(2030, 3, 11, 23, 59) << qint64(1);
    QTest::newRow("yesterday") << berlin(2030, 3, 10, 0, 30) << berlin(2030, 3, 9, 23, 30) << qint64(-1);
    QTest::newRow("across the spring clock change")
        << berlin(2030, 3, 30, 12, 0) << berlin(2030, 4, 1, 12, 0) << qint64(2);
    QTest::newRow("across the autumn clock change")
        << berlin(2030, 10, 26, 23, 0) << berlin(2030, 10, 27, 23, 30) << qint64(1);
    QTest::newRow("a year on") << berlin(2030, 1, 1, 9, 0) << berlin(2031, 1, 1, 9, 0) << qint64(365);
    QTest::newRow("UTC date, local day differs")
        << berlin(2030, 6, 1, 1, 30) << QDateTime(QDate(2030, 5, 31), QTime(23, 45), QTimeZone::utc()) << qint64(0);
}

void tst_TriskVXIDateTransformer::relativeDaysAway()
{
    QFETCH(QDateTime, now);
    QFETCH(QDateTime, date);
    QFETCH(qint64, days);
    TriskVXClock clock;
    clock.setNow(now);
    QCOMPARE(TriskVXIDateTransformer::relativeDaysAway(date, &clock, kBerlin), days);
}

void tst_TriskVXIDateTransformer::transformedValue_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QVariant>("text");
    QTest::newRow("today: the time") << QVariant(berlin(2030, 3, 13, 18, 5)) << QVariant(QStringLiteral("18:05"));
    QTest::newRow("tomorrow: weekday and time")
        << QVariant(berlin(2030, 3, 14, 7, 30)) << QVariant(QStringLiteral("Thursday 07:30"));
    QTest::newRow("six days on") << QVariant(berlin(2030, 3, 19, 9, 0)) << QVariant(QStringLiteral("Tuesday 09:00"));
    QTest::newRow("a week on: the date") << QVariant(berlin(2030, 3, 20, 9, 0))
                                         << QVariant(QStringLiteral("20/03/2030 09:00"));
    QTest::newRow("the past: the date") << QVariant(berlin(2030, 3, 12, 9, 0))
                                        << QVariant(QStringLiteral("12/03/2030 09:00"));
    QTest::newRow("not a date") << QVariant(QStringLiteral("soon")) << QVariant();
    QTest::newRow("nil") << QVariant() << QVariant();
    QTest::newRow("invalid date") << QVariant(QDateTime()) << QVariant();
}

void tst_TriskVXIDateTransformer::transformedValue()
{
    QFETCH(QVariant, value);
    QFETCH(QVariant, text);
    TriskVXClock clock;
    clock.setNow(berlin(2030, 3, 13, 8, 0));
    const TriskVXIDateTransformer transformer(&clock, QLocale(QLocale::English, QLocale::UnitedKingdom), kBerlin);
    QCOMPARE(transformer.transformedValue(value), text);
}

void tst_TriskVXIDateTransformer::followsTheLocale()
{
    TriskVXClock clock;
    clock.setNow(berlin(2030, 3, 13, 8, 0));
    const TriskVXIDateTransformer german(&clock, QLocale(QLocale::German, QLocale::Germany), kBerlin);
    QCOMPARE(german.transformedValue(QVariant(berlin(2030, 3, 14, 7, 30))),
             QVariant(QStringLiteral("Donnerstag 07:30")));
    const TriskVXIDateTransformer american(&clock, QLocale(QLocale::English, QLocale::UnitedStates), kBerlin);
    QVERIFY(american.transformedValue(QVariant(berlin(2030, 3, 13, 18, 5))).toString().contains(QStringLiteral("PM")));
}

void tst_TriskVXIDateTransformer::followsTheClocksZoneWithoutOneOfItsOwn()
{
    TriskVXClock clock;
    clock.setTimeZone(kBerlin);
    clock.setNow(berlin(2030, 3, 13, 8, 0));
    const TriskVXIDateTransformer transformer(&clock, QLocale(QLocale::English, QLocale::UnitedKingdom), QTimeZone());
    QCOMPARE(transformer.transformedValue(QVariant(berlin(2030, 3, 13, 18, 5))), QVariant(QStringLiteral("18:05")));
    // The zone moves (as the system's does when the clock posts its change): so do the texts.
    clock.setTimeZone(QTimeZone("America/New_York"));
    QCOMPARE(transformer.transformedValue(QVariant(berlin(2030, 3, 13, 18, 5))), QVariant(QStringLiteral("13:05")));
}

QTEST_GUILESS_MAIN(tst_TriskVXIDateTransformer)
#include "tst_TriskVXIDateTransformer.moc"
