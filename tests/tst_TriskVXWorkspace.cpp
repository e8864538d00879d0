#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "TriskVXAdjustDialog.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXObserver.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXWorkspace.h"

#include <QApplication>
#include <QDateTimeEdit>
#include <QFile>
#include <QLabel>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {
const int kWait = 10000;

void writeFile(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(contents);
}
} // namespace

class tst_TriskVXWorkspace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sharedWorkspace();
    void preferences();
    void malformedPreferenceDomains_data();
    void malformedPreferenceDomains();
    void tools();
    void supportFolder();
    void adjustDialogSendsTheAdjustRequest();
    void adjustDialogFromARecord();
    void adjustWithoutATrigger();
    void quickScheduleAndUpdateCheckAreHandedOn();
};

void tst_TriskVXWorkspace::sharedWorkspace()
{
    QCOMPARE(TriskVXWorkspace::workspace(), TriskVXWorkspace::workspace());
    // By default the domain lives under the XDG config home.
    QCOMPARE(TriskVXWorkspace::workspace()->preferencesFile(),
             qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/halvane/") + kVXPreferencesDomain
                 + QStringLiteral(".plist"));
}

void tst_TriskVXWorkspace::preferences()
{
    QTemporaryDir directory;
    TriskVXWorkspace workspace;
    workspace.setPreferencesDirectory(directory.path());
    QVERIFY(!workspace.preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck).isValid());
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { kVXPreferencesKeySoftwareUpdateCheck, false },
                      { QStringLiteral("notifier.login.position-vertical"), 0.25 } },
        workspace.preferencesFile()));
    QCOMPARE(workspace.preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck), QVariant(false));
    QCOMPARE(workspace.preferenceForKey(QStringLiteral("notifier.login.position-vertical")), QVariant(0.25));
    QVERIFY(!workspace.preferenceForKey(QStringLiteral("absent")).isValid());
    // A change by any editor is read on the next call, even within the same second.
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { kVXPreferencesKeySoftwareUpdateCheck, true } }, workspace.preferencesFile()));
    QCOMPARE(workspace.preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck), QVariant(true));
    QVERIFY(QFile::remove(workspace.preferencesFile()));
    QVERIFY(!workspace.preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck).isValid());
}

void tst_TriskVXWorkspace::malformedPreferenceDomains_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QString>("reason");
    QTest::newRow("not a plist") << QByteArray("software-update.check = yes") << QStringLiteral("not a property list");
    QTest::newRow("an array") << QByteArray(
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><true/></array></plist>")
                              << QStringLiteral("not a dictionary");
    QTest::newRow("empty") << QByteArray() << QStringLiteral("empty");
}

void tst_TriskVXWorkspace::malformedPreferenceDomains()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, reason);
    QTemporaryDir directory;
    TriskVXWorkspace workspace;
    workspace.setPreferencesDirectory(directory.path());
    writeFile(workspace.preferencesFile(), contents);
    LogCapture log;
    QVERIFY(!workspace.preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck).isValid());
    const QStringList messages = log.messages("trisk.halvane");
    QCOMPARE(messages.size(), 1);
    QVERIFY2(messages.first().contains(reason), qPrintable(messages.first()));
    QVERIFY(messages.first().contains(workspace.preferencesFile()));
    // The file is left as it was.
    QFile file(workspace.preferencesFile());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), contents);
}

