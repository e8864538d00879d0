#include "TriskVXBusWatcher.h"

#include <QDBusConnection>
#include <QProcess>
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
    QProcess daemon;
    daemon.start(QStringLiteral("dbus-daemon"),
                 { QStringLiteral("--session"), QStringLiteral("--print-address"), QStringLiteral("--nofork") });
    QVERIFY(daemon.waitForReadyRead(10000));
    const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
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
    daemon.waitForFinished();
}

void tst_TriskVXBusWatcher::quietWhileTheBusLives()
{
    QProcess daemon;
    daemon.start(QStringLiteral("dbus-daemon"),
                 { QStringLiteral("--session"), QStringLiteral("--print-address"), QStringLiteral("--nofork") });
    QVERIFY(daemon.waitForReadyRead(10000));
    const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
    {
        const QDBusConnection bus = QDBusConnection::connectToBus(address, QStringLiteral("alive"));
        TriskVXBusWatcher watcher(bus);
        QSignalSpy disconnected(&watcher, &TriskVXBusWatcher::busDisconnected);
        QVERIFY(!disconnected.wait(300));
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("alive"));
    daemon.terminate();
    daemon.waitForFinished();
}

QTEST_GUILESS_MAIN(tst_TriskVXBusWatcher)
#include "tst_TriskVXBusWatcher.moc"
