#include "LogCapture.h"
#include "TriskVXDistributedNotificationCenter.h"

#include <QDBusConnection>
#include <QTest>

namespace {
struct Heard
{
    QString name;
    QString object;
    QVariantMap userInfo;
};
} // namespace

class tst_TriskVXDistributedNotificationCenter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void betweenProcesses_data();
    void betweenProcesses();
    void namesThatCannotTravel();
    void observerGoneHearsNothing();
    void removedObserverHearsNothing();

private:
    QDBusConnection other() const { return QDBusConnection(QStringLiteral("other-process")); }
};

void tst_TriskVXDistributedNotificationCenter::initTestCase()
{
    QVERIFY(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("other-process")).isConnected());
}

void tst_TriskVXDistributedNotificationCenter::cleanupTestCase()
{
    QDBusConnection::disconnectFromBus(QStringLiteral("other-process"));
}

void tst_TriskVXDistributedNotificationCenter::betweenProcesses_data()
{
    QTest::addColumn<QString>("observedObject");
    QTest::addColumn<QString>("postedName");
    QTest::addColumn<QString>("postedObject");
    QTest::addColumn<bool>("heard");
    QTest::newRow("name and object") << QStringLiteral("org.halvane.scheduler")
                                     << QStringLiteral("PreferencesSynchronise")
                                     << QStringLiteral("org.halvane.scheduler") << true;
    QTest::newRow("other object") << QStringLiteral("org.halvane.scheduler") << QStringLiteral("PreferencesSynchronise")
                                  << QStringLiteral("other") << false;
    QTest::newRow("any object") << QString() << QStringLiteral("PreferencesSynchronise") << QStringLiteral("other")
                                << true;
    QTest::newRow("other name") << QString() << QStringLiteral("SomethingElse")
                                << QStringLiteral("org.halvane.scheduler") << false;
}

void tst_TriskVXDistributedNotificationCenter::betweenProcesses()
{
    QFETCH(QString, observedObject);
    QFETCH(QString, postedName);
    QFETCH(QString, postedObject);
    QFETCH(bool, heard);
    TriskVXDistributedNotificationCenter listening(QDBusConnection::sessionBus());
    TriskVXDistributedNotificationCenter posting(other());
    QList<Heard> received;
    QObject observer;
    QVERIFY(listening.addObserverSelectorNameObject(
        &observer,
        [&](const QString &name, const QString &object, const QVariantMap &userInfo) {
            received.append({ name, object, userInfo });
        },
        QStringLiteral("PreferencesSynchronise"), observedObject));
    // Another observer on a name that is posted afterwards, as a fence: once it is heard, everything
    // posted before it has been delivered.
    bool fence = false;
    QVERIFY(listening.addObserverSelectorNameObject(
        &observer,
        [&](const QString &, const QString &, const QVariantMap &) {
            fence = true;
        },
        QStringLiteral("Fence"), QString()));
    QVERIFY(
        posting.postNotificationNameObjectUserInfo(postedName, postedObject, { { QStringLiteral("k"), qint64(1) } }));
    QVERIFY(posting.postNotificationNameObjectUserInfo(QStringLiteral("Fence"), QString()));
    QTRY_VERIFY(fence);
    QCOMPARE(received.size(), heard ? 1 : 0);
    if (heard) {
        QCOMPARE(received.first().name, postedName);
        QCOMPARE(received.first().object, postedObject);
        QCOMPARE(received.first().userInfo.value(QStringLiteral("k")).toLongLong(), 1);
    }
}

void tst_TriskVXDistributedNotificationCenter::namesThatCannotTravel()
{
    TriskVXDistributedNotificationCenter center(QDBusConnection::sessionBus());
    LogCapture log;
    QVERIFY(!center.postNotificationNameObjectUserInfo(QStringLiteral("org.halvane.Dotted"), QString()));
    QVERIFY(!center.postNotificationNameObjectUserInfo(QStringLiteral("9starts"), QString()));
    QCOMPARE(log.messages("trisk.platform").filter(QStringLiteral("not a D-Bus member name")).size(), 2);
    QObject observer;
    QVERIFY(!center.addObserverSelectorNameObject(
        &observer, [](const QString &, const QString &, const QVariantMap &) {}, QStringLiteral("a-b"), QString()));
}

void tst_TriskVXDistributedNotificationCenter::observerGoneHearsNothing()
{
    TriskVXDistributedNotificationCenter center(QDBusConnection::sessionBus());
    int calls = 0;
    bool fence = false;
    QObject fenceObserver;
    QVERIFY(center.addObserverSelectorNameObject(
        &fenceObserver,
        [&](const QString &, const QString &, const QVariantMap &) {
            fence = true;
        },
        QStringLiteral("Fence"), QString()));
    {
        QObject observer;
        QVERIFY(center.addObserverSelectorNameObject(
            &observer,
            [&](const QString &, const QString &, const QVariantMap &) {
                ++calls;
            },
            QStringLiteral("Gone"), QString()));
    }
    QVERIFY(center.postNotificationNameObjectUserInfo(QStringLiteral("Gone"), QString()));
    QVERIFY(center.postNotificationNameObjectUserInfo(QStringLiteral("Fence"), QString()));
    QTRY_VERIFY(fence);
    QCOMPARE(calls, 0);
}

void tst_TriskVXDistributedNotificationCenter::removedObserverHearsNothing()
{
    TriskVXDistributedNotificationCenter center(QDBusConnection::sessionBus());
    int calls = 0;
    bool fence = false;
    QObject observer;
    QVERIFY(center.addObserverSelectorNameObject(
        &observer,
        [&](const QString &, const QString &, const QVariantMap &) {
            ++calls;
        },
        QStringLiteral("Removed"), QStringLiteral("x")));
    QVERIFY(center.addObserverSelectorNameObject(
        &observer,
        [&](const QString &, const QString &, const QVariantMap &) {
            fence = true;
        },
        QStringLiteral("Fence"), QString()));
    center.removeObserverNameObject(&observer, QStringLiteral("Removed"), QStringLiteral("x"));
    QVERIFY(center.postNotificationNameObjectUserInfo(QStringLiteral("Removed"), QStringLiteral("x")));
    QVERIFY(center.postNotificationNameObjectUserInfo(QStringLiteral("Fence"), QString()));
    QTRY_VERIFY(fence);
    QCOMPARE(calls, 0);
    QVERIFY(TriskVXDistributedNotificationCenter::defaultCenter()
            == TriskVXDistributedNotificationCenter::defaultCenter());
}

QTEST_GUILESS_MAIN(tst_TriskVXDistributedNotificationCenter)
#include "tst_TriskVXDistributedNotificationCenter.moc"
