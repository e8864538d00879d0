#include "HalvanedProcess.h"
#include "PrivateBus.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXLocalService.h"

#include <QDBusConnection>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {
const int kWait = 10000;
}

// Whether the service is installed is a matter of the bus's service files, so part of this test runs a
// bus daemon of its own with a service directory it controls.
class tst_TriskVXLocalService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nilWhenNeitherInstalledNorRunning();
    void urlWhileRunning();
    void defaultLocationFollowsTheEnvironment();
    void urlWhenActivatableAndActivationStartsTheService();
};

void tst_TriskVXLocalService::nilWhenNeitherInstalledNorRunning()
{
    TriskVXLocalService service(
        TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), HalvanedProcess::uniqueServiceName()));
    QSignalSpy refreshed(&service, &TriskVXLocalService::refreshed);
    QVERIFY(refreshed.wait(kWait));
    QVERIFY(service.url().isEmpty());
    QVERIFY(!service.isInstalled());
    QVERIFY(!service.isRunning());
}

void tst_TriskVXLocalService::urlWhileRunning()
{
    HalvanedProcess halvaned;
    TriskVXLocalService service(halvaned.location());
    QSignalSpy refreshed(&service, &TriskVXLocalService::refreshed);
    QVERIFY(refreshed.wait(kWait));
    QVERIFY(service.url().isEmpty());
    QSignalSpy urlChanged(&service, &TriskVXLocalService::urlChanged);
    QVERIFY(halvaned.start());
    QTRY_VERIFY_WITH_TIMEOUT(!service.url().isEmpty(), kWait);
    QCOMPARE(service.url().path(), halvaned.serviceName());
    QVERIFY(service.isRunning());
    QVERIFY(halvaned.stop());
    QTRY_VERIFY_WITH_TIMEOUT(service.url().isEmpty(), kWait);
    QCOMPARE(urlChanged.count(), 2);
}

void tst_TriskVXLocalService::defaultLocationFollowsTheEnvironment()
{
    HalvanedProcess halvaned;
    QVERIFY(halvaned.start());
    qputenv("HALVANE_SERVICE", halvaned.serviceName().toUtf8());
    TriskVXLocalService service;
    qunsetenv("HALVANE_SERVICE");
    QTRY_COMPARE_WITH_TIMEOUT(service.url().path(), halvaned.serviceName(), kWait);
}

void tst_TriskVXLocalService::urlWhenActivatableAndActivationStartsTheService()
{
    QTemporaryDir directory;
    const QString serviceName = HalvanedProcess::uniqueServiceName();
    const QString services = directory.filePath(QStringLiteral("services"));
    QVERIFY(QDir().mkpath(services));
    QFile serviceFile(services + QLatin1Char('/') + serviceName + QStringLiteral(".service"));
    QVERIFY(serviceFile.open(QIODevice::WriteOnly));
    serviceFile.write(QStringLiteral("[D-BUS Service]\nName=%1\nExec=%2 --bus session --name %1\n")
                          .arg(serviceName, QStringLiteral(HALVANED_PATH))
                          .toUtf8());
    serviceFile.close();
    QFile config(directory.filePath(QStringLiteral("bus.conf")));
    QVERIFY(config.open(QIODevice::WriteOnly));
    config.write(QStringLiteral("<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
                                "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                                "<busconfig><type>session</type><listen>unix:dir=%1</listen>"
                                "<servicedir>%2</servicedir><policy context=\"default\">"
                                "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                                "<allow own=\"*\"/></policy></busconfig>\n")
                     .arg(directory.path(), services)
                     .toUtf8());
    config.close();
    PrivateBus daemon;
    QVERIFY(daemon.start(config.fileName()));
    const QString address = daemon.address();
    {
        QDBusConnection bus = QDBusConnection::connectToBus(address, QStringLiteral("private"));
        QVERIFY(bus.isConnected());
        // The activated halvaned serves the session bus of its environment: this bus.
        qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
        const TriskVXServiceLocation location = TriskVXServiceLocation::onBus(bus, serviceName);
        TriskVXLocalService service(location);
        QSignalSpy refreshed(&service, &TriskVXLocalService::refreshed);
        QVERIFY(refreshed.wait(kWait));
        QVERIFY(service.isInstalled());
        QVERIFY(!service.isRunning());
        QCOMPARE(service.url().path(), serviceName);

        // Connecting starts the installed service.
        std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(location));
        QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
        QTRY_VERIFY_WITH_TIMEOUT(service.isRunning(), kWait);
        connection.reset();
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("private"));
}

QTEST_GUILESS_MAIN(tst_TriskVXLocalService)
#include "tst_TriskVXLocalService.moc"