void tst_TriskVXWorkspace::tools()
{
    QTemporaryDir directory;
    const QString marker = directory.filePath(QStringLiteral("opened"));
    const QString editor = directory.filePath(QStringLiteral("halvane-editor"));
    writeFile(editor, QStringLiteral("#!/bin/sh\ntouch '%1'\n").arg(marker).toUtf8());
    QVERIFY(QFile::setPermissions(editor, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    TriskVXWorkspace workspace;
    workspace.setToolSearchPath({ directory.path() });
    QVERIFY(workspace.canOpen(TriskVXWorkspaceToolEditor));
    QVERIFY(!workspace.canOpen(TriskVXWorkspaceToolRemove));
    QVERIFY(!workspace.canOpen(QStringLiteral("other")));
    QVERIFY(workspace.open(TriskVXWorkspaceToolEditor));
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(marker), kWait);
    LogCapture log;
    QVERIFY(!workspace.open(TriskVXWorkspaceToolRemove));
    QCOMPARE(log.messages("trisk.halvane").filter(QStringLiteral("not installed")).size(), 1);
    // A file that is not executable is no tool.
    writeFile(directory.filePath(QStringLiteral("halvane-uninstall")), "#!/bin/sh\n");
    QVERIFY(!workspace.canOpen(TriskVXWorkspaceToolRemove));
}

void tst_TriskVXWorkspace::supportFolder()
{
    TriskVXWorkspace workspace;
    QCOMPARE(workspace.supportFolder(),
             QUrl::fromLocalFile(qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/halvane")));
    workspace.setSupportFolder(QStringLiteral("/srv/halvane"));
    QCOMPARE(workspace.supportFolder(), QUrl::fromLocalFile(QStringLiteral("/srv/halvane")));
    workspace.setSupportFolder(QString());
    QVERIFY(workspace.supportFolder().isEmpty());
}

void tst_TriskVXWorkspace::adjustDialogSendsTheAdjustRequest()
{
    HalvanedProcess service;
    QVERIFY(service.start({ QStringLiteral("--demo") }));
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    TriskVXObserver observer(connection.get());
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
    const QVariantMap first = observer.valueForKeyPath(kVXObserveSchedulerPending).toList().first().toMap();
    const QString triggerID = first.value(kVXQueuedTriggerTriggerID).toString();
    const QDateTime date = first.value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime();

    TriskVXWorkspace workspace;
    workspace.adjustQueuedTriggerWithConnection(triggerID, connection.get());
    QPointer<TriskVXAdjustDialog> dialog = workspace.adjustDialogForTrigger(triggerID);
    QVERIFY(dialog);
    QVERIFY(dialog->isVisible());
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Adjust Trigger"));
    auto *label = dialog->findChild<QLabel *>(QStringLiteral("label"));
    QTRY_COMPARE_WITH_TIMEOUT(label->text(), QStringLiteral("Choose when “Evening shut down (demo)” fires:"), kWait);
    QCOMPARE(dialog->date(), date);
    // A second request for the same trigger raises the same dialog.
    workspace.adjustQueuedTriggerWithConnection(triggerID, connection.get());
    QCOMPARE(workspace.adjustDialogForTrigger(triggerID), dialog.data());

    const QDateTime later = QDateTime::currentDateTimeUtc().addDays(4);
    dialog->findChild<QDateTimeEdit *>(QStringLiteral("dateEdit"))->setDateTime(later.toLocalTime());
    QSignalSpy pendingChanged(&observer, &TriskVXObserver::schedulerPendingChanged);
    dialog->accept();
    QVERIFY(pendingChanged.wait(kWait));
    QTRY_VERIFY(dialog.isNull());
    QVERIFY(!workspace.adjustDialogForTrigger(triggerID));
    const QVariantList pending = observer.valueForKeyPath(kVXObserveSchedulerPending).toList();
    bool moved = false;
    for (const QVariant &record : pending) {
        const QVariantMap map = record.toMap();
        if (map.value(kVXQueuedTriggerTriggerID).toString() == triggerID)
            moved = map.value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime() == later;
    }
    QVERIFY(moved);
}

void tst_TriskVXWorkspace::adjustDialogFromARecord()
{
    const QDateTime date = QDateTime::currentDateTimeUtc().addDays(2);
    const QVariantMap record { { kVXQueuedTriggerTriggerID, QStringLiteral("r1") },
                               { kVXQueuedTriggerEvent, QVariantMap { { kVXEventName, QStringLiteral("Backup") } } },
                               { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, date } } } };
    TriskVXWorkspace workspace;
    workspace.adjustQueuedTriggerWithConnection(record, nullptr);
    TriskVXAdjustDialog *dialog = workspace.adjustDialogForTrigger(QStringLiteral("r1"));
    QVERIFY(dialog);
    QCOMPARE(dialog->findChild<QLabel *>(QStringLiteral("label"))->text(),
             QStringLiteral("Choose when “Backup” fires:"));
    QCOMPARE(dialog->date(), date);
    // Without a connection the request cannot go out: said, not lost silently.
    QSignalSpy finished(dialog, &TriskVXAdjustDialog::adjustFinished);
    LogCapture log;
    dialog->accept();
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.first().at(0).toBool(), false);
    QCOMPARE(finished.first().at(1).toLongLong(), qint64(kVXStatusRequestNotSent));
    QCOMPARE(log.messages("trisk.halvane").filter(QStringLiteral("adjusting r1 failed: not connected")).size(), 1);
}

void tst_TriskVXWorkspace::adjustWithoutATrigger()
{
    TriskVXWorkspace workspace;
    LogCapture log;
    workspace.adjustQueuedTriggerWithConnection(QVariant(), nullptr);
    workspace.adjustQueuedTriggerWithConnection(QVariantMap(), nullptr);
    QCOMPARE(log.messages("trisk.halvane").filter(QStringLiteral("cannot adjust: no trigger id")).size(), 2);
    QVERIFY(QApplication::topLevelWidgets().isEmpty() || !QApplication::activeModalWidget());
}

void tst_TriskVXWorkspace::quickScheduleAndUpdateCheckAreHandedOn()
{
    TriskVXWorkspace workspace;
    LogCapture log;
    workspace.quickScheduleWithConnection(nullptr);
    workspace.checkForSoftwareUpdates();
    QCOMPARE(log.messages("trisk.halvane").filter(QStringLiteral("no Quick Schedule interface")).size(), 1);
    QCOMPARE(log.messages("trisk.halvane").filter(QStringLiteral("no software update checker")).size(), 1);
    QSignalSpy quickSchedule(&workspace, &TriskVXWorkspace::quickScheduleRequested);
    QSignalSpy update(&workspace, &TriskVXWorkspace::softwareUpdateCheckRequested);
    log.clear();
    auto *connection = reinterpret_cast<TriskVXConnection *>(this);
    workspace.quickScheduleWithConnection(connection);
    workspace.checkForSoftwareUpdates();
    QCOMPARE(quickSchedule.count(), 1);
    QCOMPARE(quickSchedule.first().first().value<TriskVXConnection *>(), connection);
    QCOMPARE(update.count(), 1);
    QVERIFY(log.messages("trisk.halvane").isEmpty());
}

QTEST_MAIN(tst_TriskVXWorkspace)
#include "tst_TriskVXWorkspace.moc"
