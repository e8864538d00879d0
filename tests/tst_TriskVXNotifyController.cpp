// The notifier core and the trisk-notifier program against the real halvaned.
#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "TriskVXClassRegistry.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXDistributedNotificationCenter.h"
#include "TriskVXNotificationCenter.h"
#include "TriskVXNotifyController.h"
#include "TriskVXNotifyObject.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXRequest.h"
#include "TriskVXUserDefaults.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const int kWait = 10000;

struct Requests
{
    explicit Requests(const TriskVXServiceLocation &location)
        : connection(TriskVXConnection::connectionWithLocation(location))
        , controller(TriskVXRequestsController::requestsControllerWithConnection(connection.get()))
    {
        token = TriskVXNotificationCenter::defaultCenter()->addObserverForNameObjectQueueUsingBlock(
            QString(), controller.get(), nullptr, [this](const TriskVXNotification &notification) {
                if (notification.name() == TriskVXRequestsControllerNotificationRequestError)
                    errors.append(notification.userInfo());
                else if (notification.name() == TriskVXRequestsControllerNotificationPendingEmpty)
                    ++pendingEmpty;
            });
    }
    ~Requests() { TriskVXNotificationCenter::defaultCenter()->removeObserver(token); }
    std::unique_ptr<TriskVXConnection> connection;
    std::unique_ptr<TriskVXRequestsController> controller;
    QObject *token;
    QList<QVariantMap> errors;
    int pendingEmpty = 0;
};

class TestNotifier : public TriskVXNotifyObject
{
    Q_OBJECT

public:
    QSet<QString> observes() const override { return { kVXObserveSchedulerPending, kVXObserveSchedulerEnabled }; }
    void observedVariableDidBecome(const QString &, const QVariant &) override { ++calls; }
    void didShow() override { order.append(u"didShow"_s); }
    void didHide() override { order.append(u"didHide"_s); }
    int calls = 0;
    QStringList order;
};

QString domainFile()
{
    return TriskVXUserDefaults::standardUserDefaults()->fileOfDomain(kVXPreferencesDomain);
}

bool writeDomain(const QVariantMap &domain)
{
    QDir().mkpath(QFileInfo(domainFile()).absolutePath());
    return TriskVXPropertyListSerialization::writePropertyListToFile(domain, domainFile());
}

} // namespace

class tst_TriskVXNotifyController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void requestWithoutTheService();
    void requestsInFlightAndAtDisconnection();
    void preferencesDeployAndHideNotifiers();
    void program_data();
    void program();

private:
    void startController();
    TestNotifier *notifier(const QString &name) const
    {
        return static_cast<TestNotifier *>(m_controller->notifiers().value(name));
    }

    std::unique_ptr<HalvanedProcess> m_service;
    std::unique_ptr<TriskVXNotifyController> m_controller;
};

void tst_TriskVXNotifyController::init()
{
    for (const QVariant &entry : TriskVXNotifyController::desktopTable())
        TriskVXClassRegistry::registerClass(entry.toMap().value(u"class"_s).toString(), [] {
            return new TestNotifier;
        });
    QFile::remove(domainFile());
    m_service = std::make_unique<HalvanedProcess>();
    QVERIFY(m_service->start());
}

void tst_TriskVXNotifyController::cleanup()
{
    m_controller.reset();
    m_service.reset();
}

void tst_TriskVXNotifyController::startController()
{
    m_controller = std::make_unique<TriskVXNotifyController>();
    m_controller->setServiceLocation(m_service->location());
    m_controller->init();
    m_controller->awakeFromNib();
}

// The service is often away when the person clicks: the request fails at once, and is still told.
void tst_TriskVXNotifyController::requestWithoutTheService()
{
    Requests requests(TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), u"org.halvane.nowhere"_s));
    LogCapture log;
    requests.controller->performNow(u"e1"_s);
    QTRY_COMPARE_WITH_TIMEOUT(requests.errors.size(), 1, kWait);
    QCOMPARE(requests.errors.first(),
             (QVariantMap { { u"summary"_s, u"Perform now"_s }, { u"key"_s, QVariant::fromValue(qint32(-400)) } }));
    QCOMPARE(log.count(u"Halvane request failed: Perform now, -400"_s), 1);
    QCOMPARE(requests.controller->pending(), quint64(0));
    QCOMPARE(requests.pendingEmpty, 0);
}

