// A real notification server (dunst on an Xvfb display of the test's own) takes what the centre sends.
#include "TriskVXUserNotificationCenter.h"
#include "WaitFor.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_DunstNotifications : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void closed(uint id, uint reason) { m_closed.append({ id, reason }); }

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void aRealServerShowsAndCloses();

private:
    QProcess m_display;
    QProcess m_server;
    QTemporaryDir m_home;
    QList<QPair<uint, uint>> m_closed;
};

void tst_DunstNotifications::initTestCase()
{
    const QString xvfb = QStandardPaths::findExecutable(u"Xvfb"_s);
    const QString dunst = QStandardPaths::findExecutable(u"dunst"_s);
    if (xvfb.isEmpty() || dunst.isEmpty())
        QSKIP("needs Xvfb and dunst (scripts/setup.sh installs them)");
    m_display.start(xvfb, { u"-displayfd"_s, u"1"_s, u"-nolisten"_s, u"tcp"_s, u"-screen"_s, u"0"_s, u"800x600x24"_s });
    QTRY_VERIFY_WITH_TIMEOUT(m_display.canReadLine() || m_display.state() == QProcess::NotRunning, 10000);
    const QByteArray number = m_display.readLine().trimmed();
    QVERIFY2(!number.isEmpty(), "Xvfb did not start");

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DISPLAY"_s, u":"_s + QString::fromLatin1(number));
    environment.insert(u"HOME"_s, m_home.path());
    environment.insert(u"XDG_CONFIG_HOME"_s, m_home.path());
    m_server.setProcessEnvironment(environment);
    m_server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_server.start(dunst, { u"-config"_s, u"/dev/null"_s });
    QVERIFY(QDBusConnection::sessionBus().connect(
        u"org.freedesktop.Notifications"_s, u"/org/freedesktop/Notifications"_s, u"org.freedesktop.Notifications"_s,
        u"NotificationClosed"_s, this, SLOT(closed(uint, uint))));
}

void tst_DunstNotifications::cleanupTestCase()
{
    m_server.terminate();
    m_server.waitForFinished();
    m_display.terminate();
    m_display.waitForFinished();
}

void tst_DunstNotifications::aRealServerShowsAndCloses()
{
    TriskVXUserNotificationCenter center(QDBusConnection::sessionBus());
    center.setApplicationName(u"Trisk Notifier"_s);
    center.setApplicationIcon(u"appointment-soon"_s);
    center.setDesktopEntry(u"org.halvane.TriskNotifier"_s);
    QSignalSpy shown(&center, &TriskVXUserNotificationCenter::notificationShown);
    QSignalSpy failed(&center, &TriskVXUserNotificationCenter::notificationFailed);
    QTRY_VERIFY_WITH_TIMEOUT(center.isServerAvailable(), 10000);
    QDBusInterface server(u"org.freedesktop.Notifications"_s, u"/org/freedesktop/Notifications"_s,
                          u"org.freedesktop.Notifications"_s);
    QCOMPARE(QDBusReply<QString>(server.call(u"GetServerInformation"_s)).value(), u"dunst"_s);
    QVERIFY(center.capabilities().contains(u"actions"_s));

    TriskVXUserNotification trigger;
    trigger.setTitle(u"Back up <photos> & more"_s);
    trigger.setSubtitle(u"“Back up <photos> & more” will be performed at 22:15."_s);
    trigger.setInformativeText(u"Click to change the time."_s);
    trigger.setHasActionButton(true);
    trigger.setActionButtonTitle(u"Adjust…"_s);
    trigger.setSoundName(TriskVXUserNotification::defaultSoundName());
    trigger.setUrgency(TriskVXUserNotification::Critical);
    trigger.setUserInfo({ { u"TriggerID"_s, u"t1"_s } });
    center.deliverNotification(trigger);
    TriskVXUserNotification update;
    update.setIdentifier(u"update"_s);
    update.setTitle(u"Trisk Notifier update available"_s);
    update.setHasActionButton(true);
    update.setActionButtonTitle(u"Update"_s);
    center.deliverNotification(update);
    QTRY_VERIFY_WITH_TIMEOUT(shown.size() == 2, 10000);
    QVERIFY(failed.isEmpty());

    const uint updateId = shown.at(1).at(1).toUInt();
    QVERIFY(updateId != 0);
    update.setSubtitle(u"Version 9.0"_s);
    center.deliverNotification(update);
    QTRY_VERIFY_WITH_TIMEOUT(shown.size() == 3, 10000);
    QCOMPARE(shown.at(2).at(1).toUInt(), updateId);
    center.removeDeliveredNotification(update);
    QTRY_VERIFY_WITH_TIMEOUT(!m_closed.isEmpty(), 10000);
    QCOMPARE(m_closed.constFirst(), qMakePair(updateId, 3u));
    QCOMPARE(center.deliveredNotifications().size(), 1);
}

QTEST_GUILESS_MAIN(tst_DunstNotifications)
#include "tst_DunstNotifications.moc"
