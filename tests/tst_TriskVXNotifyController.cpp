#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "TriskVXClassRegistry.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXDistributedNotificationCenter.h"
#include "TriskVXInternalInconsistencyException.h"
#include "TriskVXNotificationCenter.h"
#include "TriskVXNotifyController.h"
#include "TriskVXNotifyObject.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXUserDefaults.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

namespace {
// Stands in for each notifier of the tables, recording its life.
class TestNotifier : public TriskVXNotifyObject
{
    Q_OBJECT

public:
    QSet<QString> observes() const override { return { kVXObserveSchedulerEnabled }; }
    void observedVariableDidBecome(const QString &, const QVariant &) override { ++refreshes; }
    void didShow() override { ++shows; }
    void didHide() override { ++hides; }
    int refreshes = 0;
    int shows = 0;
    int hides = 0;
};

const QStringList kDesktopClasses { QStringLiteral("TriskVXStatusMenuController"),
                                    QStringLiteral("TriskVXWarningController"),
                                    QStringLiteral("TriskVXNotificationsController"),
                                    QStringLiteral("TriskVXUserNotificationController") };

QString domainFile()
{
    return TriskVXUserDefaults::standardUserDefaults()->fileOfDomain(kVXPreferencesDomain);
}

void writeDomain(const QVariantMap &domain)
{
    QDir().mkpath(QFileInfo(domainFile()).absolutePath());
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(domain, domainFile()));
}

TestNotifier *notifierOf(const TriskVXNotifyController &controller, const QString &name)
{
    return static_cast<TestNotifier *>(controller.notifiers().value(name));
}
} // namespace

class tst_TriskVXNotifyController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void allFourWithoutPreferences_data();
    void allFourWithoutPreferences();
    void switchedOffAtStartCreatedLater();
    void switchedOffLaterIsHiddenNotDestroyed();
    void handEditOfTheDomainFile();
    void loginWindowIgnoresPreferences();
    void timeZoneChangeRefreshesHiddenNotifiersToo();
    void classNotBuiltIsSkipped();
    void frameworkRequired();
    void connectionFailed();
    void reconnectsOnlyWhenTheServiceIsInstalled();

private:
    std::unique_ptr<TriskVXNotifyController> started();

    std::unique_ptr<HalvanedProcess> m_service;
};

void tst_TriskVXNotifyController::initTestCase()
{
    m_service = std::make_unique<HalvanedProcess>();
    QVERIFY(m_service->start());
}

void tst_TriskVXNotifyController::init()
{
    for (const QString &name : kDesktopClasses + QStringList { QStringLiteral("TriskVXLoginNotificationController") })
        TriskVXClassRegistry::registerClass(name, [] {
            return new TestNotifier;
        });
    QFile::remove(domainFile());
    TriskVXUserDefaults::standardUserDefaults()->registerDefaults({ { QStringLiteral("login"), false } });
}

std::unique_ptr<TriskVXNotifyController> tst_TriskVXNotifyController::started()
{
    auto controller = std::make_unique<TriskVXNotifyController>();
    controller->setServiceLocation(m_service->location());
    controller->init();
    controller->awakeFromNib();
    return controller;
}

void tst_TriskVXNotifyController::allFourWithoutPreferences_data()
{
    QTest::addColumn<bool>("writeEmpty");
    QTest::newRow("missing domain") << false;
    QTest::newRow("empty domain") << true;
}

void tst_TriskVXNotifyController::allFourWithoutPreferences()
{
    QFETCH(bool, writeEmpty);
    if (writeEmpty)
        writeDomain({});
    auto controller = started();
    QCOMPARE(controller->notifiers().size(), 4);
    for (const QVariant &entry : TriskVXNotifyController::desktopTable()) {
        TestNotifier *notifier = notifierOf(*controller, entry.toMap().value(QStringLiteral("name")).toString());
        QVERIFY(notifier);
        QVERIFY(notifier->isVisible());
        QCOMPARE(notifier->observer(), controller->observer());
        QCOMPARE(notifier->requests(), controller->requests());
        // New notifiers are not sent show.
        QCOMPARE(notifier->shows, 0);
    }
}

void tst_TriskVXNotifyController::switchedOffAtStartCreatedLater()
{
    writeDomain({ { kVXPreferencesKeyNotifierStatusMenu, false } });
    auto controller = started();
    QCOMPARE(controller->notifiers().size(), 3);
    QVERIFY(!controller->notifiers().contains(kVXPreferencesKeyNotifierStatusMenu));
    writeDomain({ { kVXPreferencesKeyNotifierStatusMenu, true } });
    TriskVXDistributedNotificationCenter::defaultCenter()->postNotificationNameObjectUserInfo(
        kVXPreferencesNotificationSynchronise, kVXPreferencesDomain);
    QTRY_VERIFY(controller->notifiers().contains(kVXPreferencesKeyNotifierStatusMenu));
    QCOMPARE(controller->notifiers().size(), 4);
}

void tst_TriskVXNotifyController::switchedOffLaterIsHiddenNotDestroyed()
{
    auto controller = started();
    TestNotifier *warning = notifierOf(*controller, kVXPreferencesKeyNotifierWarning);
    writeDomain({ { kVXPreferencesKeyNotifierWarning, false } });
    controller->defaultsNotified();
    QVERIFY(!warning->isVisible());
    QCOMPARE(warning->hides, 1);
    QCOMPARE(notifierOf(*controller, kVXPreferencesKeyNotifierWarning), warning);
    writeDomain({ { kVXPreferencesKeyNotifierWarning, true } });
    controller->defaultsNotified();
    QVERIFY(warning->isVisible());
    QCOMPARE(warning->shows, 1);
    // show ends in a full refresh.
    QVERIFY(warning->refreshes >= 1);
}

