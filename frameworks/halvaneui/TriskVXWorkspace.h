#pragma once

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QUrl>
#include <QVariant>

class TriskVXAdjustDialog;
class TriskVXClock;
class TriskVXConnection;

// The scheduler's side of the desktop: its preference domain, its tools (editor and remover), its
// adjust and quick-schedule interfaces, the update check and its support folder.
class TriskVXWorkspace : public QObject
{
    Q_OBJECT

public:
    explicit TriskVXWorkspace(QObject *parent = nullptr);

    static TriskVXWorkspace *workspace();

    // From the domain file <preferencesDirectory>/<kVXPreferencesDomain>.plist, read again when it
    // changed; nil when absent or when the file is not a dictionary (logged).
    QVariant preferenceForKey(const QString &key) const;

    // TriskVXWorkspaceToolEditor is the program halvane-editor, TriskVXWorkspaceToolRemove the program
    // halvane-uninstall, each looked up in the tool search path.
    bool canOpen(const QString &tool) const;
    bool open(const QString &tool) const;
    QString pathOfTool(const QString &tool) const;

    // Opens the adjust dialog for a trigger: a queued-trigger record or its trigger id. One dialog per
    // trigger; a second call raises it.
    void adjustQueuedTriggerWithConnection(const QVariant &queuedTrigger, TriskVXConnection *connection);
    // Asks whoever presents the Quick Schedule interface (quickScheduleRequested) to show it.
    void quickScheduleWithConnection(TriskVXConnection *connection);
    // Asks the update checker (softwareUpdateCheckRequested) to check now.
    void checkForSoftwareUpdates();
    // Whether an update checker listens to softwareUpdateCheckRequested.
    bool hasSoftwareUpdateChecker() const;

    // <XDG data home>/halvane; nil when there is no data location.
    QUrl supportFolder() const;

    // Injection for tests and other hosts.
    void setPreferencesDirectory(const QString &directory);
    QString preferencesDirectory() const { return m_preferencesDirectory; }
    QString preferencesFile() const;
    void setToolSearchPath(const QStringList &directories) { m_toolSearchPath = directories; }
    void setSupportFolder(const QString &directory) { m_supportFolder = directory; }
    void setClock(const TriskVXClock *clock) { m_clock = clock; }
    TriskVXAdjustDialog *adjustDialogForTrigger(const QString &triggerID) const;

Q_SIGNALS:
    void quickScheduleRequested(TriskVXConnection *connection);
    void softwareUpdateCheckRequested();

private:
    QString m_preferencesDirectory;
    QStringList m_toolSearchPath;
    QString m_supportFolder;
    const TriskVXClock *m_clock = nullptr;
    QHash<QString, QPointer<TriskVXAdjustDialog>> m_adjustDialogs;
    mutable QDateTime m_preferencesStamp;
    mutable qint64 m_preferencesSize = -1;
    mutable QVariantMap m_preferences;
};
