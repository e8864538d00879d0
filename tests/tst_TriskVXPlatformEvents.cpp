// The in-process notification centre, the clock and the deadline timer that follows it.
#include "TriskVXClock.h"
#include "TriskVXDeadlineTimer.h"
#include "TriskVXNotificationCenter.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

class tst_TriskVXPlatformEvents : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void notificationCenter();
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
    QObject *all = center.addObserverForNameObjectQueueUsingBlock(QString(), nullptr, nullptr, hear(u"all"_s));
    center.postNotificationNameObjectUserInfo(u"A"_s, nullptr, { { u"k"_s, 1 } });
    center.postNotificationNameObjectUserInfo(u"B"_s, &sender, { { u"k"_s, 2 } });
    center.postNotificationNameObjectUserInfo(u"A"_s, &sender, { { u"k"_s, 3 } });
    QCOMPARE(
        heard,
        QStringList({ u"A:A1"_s, u"all:A1"_s, u"sender:B2"_s, u"all:B2"_s, u"A:A3"_s, u"sender:A3"_s, u"all:A3"_s }));
    center.removeObserver(all);
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
    heard.clear();
    center.postNotificationNameObject(u"A"_s, &sender);
    center.postNotificationNameObject(u"A"_s, &sender);
    QCOMPARE(heard, QStringList({ u"A:A"_s, u"sender:A"_s, u"first"_s, u"A:A"_s, u"sender:A"_s, u"added:A"_s }));
    QCOMPARE(center.observerCount(), 3);
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
