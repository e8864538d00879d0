#include "PrivateBus.h"
#include "TriskVXBusWatcher.h"

#include <QDBusConnection>
#include <QSignalSpy>
#include <QTest>

class tst_TriskVXBusWatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noticesTheBusGoingAway();
    void quietWhileTheBusLives();
};

void tst_TriskVXBusWatcher::noticesTheBusGoingAway()
{
    PrivateBus daemon;
    QVERIFY(daemon.start());
    const QString address = daemon.address();
    {
        const QDBusConnection bus = QDBusConnection::connectToBus(address, QStringLiteral("doomed"));
        QVERIFY(bus.isConnected());
        TriskVXBusWatcher watcher(bus);
        QVERIFY(watcher.isWatching());
        QSignalSpy disconnected(&watcher, &TriskVXBusWatcher::busDisconnected);
        daemon.kill();
        QVERIFY(disconnected.wait(10000));
        QCOMPARE(disconnected.count(), 1);
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("doomed"));
}

void tst_TriskVXBusWatcher::quietWhileTheBusLives()
{
    PrivateBus daemon;
    QVERIFY(daemon.start());
    const QString address = daemon.address();
    {
        const QDBusConnection bus = QDBusConnection::connectToBus(address, QStringLiteral("alive"));
        TriskVXBusWatcher watcher(bus);
        QSignalSpy disconnected(&watcher, &TriskVXBusWatcher::busDisconnected);
        QVERIFY(!disconnected.wait(300));
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("alive"));
}

QTEST_GUILESS_MAIN(tst_TriskVXBusWatcher)
#include "tst_TriskVXBusWatcher.moc"
