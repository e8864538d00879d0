#include "TriskVXPropertyListSerialization.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

using Serialization = TriskVXPropertyListSerialization;

class tst_TriskVXPropertyListSerialization : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip_data();
    void roundTrip();
    void xmlDatesKeepWholeSeconds();
    void readsAppleXml();
    void malformedData_data();
    void malformedData();
    void unsupportedValues_data();
    void unsupportedValues();
    void fileRoundTripIsAtomic();
    void unreadableFile();
};

void tst_TriskVXPropertyListSerialization::roundTrip_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("format");
    const QVariantMap nested {
        { QStringLiteral("string"), QStringLiteral("Grüße “quoted”") },
        { QStringLiteral("true"), true },
        { QStringLiteral("false"), false },
        { QStringLiteral("integer"), qint64(42) },
        { QStringLiteral("negative"), qint64(-7) },
        { QStringLiteral("large"), qint64(9007199254740993LL) },
        { QStringLiteral("real"), 2.5 },
        { QStringLiteral("data"), QByteArray("\x00\x01\xff", 3) },
        { QStringLiteral("date"), QDateTime(QDate(2031, 3, 4), QTime(5, 6, 7), QTimeZone::utc()) },
        { QStringLiteral("old date"), QDateTime(QDate(1960, 1, 2), QTime(3, 4, 5), QTimeZone::utc()) },
        { QStringLiteral("empty array"), QVariantList() },
        { QStringLiteral("empty dictionary"), QVariantMap() },
        { QStringLiteral("array"),
          QVariantList { qint64(1), QStringLiteral("two"), QVariantMap { { QStringLiteral("three"), 3.0 } } } },
    };
    for (int format : { int(Serialization::Format::Xml), int(Serialization::Format::Binary) }) {
        const char *name = format == int(Serialization::Format::Xml) ? "xml" : "binary";
        QTest::addRow("%s dictionary", name) << QVariant(nested) << format;
        QTest::addRow("%s array", name) << QVariant(QVariantList { nested, nested }) << format;
        QTest::addRow("%s string", name) << QVariant(QStringLiteral("alone")) << format;
    }
}

void tst_TriskVXPropertyListSerialization::roundTrip()
{
    QFETCH(QVariant, value);
    QFETCH(int, format);
    QString error;
    const QByteArray data = Serialization::dataWithPropertyList(value, Serialization::Format(format), &error);
    QVERIFY2(!data.isEmpty(), qPrintable(error));
    const QVariant back = Serialization::propertyListWithData(data, &error);
    QVERIFY2(back.isValid(), qPrintable(error));
    QCOMPARE(back, value);
}

void tst_TriskVXPropertyListSerialization::xmlDatesKeepWholeSeconds()
{
    // XML property lists write dates to the second; binary ones keep the fraction.
    const QDateTime date(QDate(2031, 3, 4), QTime(5, 6, 7, 250), QTimeZone::utc());
    const QByteArray xml = Serialization::dataWithPropertyList(QVariant(date), Serialization::Format::Xml);
    QCOMPARE(Serialization::propertyListWithData(xml).toDateTime(), date.addMSecs(-250));
    const QByteArray binary = Serialization::dataWithPropertyList(QVariant(date), Serialization::Format::Binary);
    QCOMPARE(Serialization::propertyListWithData(binary).toDateTime(), date);
    // Every millisecond survives the binary form's double, before and after 2001.
    for (const QDateTime &base : { QDateTime(QDate(2026, 11, 21), QTime(9, 43, 9), QTimeZone::utc()),
                                   QDateTime(QDate(1990, 1, 1), QTime(0, 0), QTimeZone::utc()) }) {
        for (int msec = 0; msec < 1000; ++msec) {
            const QDateTime stamp = base.addMSecs(msec);
            const QByteArray data = Serialization::dataWithPropertyList(QVariant(stamp), Serialization::Format::Binary);
            QCOMPARE(Serialization::propertyListWithData(data).toDateTime(), stamp);
        }
    }
}

void tst_TriskVXPropertyListSerialization::readsAppleXml()
{
    const QByteArray xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
  <key>notifier.status-menu</key><false/>
  <key>count</key><integer>-3</integer>
  <key>when</key><date>2001-01-01T00:00:10Z</date>
</dict></plist>)";
    const QVariantMap map = Serialization::propertyListWithData(xml).toMap();
    QCOMPARE(map.value(QStringLiteral("notifier.status-menu")).typeId(), int(QMetaType::Bool));
    QCOMPARE(map.value(QStringLiteral("notifier.status-menu")).toBool(), false);
    QCOMPARE(map.value(QStringLiteral("count")).toLongLong(), -3);
    QCOMPARE(map.value(QStringLiteral("when")).toDateTime(),
             QDateTime(QDate(2001, 1, 1), QTime(0, 0, 10), QTimeZone::utc()));
}

void tst_TriskVXPropertyListSerialization::malformedData_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("hello, world");
    QTest::newRow("truncated xml") << QByteArray("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key>");
    QTest::newRow("truncated binary") << QByteArray("bplist00\xd1\x01\x02", 11);
}

void tst_TriskVXPropertyListSerialization::malformedData()
{
    QFETCH(QByteArray, data);
    QString error;
    QVERIFY(!Serialization::propertyListWithData(data, &error).isValid());
    QVERIFY(!error.isEmpty());
}

void tst_TriskVXPropertyListSerialization::unsupportedValues_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("nil") << QVariant();
    QTest::newRow("point") << QVariant(QPoint(1, 2));
    QTest::newRow("nested nil") << QVariant(QVariantMap { { QStringLiteral("a"), QVariant() } });
    // libplist 2.2 keeps a date in 32-bit seconds from 2001: 1933 to 2069.
    QTest::newRow("date after 2069") << QVariant(QDateTime(QDate(2100, 1, 1), QTime(0, 0), QTimeZone::utc()));
}

void tst_TriskVXPropertyListSerialization::unsupportedValues()
{
    QFETCH(QVariant, value);
    QString error;
    QVERIFY(Serialization::dataWithPropertyList(value, Serialization::Format::Xml, &error).isEmpty());
    QVERIFY(!error.isEmpty());
}

void tst_TriskVXPropertyListSerialization::fileRoundTripIsAtomic()
{
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("domain.plist"));
    const QVariantMap first { { QStringLiteral("a"), qint64(1) } };
    QVERIFY(Serialization::writePropertyListToFile(first, path));
    QCOMPARE(Serialization::propertyListWithContentsOfFile(path), QVariant(first));
    // A value that cannot be written leaves the old file whole.
    QString error;
    QVERIFY(!Serialization::writePropertyListToFile(QVariant(QPoint()), path, Serialization::Format::Xml, &error));
    QVERIFY(error.contains(path));
    QCOMPARE(Serialization::propertyListWithContentsOfFile(path), QVariant(first));
}

void tst_TriskVXPropertyListSerialization::unreadableFile()
{
    QString error;
    QVERIFY(!Serialization::propertyListWithContentsOfFile(QStringLiteral("/nonexistent/x.plist"), &error).isValid());
    QVERIFY(error.contains(QStringLiteral("/nonexistent/x.plist")));
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("broken.plist"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("<plist><dict><key>");
    file.close();
    error.clear();
    QVERIFY(!Serialization::propertyListWithContentsOfFile(path, &error).isValid());
    QVERIFY(error.startsWith(path));
}

QTEST_GUILESS_MAIN(tst_TriskVXPropertyListSerialization)
#include "tst_TriskVXPropertyListSerialization.moc"
