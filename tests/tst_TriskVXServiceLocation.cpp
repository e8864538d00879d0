#include "TriskVXConstants.h"
#include "TriskVXServiceLocation.h"

#include <QTest>
#include <QUrlQuery>

class tst_TriskVXServiceLocation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fromEnvironment_data();
    void fromEnvironment();
    void url();
};

void tst_TriskVXServiceLocation::fromEnvironment_data()
{
    QTest::addColumn<QString>("bus");
    QTest::addColumn<QString>("service");
    QTest::addColumn<QString>("expectedDescription");
    QTest::addColumn<QString>("expectedService");
    QTest::addColumn<bool>("connected");
    QTest::newRow("defaults") << QString() << QString() << QStringLiteral("session") << kVXDBusServiceName << true;
    QTest::newRow("set but empty") << QStringLiteral("<empty>") << QStringLiteral("<empty>")
                                   << QStringLiteral("session") << kVXDBusServiceName << true;
    QTest::newRow("session, own name") << QStringLiteral("session") << QStringLiteral("org.example.S")
                                       << QStringLiteral("session") << QStringLiteral("org.example.S") << true;
    QTest::newRow("the test bus by address")
        << qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS") << QString()
        << qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS") << kVXDBusServiceName << true;
    QTest::newRow("an address nobody listens on")
        << QStringLiteral("unix:path=/nonexistent/bus") << QString() << QStringLiteral("unix:path=/nonexistent/bus")
        << kVXDBusServiceName << false;
}

void tst_TriskVXServiceLocation::fromEnvironment()
{
    QFETCH(QString, bus);
    QFETCH(QString, service);
    QFETCH(QString, expectedDescription);
    QFETCH(QString, expectedService);
    QFETCH(bool, connected);
    auto set = [](const char *name, const QString &value) {
        if (value.isEmpty())
            qunsetenv(name);
        else
            qputenv(name, value == QLatin1String("<empty>") ? QByteArray() : value.toUtf8());
    };
    set("HALVANE_BUS", bus);
    set("HALVANE_SERVICE", service);
    const TriskVXServiceLocation location = TriskVXServiceLocation::fromEnvironment();
    QCOMPARE(location.busDescription(), expectedDescription);
    QCOMPARE(location.serviceName(), expectedService);
    QCOMPARE(location.bus().isConnected(), connected);
}

void tst_TriskVXServiceLocation::url()
{
    const TriskVXServiceLocation location(QDBusConnection::sessionBus(), QStringLiteral("org.example.S"),
                                          QStringLiteral("session"));
    const QUrl url = location.url();
    QCOMPARE(url.scheme(), QStringLiteral("dbus"));
    QCOMPARE(url.path(), QStringLiteral("org.example.S"));
    QCOMPARE(QUrlQuery(url).queryItemValue(QStringLiteral("bus")), QStringLiteral("session"));
}

QTEST_GUILESS_MAIN(tst_TriskVXServiceLocation)
#include "tst_TriskVXServiceLocation.moc"
