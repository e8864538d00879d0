// The user notification centre against a recording notification server on the test's bus: what each
// delivery asks of the server, clicks and closes coming back, and a server that is missing or restarts.
#include "RecordingNotificationServer.h"
#include "TriskVXUserNotificationCenter.h"
#include "TriskVXUserNotificationCenterDelegate.h"

#include <QSignalSpy>
#include <QTest>

namespace {
class RecordingDelegate : public TriskVXUserNotificationCenterDelegate
{
public:
    QList<TriskVXUserNotification> activated;
    void userNotificationCenterDidActivateNotification(TriskVXUserNotificationCenter *,
                                                       const TriskVXUserNotification &notification) override
    {
        activated.append(notification);
    }
};

TriskVXUserNotification notification(const QString &identifier, const QString &title)
{
    TriskVXUserNotification made;
    made.setIdentifier(identifier);
    made.setTitle(title);
    made.setUserInfo({ { QStringLiteral("key"), identifier } });
    return made;
}

QStringList identifiers(const TriskVXUserNotificationCenter &center)
{
    QStringList result;
    const QList<TriskVXUserNotification> delivered = center.deliveredNotifications();
    for (const TriskVXUserNotification &one : delivered)
        result.append(one.identifier());
    return result;
}
} // namespace

class tst_TriskVXUserNotificationCenter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void asksWhatTheServerCanShow_data();
    void asksWhatTheServerCanShow();
    void followsClicksReplacementsAndCloses();
    void waitsForAServerAndShowsAgainAfterARestart();
};

void tst_TriskVXUserNotificationCenter::asksWhatTheServerCanShow_data()
{
    QTest::addColumn<QStringList>("capabilities");
    QTest::addColumn<QString>("body");
    QTest::addColumn<QStringList>("actions");
    QTest::addColumn<bool>("sound");

    const QString title = QStringLiteral("Back up <photos> & more");
    QTest::newRow("full server") << QStringList { QStringLiteral("actions"), QStringLiteral("body-markup"),
                                                  QStringLiteral("sound") }
                                 << QStringLiteral("At 10:00 &lt;soon&gt;\nAbout to happen.")
                                 << QStringList { QStringLiteral("default"), title, QStringLiteral("action-button"),
                                                  QStringLiteral("Adjust…") }
                                 << true;
    QTest::newRow("plain text, no actions, silent")
        << QStringList { QStringLiteral("body") } << QStringLiteral("At 10:00 <soon>\nAbout to happen.")
        << QStringList() << false;
}

void tst_TriskVXUserNotificationCenter::asksWhatTheServerCanShow()
{
    QFETCH(QStringList, capabilities);
    QFETCH(QString, body);
    QFETCH(QStringList, actions);
    QFETCH(bool, sound);

    RecordingNotificationServer server(capabilities);
    QVERIFY(server.start());
    TriskVXUserNotificationCenter center(QDBusConnection::sessionBus(), RecordingNotificationServer::testService());
    center.setApplicationName(QStringLiteral("Trisk Notifier"));
    center.setApplicationIcon(QStringLiteral("appointment-soon"));
    center.setDesktopEntry(QStringLiteral("org.halvane.TriskNotifier"));
    QTRY_VERIFY_WITH_TIMEOUT(center.isServerAvailable(), 10000);

    TriskVXUserNotification trigger = notification(QString(), QStringLiteral("Back up <photos> & more"));
    trigger.setSubtitle(QStringLiteral("At 10:00 <soon>"));
    trigger.setInformativeText(QStringLiteral("About to happen."));
    trigger.setHasActionButton(true);
    trigger.setActionButtonTitle(QStringLiteral("Adjust…"));
    trigger.setSoundName(TriskVXUserNotification::defaultSoundName());
    trigger.setUrgency(TriskVXUserNotification::Critical);
    center.deliverNotification(trigger);
    QTRY_VERIFY_WITH_TIMEOUT(server.received().size() == 1, 10000);

    const RecordingNotificationServer::Notification sent = server.received().constFirst();
    QCOMPARE(sent.appName, QStringLiteral("Trisk Notifier"));
    QCOMPARE(sent.appIcon, QStringLiteral("appointment-soon"));
    QCOMPARE(sent.summary, trigger.title());
    QCOMPARE(sent.body, body);
    QCOMPARE(sent.actions, actions);
    QCOMPARE(sent.replacesId, 0u);
    QCOMPARE(sent.hints.value(QStringLiteral("urgency")).typeId(), QMetaType::UChar);
    QCOMPARE(sent.hints.value(QStringLiteral("urgency")).toInt(), 2);
    QCOMPARE(sent.hints.value(QStringLiteral("desktop-entry")).toString(), QStringLiteral("org.halvane.TriskNotifier"));
    QCOMPARE(sent.hints.contains(QStringLiteral("sound-name")), sound);
    // The centre named the notification itself, and keeps it under that name.
    QCOMPARE(center.deliveredNotifications().size(), 1);
    QVERIFY(!center.deliveredNotifications().constFirst().identifier().isEmpty());
}

