#include "HalvaneTrigger.h"
#include "TriskVXConstants.h"

#include <QTest>

namespace {
const QTimeZone kBerlin(QByteArrayLiteral("Europe/Berlin"));
const QTimeZone kNewYork(QByteArrayLiteral("America/New_York"));

QDateTime berlin(int y, int m, int d, int h, int min)
{
    return QDateTime(QDate(y, m, d), QTime(h, min), kBerlin);
}

QVariantMap daily(const QString &time)
{
    return { { kVXTriggerType, kVXTriggerType_Daily }, { kVXTriggerTime, time } };
}

QVariantMap weekly(const QString &time, const QVariantList &days)
{
    return { { kVXTriggerType, kVXTriggerType_Weekly }, { kVXTriggerTime, time }, { kVXTriggerWeekdays, days } };
}
} // namespace

class tst_HalvaneTrigger : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void validation_data();
    void validation();
    void nextFiring_data();
    void nextFiring();
};

void tst_HalvaneTrigger::validation_data()
{
    QTest::addColumn<QVariantMap>("trigger");
    QTest::addColumn<QString>("error");
    QTest::newRow("once") << QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                           { kVXTriggerDate, berlin(2030, 1, 1, 0, 0) } }
                          << QString();
    QTest::newRow("once without date") << QVariantMap { { kVXTriggerType, kVXTriggerType_Once } }
                                       << QStringLiteral("no date");
    QTest::newRow("daily") << daily(QStringLiteral("22:00")) << QString();
    QTest::newRow("daily with seconds") << daily(QStringLiteral("06:30:15")) << QString();
    QTest::newRow("daily without time") << QVariantMap { { kVXTriggerType, kVXTriggerType_Daily } }
                                        << QStringLiteral("Time of day");
    QTest::newRow("daily, bad time") << daily(QStringLiteral("25:00")) << QStringLiteral("Time of day");
    QTest::newRow("daily with weekdays") << QVariantMap { { kVXTriggerType, kVXTriggerType_Daily },
                                                          { kVXTriggerTime, QStringLiteral("10:00") },
                                                          { kVXTriggerWeekdays, QVariantList { qint64(1) } } }
                                         << QStringLiteral("no Weekdays");
    QTest::newRow("weekly") << weekly(QStringLiteral("08:00"), { qint64(1), qint64(5) }) << QString();
    QTest::newRow("weekly without days") << weekly(QStringLiteral("08:00"), {}) << QStringLiteral("needs Weekdays");
    QTest::newRow("weekly, day 8") << weekly(QStringLiteral("08:00"), { qint64(8) })
                                   << QStringLiteral("not a number from 1");
    QTest::newRow("weekly, day as text") << weekly(QStringLiteral("08:00"), { QStringLiteral("mon") })
                                         << QStringLiteral("not a number from 1");
    QTest::newRow("unknown type") << QVariantMap { { kVXTriggerType, QStringLiteral("Lunar") } }
                                  << QStringLiteral("unknown trigger type Lunar");
}

void tst_HalvaneTrigger::validation()
{
    QFETCH(QVariantMap, trigger);
    QFETCH(QString, error);
    QString message;
    QCOMPARE(HalvaneTrigger::isValid(trigger, &message), error.isEmpty());
    QVERIFY2(message.contains(error), qPrintable(message));
}

void tst_HalvaneTrigger::nextFiring_data()
{
    QTest::addColumn<QVariantMap>("trigger");
    QTest::addColumn<QDateTime>("after");
    QTest::addColumn<QDate>("lastFiredDate");
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<QDateTime>("next");
    const QDateTime once = berlin(2030, 5, 1, 12, 0);
    const QVariantMap onceTrigger { { kVXTriggerType, kVXTriggerType_Once }, { kVXTriggerDate, once } };
    QTest::newRow("once, no bound") << onceTrigger << QDateTime() << QDate() << QByteArray("Europe/Berlin")
                                    << once.toUTC();
    QTest::newRow("once, before") << onceTrigger << once.addSecs(-1) << QDate() << QByteArray("Europe/Berlin")
                                  << once.toUTC();
    QTest::newRow("once, at it: none") << onceTrigger << once << QDate() << QByteArray("Europe/Berlin") << QDateTime();
    QTest::newRow("daily, later today") << daily(QStringLiteral("22:00")) << berlin(2030, 5, 1, 8, 0) << QDate()
                                        << QByteArray("Europe/Berlin") << berlin(2030, 5, 1, 22, 0).toUTC();
    QTest::newRow("daily, tomorrow") << daily(QStringLiteral("07:00")) << berlin(2030, 5, 1, 8, 0) << QDate()
                                     << QByteArray("Europe/Berlin") << berlin(2030, 5, 2, 7, 0).toUTC();
    QTest::newRow("daily, at the time: the next day")
        << daily(QStringLiteral("08:00")) << berlin(2030, 5, 1, 8, 0) << QDate() << QByteArray("Europe/Berlin")
        << berlin(2030, 5, 2, 8, 0).toUTC();
    QTest::newRow("daily, once a local day")
        << daily(QStringLiteral("22:00")) << berlin(2030, 5, 1, 8, 0) << QDate(2030, 5, 1)
        << QByteArray("Europe/Berlin") << berlin(2030, 5, 2, 22, 0).toUTC();
    QTest::newRow("daily, in the spring gap: after it")
        << daily(QStringLiteral("02:30")) << berlin(2030, 3, 30, 12, 0) << QDate() << QByteArray("Europe/Berlin")
        << QDateTime(QDate(2030, 3, 31), QTime(1, 0), QTimeZone::utc());
    QTest::newRow("daily, autumn twice: the first")
        << daily(QStringLiteral("02:30")) << berlin(2030, 10, 26, 12, 0) << QDate() << QByteArray("Europe/Berlin")
        << QDateTime(QDate(2030, 10, 27), QTime(0, 30), QTimeZone::utc());
    QTest::newRow("daily, other zone") << daily(QStringLiteral("22:00")) << berlin(2030, 5, 1, 8, 0) << QDate()
                                       << QByteArray("America/New_York")
                                       << QDateTime(QDate(2030, 5, 1), QTime(22, 0), kNewYork).toUTC();
    QTest::newRow("weekly, next Friday") << weekly(QStringLiteral("18:00"), { qint64(5) }) << berlin(2030, 5, 1, 8, 0)
                                         << QDate() << QByteArray("Europe/Berlin") << berlin(2030, 5, 3, 18, 0).toUTC();
    QTest::newRow("weekly, Wednesday after its time")
        << weekly(QStringLiteral("07:00"), { qint64(3) }) << berlin(2030, 5, 1, 8, 0) << QDate()
        << QByteArray("Europe/Berlin") << berlin(2030, 5, 8, 7, 0).toUTC();
    QTest::newRow("weekly, two days") << weekly(QStringLiteral("09:00"), { qint64(1), qint64(4) })
                                      << berlin(2030, 5, 1, 8, 0) << QDate() << QByteArray("Europe/Berlin")
                                      << berlin(2030, 5, 2, 9, 0).toUTC();
}

void tst_HalvaneTrigger::nextFiring()
{
    QFETCH(QVariantMap, trigger);
    QFETCH(QDateTime, after);
    QFETCH(QDate, lastFiredDate);
    QFETCH(QByteArray, zone);
    QFETCH(QDateTime, next);
    QCOMPARE(HalvaneTrigger(trigger).nextFiring(after, lastFiredDate, QTimeZone(zone)), next);
}

QTEST_GUILESS_MAIN(tst_HalvaneTrigger)
#include "tst_HalvaneTrigger.moc"
