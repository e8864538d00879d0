#include "TriskVXUnixSignalWatcher.h"

#include <QSignalSpy>
#include <QTest>

#include <csignal>

class tst_TriskVXUnixSignalWatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deliversOnTheEventLoop_data();
    void deliversOnTheEventLoop();
};

void tst_TriskVXUnixSignalWatcher::deliversOnTheEventLoop_data()
{
    QTest::addColumn<int>("signalNumber");
    QTest::newRow("SIGTERM") << int(SIGTERM);
    QTest::newRow("SIGHUP") << int(SIGHUP);
    QTest::newRow("SIGINT") << int(SIGINT);
}

void tst_TriskVXUnixSignalWatcher::deliversOnTheEventLoop()
{
    QFETCH(int, signalNumber);
    TriskVXUnixSignalWatcher watcher({ SIGTERM, SIGHUP, SIGINT });
    QSignalSpy spy(&watcher, &TriskVXUnixSignalWatcher::unixSignal);
    ::raise(signalNumber);
    // The handler only wrote to the pipe: nothing was delivered inside it.
    QCOMPARE(spy.count(), 0);
    QVERIFY(spy.wait(5000));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), signalNumber);
}

QTEST_GUILESS_MAIN(tst_TriskVXUnixSignalWatcher)
#include "tst_TriskVXUnixSignalWatcher.moc"