void tst_TriskVXUserNotificationCenter::followsClicksReplacementsAndCloses()
{
    RecordingNotificationServer server;
    QVERIFY(server.start());
    TriskVXUserNotificationCenter center(QDBusConnection::sessionBus(), RecordingNotificationServer::testService());
    RecordingDelegate delegate;
    center.setDelegate(&delegate);
    QSignalSpy shown(&center, &TriskVXUserNotificationCenter::notificationShown);

    center.deliverNotification(notification(QStringLiteral("a"), QStringLiteral("First")));
    center.deliverNotification(notification(QStringLiteral("b"), QStringLiteral("Second")));
    QTRY_VERIFY_WITH_TIMEOUT(shown.size() == 2, 10000);
    const uint a = server.last(QStringLiteral("First")).id;
    const uint b = server.last(QStringLiteral("Second")).id;

    // The same identifier replaces the notification on screen instead of adding one.
    center.deliverNotification(notification(QStringLiteral("a"), QStringLiteral("First, later")));
    QTRY_VERIFY_WITH_TIMEOUT(shown.size() == 3, 10000);
    QCOMPARE(server.last(QStringLiteral("First, later")).replacesId, a);
    QCOMPARE(identifiers(center), QStringList({ QStringLiteral("a"), QStringLiteral("b") }));

    server.invokeAction(a, QStringLiteral("action-button"));
    server.invokeAction(b, QStringLiteral("default"));
    QTRY_VERIFY_WITH_TIMEOUT(delegate.activated.size() == 2, 10000);
    QCOMPARE(delegate.activated.at(0).title(), QStringLiteral("First, later"));
    QCOMPARE(delegate.activated.at(0).activationType(), TriskVXUserNotification::ActionButtonClicked);
    QCOMPARE(delegate.activated.at(1).userInfo().value(QStringLiteral("key")).toString(), QStringLiteral("b"));
    QCOMPARE(delegate.activated.at(1).activationType(), TriskVXUserNotification::ContentsClicked);

    // The person closes one; the program withdraws the other.
    server.closeByPerson(b);
    QTRY_VERIFY_WITH_TIMEOUT(identifiers(center) == QStringList { QStringLiteral("a") }, 10000);
    center.removeDeliveredNotification(notification(QStringLiteral("a"), QString()));
    QVERIFY(center.deliveredNotifications().isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(server.closedByClient() == QList<uint> { a }, 10000);

    // Withdrawn before the server answered: closed as soon as its id is known.
    center.deliverNotification(notification(QStringLiteral("c"), QStringLiteral("Brief")));
    center.removeDeliveredNotification(notification(QStringLiteral("c"), QString()));
    QTRY_VERIFY_WITH_TIMEOUT(server.open().isEmpty() && server.closedByClient().size() == 2, 10000);
}

void tst_TriskVXUserNotificationCenter::waitsForAServerAndShowsAgainAfterARestart()
{
    TriskVXUserNotificationCenter center(QDBusConnection::sessionBus(), RecordingNotificationServer::testService());
    QSignalSpy available(&center, &TriskVXUserNotificationCenter::serverAvailableChanged);
    center.deliverNotification(notification(QStringLiteral("kept"), QStringLiteral("Kept")));
    center.deliverNotification(notification(QStringLiteral("gone"), QStringLiteral("Gone")));
    center.removeDeliveredNotification(notification(QStringLiteral("gone"), QString()));
    QCOMPARE(identifiers(center), QStringList { QStringLiteral("kept") });

    RecordingNotificationServer server;
    QVERIFY(server.start());
    QTRY_VERIFY_WITH_TIMEOUT(server.received().size() == 1, 10000);
    QCOMPARE(server.received().constFirst().summary, QStringLiteral("Kept"));

    // A restart loses what the old server showed: the centre shows it again, as new.
    server.stop();
    QTRY_VERIFY_WITH_TIMEOUT(!center.isServerAvailable(), 10000);
    QCOMPARE(identifiers(center), QStringList { QStringLiteral("kept") });
    QVERIFY(server.start());
    QTRY_VERIFY_WITH_TIMEOUT(server.received().size() == 2, 10000);
    QCOMPARE(server.received().at(1).summary, QStringLiteral("Kept"));
    QCOMPARE(server.received().at(1).replacesId, 0u);
    QCOMPARE(server.open(), QList<uint> { server.received().at(1).id });
    QCOMPARE(available.size(), 3);
}

QTEST_GUILESS_MAIN(tst_TriskVXUserNotificationCenter)
#include "tst_TriskVXUserNotificationCenter.moc"
