// The weekly update check on an injected clock, with the feed served by the test on 127.0.0.1.
#include "FeedServer.h"
#include "NotifierResources.h"
#include "RecordingNotificationServer.h"
#include "TriskUDFeedFetcherModule.h"
#include "TriskUDUpdrift.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXDeadlineTimer.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXSoftwareUpdateController.h"
#include "TriskVXUserNotificationCenter.h"
#include "TriskVXWorkspace.h"

#include <QApplication>
#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {
const QDateTime kNow(QDate(2030, 6, 1), QTime(8, 0), QTimeZone::utc());
const qint64 kDay = 86400;
} // namespace

class tst_TriskVXSoftwareUpdateController : public QObject
{
    Q_OBJECT

public:
    explicit tst_TriskVXSoftwareUpdateController(NotifierResources *resources)
        : m_resources(resources)
    {
    }

private Q_SLOTS:
    void initTestCase();
    void onlyAdministratorsCheck_data();
    void onlyAdministratorsCheck();
    void checksWeeklyAndNotifies();

private:
    void setPreference(const QVariant &check);

    NotifierResources *m_resources;
    QTemporaryDir m_preferences;
    FeedServer m_feed;
};

void tst_TriskVXSoftwareUpdateController::initTestCase()
{
    QVERIFY(TriskVXBundle::mainBundle() && TriskVXBundle::mainBundle()->installTranslations());
    TriskVXWorkspace::workspace()->setPreferencesDirectory(m_preferences.path());
}

void tst_TriskVXSoftwareUpdateController::setPreference(const QVariant &check)
{
    QVariantMap domain;
    if (check.isValid())
        domain.insert(kVXPreferencesKeySoftwareUpdateCheck, check);
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        domain, TriskVXWorkspace::workspace()->preferencesFile()));
}

void tst_TriskVXSoftwareUpdateController::onlyAdministratorsCheck_data()
{
    QTest::addColumn<QStringList>("groups");
    QTest::addColumn<bool>("right");
    QTest::newRow("ordinary groups") << QStringList { u"users"_s, u"audio"_s } << false;
    // Debian's log readers are not administrators.
    QTest::newRow("adm") << QStringList { u"adm"_s } << false;
    QTest::newRow("sudoers is not sudo") << QStringList { u"sudoers"_s } << false;
    QTest::newRow("admin prefix") << QStringList { u"users"_s, u"administrators"_s } << true;
    QTest::newRow("sudo") << QStringList { u"sudo"_s, u"users"_s } << true;
}

void tst_TriskVXSoftwareUpdateController::onlyAdministratorsCheck()
{
    QFETCH(QStringList, groups);
    QFETCH(bool, right);
    setPreference(QVariant());
    TriskVXClock clock;
    clock.setNow(kNow);
    TriskVXSoftwareUpdateController controller(nullptr, TriskUDFeedFetcherModule::factory(), &clock, nullptr);
    controller.setGroupNames([groups] {
        return groups;
    });
    QCOMPARE(controller.init(), right);
    QCOMPARE(controller.checkTimer() != nullptr, right);
}

void tst_TriskVXSoftwareUpdateController::checksWeeklyAndNotifies()
{
    m_feed.reply(200, "<releases><release version=\"9.0\"/><release version=\"8.0\"/></releases>");
    QByteArray info = "<plist version=\"1.0\"><dict><key>CFBundleShortVersionString</key><string>0.1.0</string>"
                      "<key>WendUpdateFeed</key><string>"
        + m_feed.url().toEncoded() + "</string></dict></plist>";
    QVERIFY(m_resources->write(u"Info.plist"_s, info));
    QDir().mkpath(QFileInfo(TriskUDUpdrift::defaultStateFile()).absolutePath());
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { u"lastCheck"_s, kNow.addSecs(-6 * kDay) } }, TriskUDUpdrift::defaultStateFile()));
    setPreference(QVariant());

    RecordingNotificationServer server;
    QVERIFY(server.start());
    TriskVXUserNotificationCenter center(QDBusConnection::sessionBus(), RecordingNotificationServer::testService());
    TriskVXClock clock;
    clock.setNow(kNow);
    TriskVXSoftwareUpdateController controller(&center, TriskUDFeedFetcherModule::factory(), &clock, nullptr);
    controller.setGroupNames([] {
        return QStringList { u"sudo"_s };
    });
    QSignalSpy checked(&controller, &TriskVXSoftwareUpdateController::checked);
    QVERIFY(controller.init());

    // A restart does not check at once: the next check is a day away.
    QCOMPARE(controller.checkTimer()->deadline(), kNow.addSecs(kDay));
    clock.setNow(kNow.addSecs(kDay - 1));
    QCoreApplication::processEvents();
    QCOMPARE(m_feed.requests(), 0);

    clock.setNow(kNow.addSecs(kDay));
    QTRY_VERIFY_WITH_TIMEOUT(checked.size() == 1, 10000);
    QTRY_VERIFY_WITH_TIMEOUT(server.received().size() == 1, 10000);
    QCOMPARE(server.received().constFirst().summary, u"Trisk Notifier update available"_s);
    QCOMPARE(server.received().constFirst().actions.value(3), u"Update"_s);
    QCOMPARE(center.deliveredNotifications().constFirst().userInfo(), (QVariantMap { { u"url"_s, u"update"_s } }));
    QCOMPARE(controller.checkTimer()->deadline(), kNow.addSecs(8 * kDay));

    setPreference(false);
    controller.defaultsNotified();
    QVERIFY(!controller.checkTimer());
    setPreference(true);
    controller.defaultsNotified();
    QCOMPARE(controller.checkTimer()->deadline(), kNow.addSecs(8 * kDay));

    // A failed check asked for by the person posts nothing.
    m_feed.reply(404, "gone");
    TriskVXWorkspace::workspace()->checkForSoftwareUpdates();
    QTRY_VERIFY_WITH_TIMEOUT(checked.size() == 2, 10000);
    QVERIFY(checked.at(1).at(1).toString().contains(u"HTTP 404"_s));
    QCoreApplication::processEvents();
    QCOMPARE(server.received().size(), 1);
}

int main(int argc, char *argv[])
{
    NotifierResources resources;
    resources.use();
    QApplication application(argc, argv);
    tst_TriskVXSoftwareUpdateController test(&resources);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_TriskVXSoftwareUpdateController.moc"
