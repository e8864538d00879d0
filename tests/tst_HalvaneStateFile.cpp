#include "HalvaneStateFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

class tst_HalvaneStateFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTripKeepsEveryDate_data();
    void roundTripKeepsEveryDate();
    void missingAndUnreadable_data();
    void missingAndUnreadable();
    void replacesWholeAndLeavesNoTemporaryFile();
    void keepAside();
    void unwritableFolder();
};

void tst_HalvaneStateFile::roundTripKeepsEveryDate_data()
{
    QTest::addColumn<QDateTime>("date");
    QTest::newRow("today, with milliseconds") << QDateTime(QDate(2026, 11, 21), QTime(9, 30, 1, 250), QTimeZone::utc());
    QTest::newRow("before 1970") << QDateTime(QDate(1969, 7, 20), QTime(20, 17), QTimeZone::utc());
    QTest::newRow("after 2069, beyond libplist") << QDateTime(QDate(2200, 1, 1), QTime(0, 0), QTimeZone::utc());
    QTest::newRow("before 1932, beyond libplist") << QDateTime(QDate(1900, 1, 1), QTime(0, 0), QTimeZone::utc());
}

void tst_HalvaneStateFile::roundTripKeepsEveryDate()
{
    QFETCH(QDateTime, date);
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("store.plist"));
    const QVariantMap state { { QStringLiteral("date"), date },
                              { QStringLiteral("nested"),
                                QVariantList { QVariantMap { { QStringLiteral("d"), date } } } },
                              { QStringLiteral("number"), qint64(-5) } };
    QString error;
    QVERIFY2(HalvaneStateFile::save(path, state, &error), qPrintable(error));
    QVariantMap loaded;
    QCOMPARE(HalvaneStateFile::load(path, &loaded, &error), HalvaneStateFile::Outcome::Loaded);
    QCOMPARE(loaded, state);
}

void tst_HalvaneStateFile::missingAndUnreadable_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<bool>("exists");
    QTest::addColumn<int>("outcome");
    QTest::newRow("missing") << QByteArray() << false << int(HalvaneStateFile::Outcome::Missing);
    QTest::newRow("empty") << QByteArray() << true << int(HalvaneStateFile::Outcome::Unreadable);
    QTest::newRow("garbage") << QByteArray("not a plist at all") << true << int(HalvaneStateFile::Outcome::Unreadable);
    QTest::newRow("truncated binary") << QByteArray("bplist00\xd1\x01\x02", 11) << true
                                      << int(HalvaneStateFile::Outcome::Unreadable);
    QTest::newRow("an array") << QByteArray("<?xml version=\"1.0\"?><plist version=\"1.0\"><array/></plist>") << true
                              << int(HalvaneStateFile::Outcome::Unreadable);
}

void tst_HalvaneStateFile::missingAndUnreadable()
{
    QFETCH(QByteArray, contents);
    QFETCH(bool, exists);
    QFETCH(int, outcome);
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("store.plist"));
    if (exists) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(contents);
    }
    QVariantMap loaded;
    QString error;
    QCOMPARE(int(HalvaneStateFile::load(path, &loaded, &error)), outcome);
    QCOMPARE(error.isEmpty(), !exists);
    QVERIFY(loaded.isEmpty());
}

void tst_HalvaneStateFile::replacesWholeAndLeavesNoTemporaryFile()
{
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("deeper/store.plist"));
    QString error;
    QVERIFY(HalvaneStateFile::save(path, { { QStringLiteral("v"), qint64(1) } }, &error));
    QVERIFY(HalvaneStateFile::save(path, { { QStringLiteral("v"), qint64(2) } }, &error));
    QVariantMap loaded;
    QCOMPARE(HalvaneStateFile::load(path, &loaded, &error), HalvaneStateFile::Outcome::Loaded);
    QCOMPARE(loaded.value(QStringLiteral("v")).toLongLong(), 2);
    QCOMPARE(QDir(directory.filePath(QStringLiteral("deeper"))).entryList(QDir::Files),
             QStringList { QStringLiteral("store.plist") });
    QCOMPARE(QFile::permissions(path) & (QFile::ReadOther | QFile::ReadGroup), QFile::Permissions());
}

void tst_HalvaneStateFile::keepAside()
{
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("store.plist"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("broken");
    file.close();
    QString error;
    const QString aside = HalvaneStateFile::keepAside(path, &error);
    QVERIFY(aside.startsWith(path + QStringLiteral(".corrupt-")));
    QVERIFY(!QFile::exists(path));
    QFile kept(aside);
    QVERIFY(kept.open(QIODevice::ReadOnly));
    QCOMPARE(kept.readAll(), QByteArray("broken"));
}

void tst_HalvaneStateFile::unwritableFolder()
{
    QString error;
    QVERIFY(!HalvaneStateFile::save(QStringLiteral("/proc/halvane/store.plist"), { { QStringLiteral("v"), qint64(1) } },
                                    &error));
    QVERIFY(!error.isEmpty());
}

QTEST_GUILESS_MAIN(tst_HalvaneStateFile)
#include "tst_HalvaneStateFile.moc"
