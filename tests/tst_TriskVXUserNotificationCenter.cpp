// The user notification centre against a recording notification server on the test's bus.
#include "RecordingNotificationServer.h"
#include "TriskVXUserNotificationCenter.h"
#include "TriskVXUserNotificationCenterDelegate.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

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
    made.setUserInfo({ { u"key"_s, identifier } });
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

    const QString title = u"Back up <photos> & more"_s;
    QTest::newRow("full server") << QStringList { u"actions"_s, u"body-markup"_s, u"sound"_s }
                                 << u"At 10:00 &lt;soon&gt;\nAbout to happen."_s
                                 << QStringList { u"default"_s, title, u"action-button"_s, u"Adjust…"_s } << true;
    QTest::newRow("plain text, no actions, silent")
        << QStringList { u"body"_s } << u"At 10:00 <soon>\nAbout to happen."_s << QStringList() << false;
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
    center.setDesktopEntry(u"org.halvane.TriskNotifier"_s);
    QTRY_VERIFY_WITH_TIMEOUT(center.isServerAvailable(), 10000);

    TriskVXUserNotification trigger = notification(QString(), u"Back up <photos> & more"_s);
    trigger.setSubtitle(u"At 10:00 <soon>"_s);
    trigger.setInformativeText(u"About to happen."_s);
    trigger.setHasActionButton(true);
    trigger.setActionButtonTitle(u"Adjust…"_s);
    trigger.setSoundName(TriskVXUserNotification::defaultSoundName());
    trigger.setUrgency(TriskVXUserNotification::Critical);
    center.deliverNotification(trigger);
    QTRY_VERIFY_WITH_TIMEOUT(server.received().size() == 1, 10000);

    const RecordingNotificationServer::Notification sent = server.received().constFirst();
    QCOMPARE(sent.summary, trigger.title());
    QCOMPARE(sent.body, body);
    QCOMPARE(sent.actions, actions);
    QCOMPARE(sent.replacesId, 0u);
    QCOMPARE(sent.hints.value(u"urgency"_s).typeId(), QMetaType::UChar);
    QCOMPARE(sent.hints.value(u"urgency"_s).toInt(), 2);
    QCOMPARE(sent.hints.value(u"desktop-entry"_s).toString(), u"org.halvane.TriskNotifier"_s);
    QCOMPARE(sent.hints.contains(u"sound-name"_s), sound);
}

void tst_TriskVXUserNotificationCenter::followsClicksReplacementsAndCloses()
{
    RecordingNotificationServer server;
    QVERIFY(server.start());
    TriskVXUserNotificationCenter center(QDBusConnection::sessionBus(), RecordingNotificationServer::testService());
    RecordingDelegate delegate;
    center.setDelegate(&delegate);
    QSignalSpy shown(&center, &TriskVXUserNotificationCenter::notificationShown);

    center.deliverNotification(notification(u"a"_s, u"First"_s));
    center.deliverNotification(notification(u"b"_s, u"Second"_s));
    QTRY_VERIFY_WITH_TIMEOUT(shown.size() == 2, 10000);
    const uint a = server.last(u"First"_s).id;
    const uint b = server.last(u"Second"_s).id;

    server.invokeAction(a, u"action-button"_s);
    server.invokeAction(b, u"default"_s);
    QTRY_VERIFY_WITH_TIMEOUT(delegate.activated.size() == 2, 10000);
    QCOMPARE(delegate.activated.at(0).title(), u"First"_s);
    QCOMPARE(delegate.activated.at(0).activationType(), TriskVXUserNotification::ActionButtonClicked);
    QCOMPARE(delegate.activated.at(1).userInfo().value(u"key"_s).toString(), u"b"_s);
    QCOMPARE(delegate.activated.at(1).activationType(), TriskVXUserNotification::ContentsClicked);

    // Withdrawn before the server answered: closed as soon as its id is known.
    server.closeByPerson(b);
    QTRY_VERIFY_WITH_TIMEOUT(identifiers(center) == QStringList { u"a"_s }, 10000);
    center.deliverNotification(notification(u"c"_s, u"Brief"_s));
    center.removeDeliveredNotification(notification(u"c"_s, QString()));
    QTRY_VERIFY_WITH_TIMEOUT(server.open() == QList<uint> { a } && server.closedByClient().size() == 1, 10000);
}

void tst_TriskVXUserNotificationCenter::waitsForAServerAndShowsAgainAfterARestart()
{
    TriskVXUserNotificationCenter center(QDBusConnection::sessionBus(), RecordingNotificationServer::testService());
    QSignalSpy available(&center, &TriskVXUserNotificationCenter::serverAvailableChanged);
    center.deliverNotification(notification(u"kept"_s, u"Kept"_s));
    center.deliverNotification(notification(u"gone"_s, u"Gone"_s));
    center.removeDeliveredNotification(notification(u"gone"_s, QString()));
    QCOMPARE(identifiers(center), QStringList { u"kept"_s });

    RecordingNotificationServer server;
    QVERIFY(server.start());
    QTRY_VERIFY_WITH_TIMEOUT(server.received().size() == 1, 10000);
    QCOMPARE(server.received().constFirst().summary, u"Kept"_s);

    // A restart loses what the old server showed.
    server.stop();
    QTRY_VERIFY_WITH_TIMEOUT(!center.isServerAvailable(), 10000);
    QCOMPARE(identifiers(center), QStringList { u"kept"_s });
    QVERIFY(server.start());
    QTRY_VERIFY_WITH_TIMEOUT(server.received().size() == 2, 10000);
    QCOMPARE(server.received().at(1).summary, u"Kept"_s);
    QCOMPARE(server.received().at(1).replacesId, 0u);
    QCOMPARE(server.open(), QList<uint> { server.received().at(1).id });
    QCOMPARE(available.size(), 3);
}

QTEST_GUILESS_MAIN(tst_TriskVXUserNotificationCenter)
#include "tst_TriskVXUserNotificationCenter.moc"