void tst_TriskVXNotifyController::handEditOfTheDomainFile()
{
    auto controller = started();
    TestNotifier *center = notifierOf(*controller, kVXPreferencesKeyNotifierNotificationCenter);
    // No signal: only the file changes, as a person's editor would change it.
    writeDomain({ { kVXPreferencesKeyNotifierNotificationCenter, false } });
    QTRY_VERIFY(!center->isVisible());
    // A malformed domain is logged and treated as absent: everything on.
    LogCapture log;
    QFile file(domainFile());
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("<plist><dict><key>notifier.notification-center</key>");
    file.close();
    QTRY_VERIFY(center->isVisible());
    QVERIFY(!log.messages("trisk.platform").filter(QStringLiteral("ignoring the preferences")).isEmpty());
}

void tst_TriskVXNotifyController::loginWindowIgnoresPreferences()
{
    TriskVXUserDefaults::standardUserDefaults()->registerDefaults({ { QStringLiteral("login"), true } });
    writeDomain({ { kVXPreferencesKeyNotifierWarning, false } });
    auto controller = started();
    QCOMPARE(controller->notifiers().keys().size(), 2);
    TestNotifier *warning = notifierOf(*controller, kVXPreferencesKeyNotifierWarning);
    TestNotifier *login = notifierOf(*controller, QStringLiteral("TriskVXLoginNotificationController"));
    QVERIFY(warning && login);
    QVERIFY(warning->isVisible());
    controller->defaultsNotified();
    QCOMPARE(warning->shows, 1);
    QCOMPARE(login->shows, 1);
    QCOMPARE(warning->hides, 0);
}

void tst_TriskVXNotifyController::timeZoneChangeRefreshesHiddenNotifiersToo()
{
    writeDomain({ { kVXPreferencesKeyNotifierStatusMenu, true }, { kVXPreferencesKeyNotifierWarning, false } });
    auto controller = started();
    writeDomain({ { kVXPreferencesKeyNotifierWarning, false } });
    TestNotifier *warning = notifierOf(*controller, kVXPreferencesKeyNotifierWarning);
    QVERIFY(!warning);
    // Make one hidden notifier.
    TestNotifier *menu = notifierOf(*controller, kVXPreferencesKeyNotifierStatusMenu);
    menu->hide();
    QList<int> before;
    for (TriskVXNotifyObject *notifier : controller->notifiers())
        before.append(static_cast<TestNotifier *>(notifier)->refreshes);
    TriskVXNotificationCenter::defaultCenter()->postNotificationNameObject(
        TriskVXClock::TriskVXSystemTimeZoneDidChangeNotification(), nullptr);
    int index = 0;
    for (TriskVXNotifyObject *notifier : controller->notifiers())
        QCOMPARE(static_cast<TestNotifier *>(notifier)->refreshes, before.at(index++) + 1);
    QVERIFY(!menu->isVisible());
}

void tst_TriskVXNotifyController::classNotBuiltIsSkipped()
{
    TriskVXClassRegistry::unregisterClass(QStringLiteral("TriskVXNotificationsController"));
    LogCapture log;
    auto controller = started();
    QCOMPARE(controller->notifiers().size(), 3);
    QCOMPARE(log.messages("trisk.notifier")
                 .filter(QStringLiteral("no notifier class TriskVXNotificationsController"))
                 .size(),
             1);
}

void tst_TriskVXNotifyController::frameworkRequired()
{
    TriskVXClassRegistry::unregisterClass(QStringLiteral("TriskVXConnection"));
    TriskVXNotifyController controller;
    controller.setServiceLocation(m_service->location());
    controller.init();
    QString description;
    try {
        controller.awakeFromNib();
    } catch (const TriskVXInternalInconsistencyException &exception) {
        description = exception.file() + QLatin1Char('|') + exception.description();
    }
    QCOMPARE(description, QStringLiteral("TriskVXNotifyController|Halvane framework is required."));
    TriskVXClassRegistry::registerClass(QStringLiteral("TriskVXConnection"), [] {
        return nullptr;
    });
}

void tst_TriskVXNotifyController::connectionFailed()
{
    const QDBusConnection nowhere
        = QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"), QStringLiteral("nowhere"));
    TriskVXNotifyController controller;
    controller.setServiceLocation(TriskVXServiceLocation::onBus(nowhere, kVXDBusServiceName));
    controller.init();
    QString description;
    try {
        controller.awakeFromNib();
    } catch (const TriskVXInternalInconsistencyException &exception) {
        description = exception.description();
    }
    QCOMPARE(description, QStringLiteral("Connection failed"));
}

void tst_TriskVXNotifyController::reconnectsOnlyWhenTheServiceIsInstalled()
{
    auto controller = started();
    QTRY_VERIFY(controller->connection()->isValid());
    QTRY_VERIFY(!controller->localService()->url().isEmpty());
    // Running (so installed for the local service): an invalidation makes it connect again at once.
    QSignalSpy authenticated(controller->connection(), &TriskVXConnection::didAuthenticate);
    controller->connectionDidInvalidate(controller->connection());
    QVERIFY(authenticated.wait(10000));
    // Neither installed nor running: nothing is done.
    HalvanedProcess gone;
    TriskVXNotifyController other;
    other.setServiceLocation(gone.location());
    other.init();
    other.awakeFromNib();
    QSignalSpy refreshed(other.localService(), &TriskVXLocalService::refreshed);
    QVERIFY(refreshed.wait(10000));
    QSignalSpy failed(other.connection(), &TriskVXConnection::connectionAttemptFailed);
    other.connectionDidInvalidate(other.connection());
    QVERIFY(!failed.wait(300));
}

QTEST_MAIN(tst_TriskVXNotifyController)
#include "tst_TriskVXNotifyController.moc"
