#include "HalvanedProcess.h"

#include <QProcess>
#include <QTest>

#include <csignal>

namespace {
const int kWait = 15000;
}

// The trisk-notifier program as a session starts it: on a private bus with the real halvaned.
class tst_TriskVXNotifierApplication : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void startsConnectsAndStopsOnSigterm();
    void loginWindowTable();
    void noBusAtAll();
    void journalFormatUnderSystemd();

private:
    QProcessEnvironment environment() const;

    HalvanedProcess m_service;
};

void tst_TriskVXNotifierApplication::initTestCase()
{
    QVERIFY(m_service.start({ QStringLiteral("--demo") }));
}

QProcessEnvironment tst_TriskVXNotifierApplication::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HALVANE_SERVICE"), m_service.serviceName());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    return environment;
}

void tst_TriskVXNotifierApplication::startsConnectsAndStopsOnSigterm()
{
    QProcess notifier;
    notifier.setProcessEnvironment(environment());
    notifier.setProcessChannelMode(QProcess::MergedChannels);
    notifier.start(QStringLiteral(TRISK_NOTIFIER_PATH), {});
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += notifier.readAll()).contains("Authenticated: 1"), kWait);
    // The status menu is in this build and deployed.
    QVERIFY(output.contains("started with 1 notifiers"));
    QVERIFY(!output.contains("no notifier class TriskVXStatusMenuController"));
    notifier.terminate();
    QVERIFY(notifier.waitForFinished(kWait));
    output += notifier.readAll();
    QCOMPARE(notifier.exitStatus(), QProcess::NormalExit);
    QCOMPARE(notifier.exitCode(), 0);
    QVERIFY(output.contains("stopping on signal 15"));
}

void tst_TriskVXNotifierApplication::loginWindowTable()
{
    QProcess notifier;
    notifier.setProcessEnvironment(environment());
    notifier.setProcessChannelMode(QProcess::MergedChannels);
    notifier.start(QStringLiteral(TRISK_NOTIFIER_PATH), { QStringLiteral("-login"), QStringLiteral("YES") });
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += notifier.readAll()).contains("started with"), kWait);
    QVERIFY(output.contains("no notifier class TriskVXLoginNotificationController"));
    QVERIFY(!output.contains("TriskVXStatusMenuController"));
    notifier.terminate();
    QVERIFY(notifier.waitForFinished(kWait));
}

void tst_TriskVXNotifierApplication::noBusAtAll()
{
    QProcessEnvironment without = environment();
    without.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent/bus"));
    QProcess notifier;
    notifier.setProcessEnvironment(without);
    notifier.setProcessChannelMode(QProcess::MergedChannels);
    notifier.start(QStringLiteral(TRISK_NOTIFIER_PATH), {});
    QVERIFY(notifier.waitForFinished(kWait));
    const QByteArray output = notifier.readAll();
    QCOMPARE(notifier.exitCode(), 70);
    QVERIFY2(output.contains("Connection failed"), output.constData());
    QVERIFY(output.contains("*** Assertion failure in awakeFromNib, TriskVXNotifyController:"));
}

void tst_TriskVXNotifierApplication::journalFormatUnderSystemd()
{
    QProcessEnvironment journal = environment();
    journal.insert(QStringLiteral("JOURNAL_STREAM"), QStringLiteral("8:12345"));
    QProcess notifier;
    notifier.setProcessEnvironment(journal);
    notifier.setProcessChannelMode(QProcess::MergedChannels);
    notifier.start(QStringLiteral(TRISK_NOTIFIER_PATH), {});
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += notifier.readAll()).contains("variables are read"), kWait);
    notifier.terminate();
    QVERIFY(notifier.waitForFinished(kWait));
    // Priority 6 (info) before every line the notifier writes.
    QVERIFY2(output.contains("<6>trisk.notifier: started with"), output.constData());
}

QTEST_GUILESS_MAIN(tst_TriskVXNotifierApplication)
#include "tst_TriskVXNotifierApplication.moc"