void tst_TriskVXNotifyController::requestsInFlightAndAtDisconnection()
{
    Requests requests(m_service->location());
    QTRY_VERIFY_WITH_TIMEOUT(requests.connection->isValid(), kWait);
    const TriskVXRequest reset = TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset);
    requests.controller->sendRequestLocalisedSummary(&reset, u"first"_s);
    requests.controller->sendRequestLocalisedSummary(&reset, u"second"_s);
    // Had a completion run inside its send, the count would stick above zero.
    QCOMPARE(requests.controller->pending(), quint64(2));
    QTRY_COMPARE_WITH_TIMEOUT(requests.pendingEmpty, 1, kWait);
    QVERIFY(requests.controller->pending() == 0 && requests.errors.isEmpty());
    LogCapture log;
    m_service->pause();
    requests.controller->resetTrigger(u"a"_s);
    requests.controller->resetTrigger(u"b"_s);
    QCOMPARE(requests.controller->pending(), quint64(2));
    QVERIFY(m_service->kill());
    QTRY_COMPARE_WITH_TIMEOUT(log.count(u"Disconnected."_s), 1, kWait);
    QCOMPARE(requests.controller->pending(), quint64(0));
    // The two completions still come, once each, and find the count at zero: no "pending empty".
    QTRY_COMPARE_WITH_TIMEOUT(requests.errors.size(), 2, kWait);
    QCOMPARE(requests.errors.first().value(u"summary"_s), QVariant(u""_s));
    QCOMPARE(requests.pendingEmpty, 1);
}

void tst_TriskVXNotifyController::preferencesDeployAndHideNotifiers()
{
    QVERIFY(writeDomain({ { kVXPreferencesKeyNotifierStatusMenu, false } }));
    startController();
    QCOMPARE(m_controller->notifiers().size(), 3);
    TestNotifier *warning = notifier(kVXPreferencesKeyNotifierWarning);
    QVERIFY(warning && warning->isVisible());
    QVERIFY(warning->order.isEmpty());
    QVERIFY(writeDomain({ { kVXPreferencesKeyNotifierWarning, false } }));
    TriskVXDistributedNotificationCenter::defaultCenter()->postNotificationNameObjectUserInfo(
        kVXPreferencesNotificationSynchronise, kVXPreferencesDomain);
    QTRY_VERIFY(notifier(kVXPreferencesKeyNotifierStatusMenu) && !warning->isVisible());
    QCOMPARE(notifier(kVXPreferencesKeyNotifierWarning), warning);
    QVERIFY(!warning->order.contains(u"didShow"_s));
    // A zone change refreshes hidden notifiers too.
    QList<int> before;
    for (TriskVXNotifyObject *each : m_controller->notifiers())
        before.append(static_cast<TestNotifier *>(each)->calls);
    TriskVXNotificationCenter::defaultCenter()->postNotificationNameObject(
        TriskVXClock::TriskVXSystemTimeZoneDidChangeNotification(), nullptr);
    QList<int> after;
    for (TriskVXNotifyObject *each : m_controller->notifiers())
        after.append(static_cast<TestNotifier *>(each)->calls - 2);
    QCOMPARE(after, before);
    QCOMPARE(after.size(), 4);
    // A hand edit with no signal, leaving the domain malformed: read as absent.
    LogCapture log;
    QFile file(domainFile());
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("<plist><dict><key>notifier.warning</key>");
    file.close();
    QTRY_VERIFY(warning->isVisible());
    QCOMPARE(warning->order.last(), u"didShow"_s);
    QVERIFY(warning->calls > 0);
    QVERIFY(!log.messages("trisk.platform").filter(u"ignoring the preferences"_s).isEmpty());
}

void tst_TriskVXNotifyController::program_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("environment");
    QTest::addColumn<QByteArrayList>("lines");
    QTest::addColumn<int>("exitCode");
    // Under systemd each line carries its priority, 6 for info.
    QTest::newRow("start-up and SIGTERM")
        << QStringList() << u"JOURNAL_STREAM=8:1"_s
        << QByteArrayList { "<6>trisk.notifier: Authenticated: 1", "<6>trisk.notifier: started with 4 notifiers",
                            "stopping on signal 15" }
        << 0;
    QTest::newRow("the login window's table")
        << QStringList { u"-login"_s, u"YES"_s }
        << u"DBUS_SYSTEM_BUS_ADDRESS="_s + qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS")
        << QByteArrayList { "on the system bus, accepted", "started with 2 notifiers" } << 0;
    QTest::newRow("no bus") << QStringList() << u"DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/bus"_s
                            << QByteArrayList { "*** Assertion failure in awakeFromNib, TriskVXNotifyController:",
                                                "Connection failed" }
                            << 70;
}

void tst_TriskVXNotifyController::program()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, environment);
    QFETCH(QByteArrayList, lines);
    QFETCH(int, exitCode);
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.insert(u"HALVANE_SERVICE"_s, m_service->serviceName());
    if (!environment.isEmpty())
        variables.insert(environment.section(u'=', 0, 0), environment.section(u'=', 1));
    QProcess program;
    program.setProcessEnvironment(variables);
    program.setProcessChannelMode(QProcess::MergedChannels);
    program.start(QStringLiteral(TRISK_NOTIFIER_PATH), arguments);
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT(
        (output += program.readAll()).contains(lines.first()) || program.state() == QProcess::NotRunning, 15000);
    if (exitCode == 0)
        program.terminate();
    QVERIFY(program.state() == QProcess::NotRunning || program.waitForFinished(kWait));
    output += program.readAll();
    for (const QByteArray &line : std::as_const(lines))
        QVERIFY2(output.contains(line), output.constData());
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), exitCode);
}

QTEST_MAIN(tst_TriskVXNotifyController)
#include "tst_TriskVXNotifyController.moc"
