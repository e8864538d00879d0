// What the platform layer tells its users: the notification centre in process and over the session bus,
// the clock and the deadline timer that follows it. Unix signals and the loss of the bus are tested where
// the notifier and halvaned stop on them.
#include "TriskVXClock.h"
#include "TriskVXDeadlineTimer.h"
#include "TriskVXDistributedNotificationCenter.h"
#include "TriskVXNotificationCenter.h"

#include <QDBusConnectionInterface>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimeZone>

#include <atomic>

using namespace Qt::StringLiterals;

class tst_TriskVXPlatformEvents : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void notificationCenter();
    void distributedBetweenProcesses();
    void deadlineFollowsTheClock();
};

void tst_TriskVXPlatformEvents::notificationCenter()
{
    TriskVXNotificationCenter center;
    QStringList heard;
    auto hear = [&heard](const QString &who) {
        return [&heard, who](const TriskVXNotification &note) {
            heard.append(who + u':' + note.name() + note.userInfo().value(u"k"_s).toString());
        };
    };
    QObject sender;
    QObject observer;
    center.addObserverSelectorNameObject(&observer, hear(u"A"_s), u"A"_s, nullptr);
    center.addObserverSelectorNameObject(&observer, hear(u"sender"_s), QString(), &sender);
    center.addObserverSelectorNameObject(&observer, hear(u"A sender"_s), u"A"_s, &sender);
    QObject *all = center.addObserverForNameObjectQueueUsingBlock(QString(), nullptr, nullptr, hear(u"all"_s));
    center.postNotificationNameObjectUserInfo(u"A"_s, nullptr, { { u"k"_s, 1 } });
    center.postNotificationNameObjectUserInfo(u"B"_s, &sender, { { u"k"_s, 2 } });
    center.postNotificationNameObjectUserInfo(u"A"_s, &sender, { { u"k"_s, 3 } });
    QCOMPARE(heard,
             QStringList({ u"A:A1"_s, u"all:A1"_s, u"sender:B2"_s, u"all:B2"_s, u"A:A3"_s, u"sender:A3"_s,
                           u"A sender:A3"_s, u"all:A3"_s }));
    center.removeObserverNameObject(&observer, u"A"_s, &sender);
    center.removeObserver(all);
    // An observer with a queue of another thread is told on that thread.
    QThread thread;
    QObject queue;
    queue.moveToThread(&thread);
    thread.start();
    std::atomic<QThread *> deliveredOn { nullptr };
    center.addObserverForNameObjectQueueUsingBlock(u"Q"_s, nullptr, &queue, [&](const TriskVXNotification &) {
        deliveredOn = QThread::currentThread();
    });
    center.postNotificationNameObject(u"Q"_s, nullptr);
    QTRY_COMPARE(deliveredOn.load(), &thread);
    thread.quit();
    thread.wait();
    // Mid-post, an observer removes itself and the next one and adds another: observers see the
    // registrations as they were at the post, less the removed ones.
    QObject second;
    QObject *first
        = center.addObserverForNameObjectQueueUsingBlock(u"A"_s, nullptr, nullptr, [&](const TriskVXNotification &) {
              heard.append(u"first"_s);
              center.removeObserver(&second);
              center.removeObserver(first);
              center.addObserverForNameObjectQueueUsingBlock(u"A"_s, nullptr, nullptr, hear(u"added"_s));
          });
    center.addObserverSelectorNameObject(&second, hear(u"second"_s), u"A"_s, nullptr);
    {
        QObject gone;
        center.addObserverSelectorNameObject(&gone, hear(u"gone"_s), QString(), nullptr);
    }
    heard.clear();
    center.postNotificationNameObject(u"A"_s, &sender);
    center.postNotificationNameObject(u"A"_s, &sender);
    QCOMPARE(heard, QStringList({ u"A:A"_s, u"sender:A"_s, u"first"_s, u"A:A"_s, u"sender:A"_s, u"added:A"_s }));
    QCOMPARE(center.observerCount(), 4);
}

