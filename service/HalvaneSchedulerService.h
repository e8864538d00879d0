#pragma once

#include "HalvaneAuthority.h"
#include "HalvaneCaller.h"
#include "HalvaneResult.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QHash>
#include <QList>
#include <QObject>
#include <QVariantMap>

class QDBusServiceWatcher;
class HalvanePersistence;
class HalvaneScheduler;

// The scheduler on D-Bus: the object behind org.halvane.Scheduler1 (docs/protocol.md). Its slots and
// properties are what the generated adaptor forwards to. Every request is checked with the authority
// for the caller the bus names, answered once the change is saved, and every change is announced with
// PropertiesChanged; the rights, which differ per caller, are asked for by each caller.
class HalvaneSchedulerService : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_PROPERTY(QList<QVariantMap> SchedulerPending READ schedulerPending)
    Q_PROPERTY(QList<QVariantMap> SchedulerActive READ schedulerActive)
    Q_PROPERTY(bool SchedulerEnabled READ schedulerEnabled)
    Q_PROPERTY(QList<QVariantMap> NotificationsCurrent READ notificationsCurrent)
    Q_PROPERTY(QList<QVariantMap> NotificationsWarning READ notificationsWarning)
    Q_PROPERTY(QList<QVariantMap> OnDemandAvailable READ onDemandAvailable)

public:
    // persistence may be null (nothing is saved).
    HalvaneSchedulerService(HalvaneScheduler *scheduler, HalvaneAuthority *authority, HalvanePersistence *persistence,
                            QObject *parent = nullptr);

    // Exports the object and takes the bus name; false with a message when the name is taken or the
    // bus refuses.
    bool registerOn(const QDBusConnection &bus, const QString &serviceName, QString *error);
    // Whether serviceName has an owner on bus already, and then the message that says so: checked before
    // the store is opened, so that a second service never touches the first one's.
    static bool isTaken(const QDBusConnection &bus, const QString &serviceName, QString *error);

    QList<QVariantMap> schedulerPending() const;
    QList<QVariantMap> schedulerActive() const;
    bool schedulerEnabled() const;
    QList<QVariantMap> notificationsCurrent() const;
    QList<QVariantMap> notificationsWarning() const;
    QList<QVariantMap> onDemandAvailable() const;

public Q_SLOTS:
    bool Authenticate(uint &protocolVersion);
    // The caller's own rights.
    QList<QVariantMap> AuthorisationRights();
    bool SchedulerAdjust(const QVariantMap &parameters, qlonglong &status, QString &message);
    bool SchedulerCancel(const QVariantMap &parameters, qlonglong &status, QString &message);
    bool SchedulerReset(const QVariantMap &parameters, qlonglong &status, QString &message);
    bool OnDemandPerform(const QVariantMap &parameters, qlonglong &status, QString &message);
    bool EventStoreStore(const QVariantMap &parameters, qlonglong &status, QString &message);
    bool SchedulerSetEnabled(const QVariantMap &parameters, qlonglong &status, QString &message);
    // org.halvane.SchedulerBackup1: the whole schedule as a property list, and back.
    QVariantMap Export();
    bool Import(const QVariantMap &schedule, qlonglong &status, QString &message);

private:
    bool answer(const QString &request, const QVariantMap &parameters, qlonglong &status, QString &message);
    // Why nothing may change now (the state cannot be saved), or success.
    HalvaneResult savingRefusal() const;
    // Answers a request once its change is saved.
    void replyWhenSaved(const QDBusMessage &call, const QDBusConnection &bus, const HalvaneResult &result);
    // Grants only when the caller holds the right to make every one of the requests.
    void checkRights(const HalvaneCaller &caller, QStringList requests, const HalvaneAuthority::Decision &decision);
    HalvaneCaller callerOf(const QDBusMessage &message) const;
    QList<QVariantMap> recordList(const QString &variable) const;
    void announce(const QStringList &names);
    void announceRightsChanged();
    void forgetRights();

    HalvaneScheduler *m_scheduler;
    HalvaneAuthority *m_authority;
    HalvanePersistence *m_persistence;
    QList<QDBusConnection> m_buses;
    QDBusServiceWatcher *m_clients = nullptr;
    mutable QHash<QString, uid_t> m_uids;
    QHash<QString, QVariantList> m_rights;
};
