#include "TriskVXWorkspace.h"

#include "TriskVXAdjustDialog.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXHalvaneLogging.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXUserDefaults.h"

#include <QFileInfo>
#include <QMetaMethod>
#include <QProcess>
#include <QStandardPaths>

namespace {
QString programOfTool(const QString &tool)
{
    if (tool == TriskVXWorkspaceToolEditor)
        return QStringLiteral("halvane-editor");
    if (tool == TriskVXWorkspaceToolRemove)
        return QStringLiteral("halvane-uninstall");
    return QString();
}
} // namespace

TriskVXWorkspace::TriskVXWorkspace(QObject *parent)
    : QObject(parent)
{
    // The scheduler's domain lives with every other preference domain.
    m_preferencesDirectory = TriskVXUserDefaults::defaultFolder();
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (!data.isEmpty())
        m_supportFolder = data + QStringLiteral("/halvane");
}

TriskVXWorkspace *TriskVXWorkspace::workspace()
{
    static TriskVXWorkspace shared;
    return &shared;
}

void TriskVXWorkspace::setPreferencesDirectory(const QString &directory)
{
    m_preferencesDirectory = directory;
    m_preferencesStamp = QDateTime();
    m_preferencesSize = -1;
    m_preferences.clear();
}

QString TriskVXWorkspace::preferencesFile() const
{
    return TriskVXUserDefaults::fileOfDomainInFolder(m_preferencesDirectory, kVXPreferencesDomain);
}

QVariant TriskVXWorkspace::preferenceForKey(const QString &key) const
{
    const QFileInfo file(preferencesFile());
    if (!file.exists()) {
        m_preferences.clear();
        m_preferencesStamp = QDateTime();
        m_preferencesSize = -1;
        return QVariant();
    }
    if (file.lastModified() != m_preferencesStamp || file.size() != m_preferencesSize) {
        m_preferencesStamp = file.lastModified();
        m_preferencesSize = file.size();
        QString error;
        const QVariant domain
            = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(file.filePath(), &error);
        if (domain.typeId() != QMetaType::QVariantMap) {
            qCWarning(lcHalvane).noquote()
                << QStringLiteral("ignoring the preference domain %1: %2")
                       .arg(file.filePath(), error.isEmpty() ? QStringLiteral("not a dictionary") : error);
            m_preferences.clear();
        } else {
            m_preferences = domain.toMap();
        }
    }
    return m_preferences.value(key);
}

QString TriskVXWorkspace::pathOfTool(const QString &tool) const
{
    const QString program = programOfTool(tool);
    if (program.isEmpty())
        return QString();
    return QStandardPaths::findExecutable(program, m_toolSearchPath);
}

bool TriskVXWorkspace::canOpen(const QString &tool) const
{
    return !pathOfTool(tool).isEmpty();
}

bool TriskVXWorkspace::open(const QString &tool) const
{
    const QString path = pathOfTool(tool);
    if (path.isEmpty()) {
        qCWarning(lcHalvane).noquote() << QStringLiteral("cannot open the tool %1: not installed").arg(tool);
        return false;
    }
    if (!QProcess::startDetached(path, {})) {
        qCWarning(lcHalvane).noquote() << QStringLiteral("cannot start %1").arg(path);
        return false;
    }
    return true;
}

void TriskVXWorkspace::adjustQueuedTriggerWithConnection(const QVariant &queuedTrigger, TriskVXConnection *connection)
{
    const QVariantMap record = queuedTrigger.toMap();
    const QString triggerID = queuedTrigger.typeId() == QMetaType::QString
        ? queuedTrigger.toString()
        : record.value(kVXQueuedTriggerTriggerID).toString();
    if (triggerID.isEmpty()) {
        qCWarning(lcHalvane) << "cannot adjust: no trigger id";
        return;
    }
    if (TriskVXAdjustDialog *existing = m_adjustDialogs.value(triggerID)) {
        existing->raise();
        existing->activateWindow();
        return;
    }
    auto *dialog = new TriskVXAdjustDialog(triggerID, connection, m_clock);
    if (!record.isEmpty())
        dialog->takeQueuedTrigger(record);
    m_adjustDialogs.insert(triggerID, dialog);
    connect(dialog, &QObject::destroyed, this, [this, triggerID] {
        m_adjustDialogs.remove(triggerID);
    });
    dialog->show();
}

TriskVXAdjustDialog *TriskVXWorkspace::adjustDialogForTrigger(const QString &triggerID) const
{
    return m_adjustDialogs.value(triggerID);
}

void TriskVXWorkspace::quickScheduleWithConnection(TriskVXConnection *connection)
{
    if (!isSignalConnected(QMetaMethod::fromSignal(&TriskVXWorkspace::quickScheduleRequested)))
        qCWarning(lcHalvane) << "no Quick Schedule interface is available";
    Q_EMIT quickScheduleRequested(connection);
}

bool TriskVXWorkspace::hasSoftwareUpdateChecker() const
{
    return isSignalConnected(QMetaMethod::fromSignal(&TriskVXWorkspace::softwareUpdateCheckRequested));
}

void TriskVXWorkspace::checkForSoftwareUpdates()
{
    if (!hasSoftwareUpdateChecker())
        qCWarning(lcHalvane) << "no software update checker is available";
    Q_EMIT softwareUpdateCheckRequested();
}

QUrl TriskVXWorkspace::supportFolder() const
{
    if (m_supportFolder.isEmpty())
        return QUrl();
    return QUrl::fromLocalFile(m_supportFolder);
}