void tst_TriskVXPlatformEvents::distributedBetweenProcesses()
{
    // Connections of their own stand for the two processes (the default one holds back what it receives
    // until the event loop first runs, and may then deliver out of order).
    const QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"listening"_s);
    TriskVXDistributedNotificationCenter listening(bus);
    TriskVXDistributedNotificationCenter posting(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"o"_s));
    QStringList heard;
    auto hear = [&heard](const QString &who) {
        return [&heard, who](const QString &name, const QString &object, const QVariantMap &userInfo) {
            heard.append(QStringList { who, name, object, userInfo.value(u"k"_s).toString() }.join(u' '));
        };
    };
    QObject observer;
    QVERIFY(listening.addObserverSelectorNameObject(&observer, hear(u"scheduler"_s), u"Sync"_s, u"scheduler"_s));
    QVERIFY(listening.addObserverSelectorNameObject(&observer, hear(u"any"_s), u"Sync"_s, QString()));
    QVERIFY(listening.addObserverSelectorNameObject(&observer, hear(u"other name"_s), u"Other"_s, QString()));
    // Names that are no D-Bus member names cannot travel.
    QVERIFY(!listening.addObserverSelectorNameObject(&observer, hear(u"bad"_s), u"a-b"_s, QString()));
    QVERIFY(!posting.postNotificationNameObjectUserInfo(u"org.halvane.Dotted"_s, QString()));
    // The match rules go to the bus on the listening connection: a round trip there puts them in place.
    QVERIFY(bus.interface()->isServiceRegistered(u"org.freedesktop.DBus"_s));
    QVERIFY(posting.postNotificationNameObjectUserInfo(u"Sync"_s, u"scheduler"_s, { { u"k"_s, qint64(1) } }));
    QVERIFY(posting.postNotificationNameObjectUserInfo(u"Sync"_s, u"other"_s, { { u"k"_s, qint64(2) } }));
    // Delivered in order: once the last is heard, nothing else was.
    QTRY_COMPARE(heard,
                 QStringList({ u"scheduler Sync scheduler 1"_s, u"any Sync scheduler 1"_s, u"any Sync other 2"_s }));
}

void tst_TriskVXPlatformEvents::deadlineFollowsTheClock()
{
    TriskVXClock clock;
    const QDateTime start(QDate(2030, 1, 1), QTime(1, 0), QTimeZone(3600));
    clock.setNow(start);
    QCOMPARE(clock.now().timeSpec(), Qt::UTC);
    TriskVXDeadlineTimer timer(&clock);
    QSignalSpy timeout(&timer, &TriskVXDeadlineTimer::timeout);
    QSignalSpy changed(&timer, &TriskVXDeadlineTimer::clockChanged);
    // Each move of the clock gives exactly one of the two signals.
    auto signalsSoFar = [&] {
        return std::pair(int(timeout.count()), int(changed.count()));
    };
    timer.start(start.addSecs(60));
    clock.setNow(start.addSecs(-3600));
    QCOMPARE(signalsSoFar(), std::pair(0, 1));
    clock.setTimeZone(QTimeZone(QByteArrayLiteral("Asia/Tokyo")));
    QCOMPARE(signalsSoFar(), std::pair(0, 2));
    clock.advance(3659 * 1000);
    QCOMPARE(signalsSoFar(), std::pair(0, 3));
    clock.advance(1000);
    QCOMPARE(signalsSoFar(), std::pair(1, 3));
    // Fired once: moving on does not fire again; nor does a stopped timer.
    clock.advance(60 * 1000);
    timer.start(clock.now().addSecs(10));
    timer.stop();
    clock.advance(60 * 1000);
    QCOMPARE(signalsSoFar(), std::pair(1, 5));
    // Back on the wall clock, a deadline already past fires at once.
    timer.start(QDateTime::currentDateTimeUtc().addSecs(-10));
    clock.useSystemTime();
    QCOMPARE(signalsSoFar(), std::pair(2, 5));
    // The wall clock's own timer fires once the deadline has come.
    const QDateTime deadline = QDateTime::currentDateTimeUtc().addMSecs(100);
    timer.start(deadline);
    QVERIFY(timeout.wait(10000));
    QVERIFY(QDateTime::currentDateTimeUtc() >= deadline);
}

QTEST_GUILESS_MAIN(tst_TriskVXPlatformEvents)
#include "tst_TriskVXPlatformEvents.moc"
