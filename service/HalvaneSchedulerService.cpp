#include "HalvaneSchedulerService.h"

#include "HalvaneAuthority.h"
#include "HalvaneLimits.h"
#include "HalvanePersistence.h"
#include "HalvaneScheduler.h"
#include "HalvaneServiceLogging.h"
#include "HalvaneStateFile.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "halvane_backup_adaptor.h"
#include "halvane_scheduler_adaptor.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>

#include <memory>

namespace {
const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

// A call made in process, not over the bus, answers through its out arguments.
bool answerDirectly(const HalvaneResult &result, qlonglong &status, QString &message)
{
    status = result.status();
    message = result.message();
    return result.succeeded();
}

QDBusMessage replyOf(const QDBusMessage &call, bool succeeded, qint64 status, const QString &message)
{
    return call.createReply(QVariantList { succeeded, QVariant::fromValue(qlonglong(status)), message });
}

QString takenMessage(const QString &serviceName)
{
    return QStringLiteral("the bus name %1 is already taken").arg(serviceName);
}
} // namespace

HalvaneSchedulerService::HalvaneSchedulerService(HalvaneScheduler *scheduler, HalvaneAuthority *authority,
                                                 HalvanePersistence *persistence, QObject *parent)
    : QObject(parent)
    , m_scheduler(scheduler)
    , m_authority(authority)
    , m_persistence(persistence)
{
    TriskVXDBusPropertyList::registerTypes();
    new SchedulerAdaptor(this);
    new SchedulerBackupAdaptor(this);
    connect(m_scheduler, &HalvaneScheduler::variablesChanged, this, [this](const QStringList &names) {
        announce(names);
    });
    connect(m_authority, &HalvaneAuthority::rightsChanged, this, &HalvaneSchedulerService::forgetRights);
}

bool HalvaneSchedulerService::isTaken(const QDBusConnection &bus, const QString &serviceName, QString *error)
{
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(serviceName).value())
        return false;
    *error = takenMessage(serviceName);
    return true;
}

bool HalvaneSchedulerService::registerOn(const QDBusConnection &bus, const QString &serviceName, QString *error)
{
    QDBusConnection connection = bus;
    if (!connection.isConnected()) {
        *error = QStringLiteral("not connected to the bus: %1").arg(connection.lastError().message());
        return false;
    }
    if (!connection.registerObject(kVXDBusObjectPath, this)) {
        *error = QStringLiteral("cannot export %1: %2").arg(kVXDBusObjectPath, connection.lastError().message());
        return false;
    }
    const auto reply = connection.interface()->registerService(serviceName, QDBusConnectionInterface::DontQueueService,
                                                               QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid() || reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        connection.unregisterObject(kVXDBusObjectPath);
        *error = reply.isValid()
            ? takenMessage(serviceName)
            : QStringLiteral("cannot take the bus name %1: %2").arg(serviceName, reply.error().message());
        return false;
    }
    // A client that leaves takes its cached identity and rights with it; unique names are never reused.
    m_clients = new QDBusServiceWatcher(QString(), connection, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(m_clients, &QDBusServiceWatcher::serviceUnregistered, this, [this](const QString &name) {
        m_uids.remove(name);
        m_rights.remove(name);
        m_clients->removeWatchedService(name);
    });
    m_buses.append(connection);
    return true;
}

HalvaneCaller HalvaneSchedulerService::callerOf(const QDBusMessage &message) const
{
    HalvaneCaller caller;
    caller.busName = message.service();
    const auto cached = m_uids.constFind(caller.busName);
    if (cached != m_uids.cend()) {
        caller.uid = cached.value();
        return caller;
    }
    const QDBusReply<uint> uid = connection().interface()->serviceUid(caller.busName);
    if (uid.isValid()) {
        caller.uid = uid_t(uid.value());
        m_uids.insert(caller.busName, caller.uid);
        if (m_clients)
            m_clients->addWatchedService(caller.busName);
    } else {
        qCWarning(lcHalvaned).noquote()
            << QStringLiteral("cannot tell who %1 is: %2").arg(caller.busName, uid.error().message());
    }
    return caller;
}

QList<QVariantMap> HalvaneSchedulerService::recordList(const QString &variable) const
{
    return TriskVXDBusPropertyList::encodeRecordList(m_scheduler->variable(variable).toList());
}

QList<QVariantMap> HalvaneSchedulerService::schedulerPending() const
{
    return recordList(kVXObserveSchedulerPending);
}

QList<QVariantMap> HalvaneSchedulerService::schedulerActive() const
{
    return recordList(kVXObserveSchedulerActive);
}

bool HalvaneSchedulerService::schedulerEnabled() const
{
    return m_scheduler->isEnabled();
}

QList<QVariantMap> HalvaneSchedulerService::notificationsCurrent() const
{
    return recordList(kVXObserveNotificationsCurrent);
}

QList<QVariantMap> HalvaneSchedulerService::notificationsWarning() const
{
    return recordList(kVXObserveNotificationsWarning);
}

QList<QVariantMap> HalvaneSchedulerService::onDemandAvailable() const
{
    return recordList(kVXObserveOnDemandAvailable);
}

QList<QVariantMap> HalvaneSchedulerService::AuthorisationRights()
{
    if (!calledFromDBus())
        return {};
    const HalvaneCaller caller = callerOf(message());
    const auto cached = m_rights.constFind(caller.busName);
    if (cached != m_rights.cend())
        return TriskVXDBusPropertyList::encodeRecordList(cached.value());
    // polkit may answer later: the reply waits for it.
    setDelayedReply(true);
    const QDBusMessage call = message();
    const QDBusConnection bus = connection();
    m_authority->rightsOf(caller, [this, call, bus, caller](const QVariantList &rights) {
        m_rights.insert(caller.busName, rights);
        bus.send(call.createReply(QVariant::fromValue(TriskVXDBusPropertyList::encodeRecordList(rights))));
    });
    return {};
}

void HalvaneSchedulerService::forgetRights()
{
    m_rights.clear();
    announceRightsChanged();
}

void HalvaneSchedulerService::announceRightsChanged()
{
    for (const QDBusConnection &bus : std::as_const(m_buses))
        bus.send(QDBusMessage::createSignal(kVXDBusObjectPath, kVXDBusInterface,
                                            QStringLiteral("AuthorisationRightsChanged")));
}

void HalvaneSchedulerService::announce(const QStringList &names)
{
    QVariantMap changed;
    for (const QString &name : names) {
        if (name == kVXObserveSchedulerEnabled)
            changed.insert(name, m_scheduler->isEnabled());
        else
            changed.insert(name, QVariant::fromValue(recordList(name)));
    }
    for (const QDBusConnection &bus : std::as_const(m_buses)) {
        QDBusMessage signal
            = QDBusMessage::createSignal(kVXDBusObjectPath, kPropertiesInterface, QStringLiteral("PropertiesChanged"));
        signal << kVXDBusInterface << changed << QStringList();
        bus.send(signal);
    }
}

bool HalvaneSchedulerService::Authenticate(uint &protocolVersion)
{
    protocolVersion = kVXProtocolVersion;
    if (!calledFromDBus())
        return true;
    // The caller's rights are worked out before it is told it is in, so that its first read finds them.
    setDelayedReply(true);
    const QDBusMessage call = message();
    const QDBusConnection bus = connection();
    const HalvaneCaller caller = callerOf(call);
    m_authority->rightsOf(caller, [this, call, bus, caller](const QVariantList &rights) {
        m_rights.insert(caller.busName, rights);
        qCInfo(lcHalvaned).noquote() << QStringLiteral("client %1 (user %2) connected with %3 rights")
                                            .arg(caller.busName)
                                            .arg(caller.uid)
                                            .arg(rights.size());
        bus.send(call.createReply(QVariantList { true, kVXProtocolVersion }));
    });
    return true;
}

bool HalvaneSchedulerService::answer(const QString &request, const QVariantMap &parameters, qlonglong &status,
                                     QString &message)
{
    // Sizes first: a request over a limit is refused before any work grows with what it carries.
    HalvaneResult refusal = HalvaneLimits::checkParameters(parameters);
    QVariant decoded;
    if (refusal.succeeded()) {
        QString error;
        decoded = TriskVXDBusPropertyList::decode(QVariant(parameters), &error);
        if (!decoded.isValid())
            refusal = HalvaneResult::failure(
                kVXStatusInvalidParameter,
                QStringLiteral("malformed parameters: %1").arg(HalvaneLimits::clipped(error, 1000)));
    }
    // While the state cannot be saved, nothing more is changed: a change the service would forget at its
    // next start is not one it should acknowledge.
    if (refusal.succeeded() && request != kVXRPCOnDemandPerform)
        refusal = savingRefusal();
    if (!calledFromDBus())
        return answerDirectly(refusal.succeeded() ? m_scheduler->handle(request, decoded.toMap()) : refusal, status,
                              message);
    setDelayedReply(true);
    const QDBusMessage call = this->message();
    const QDBusConnection bus = connection();
    const HalvaneCaller caller = callerOf(call);
    m_authority->checkRight(caller, request, [=, this](bool granted, const QString &why) {
        if (!granted) {
            qCInfo(lcHalvaned).noquote() << QStringLiteral("%1 refused: %2").arg(request, why);
            bus.send(replyOf(call, false, kVXStatusNotAuthorised, why));
            return;
        }
        if (!refusal.succeeded()) {
            qCInfo(lcHalvaned).noquote() << QStringLiteral("%1 refused: %2 (%3)")
                                                .arg(request, HalvaneLimits::clipped(refusal.message(), 1000))
                                                .arg(refusal.status());
            bus.send(replyOf(call, false, refusal.status(), refusal.message()));
            return;
        }
        replyWhenSaved(call, bus, m_scheduler->handle(request, decoded.toMap()));
    });
    return false;
}

HalvaneResult HalvaneSchedulerService::savingRefusal() const
{
    if (!m_persistence || !m_persistence->isFailing())
        return HalvaneResult::ok();
    return HalvaneResult::failure(
        kVXStatusInternalError,
        QStringLiteral("the state cannot be saved (%1); nothing was changed").arg(m_persistence->failure()));
}

void HalvaneSchedulerService::replyWhenSaved(const QDBusMessage &call, const QDBusConnection &bus,
                                             const HalvaneResult &result)
{
    if (!result.succeeded() || !m_persistence) {
        bus.send(replyOf(call, result.succeeded(), result.status(), result.message()));
        return;
    }
    m_persistence->whenSaved([this, call, bus](bool saved) {
        if (saved)
            bus.send(replyOf(call, true, kVXStatusOK, QString()));
        else
            bus.send(replyOf(call, false, kVXStatusInternalError,
                             QStringLiteral("the change is in effect but was not saved (%1); it is saved when the "
                                            "state folder can be written again, and lost if halvaned stops first")
                                 .arg(m_persistence->failure())));
    });
}

void HalvaneSchedulerService::checkRights(const HalvaneCaller &caller, QStringList requests,
                                          const HalvaneAuthority::Decision &decision)
{
    if (requests.isEmpty()) {
        decision(true, QString());
        return;
    }
    const QString request = requests.takeFirst();
    m_authority->checkRight(caller, request, [=, this](bool granted, const QString &why) {
        if (granted)
            checkRights(caller, requests, decision);
        else
            decision(false, why);
    });
}

QVariantMap HalvaneSchedulerService::Export()
{
    // Wrapped dates: the schedule is meant for a property-list file, which cannot hold every date.
    return TriskVXDBusPropertyList::encodeMap(HalvaneStateFile::wrapDates(m_scheduler->toPropertyList()).toMap());
}

bool HalvaneSchedulerService::Import(const QVariantMap &schedule, qlonglong &status, QString &message)
{
    QString error;
    const QVariant decoded = TriskVXDBusPropertyList::decode(QVariant(schedule), &error);
    HalvaneResult refusal = decoded.isValid()
        ? savingRefusal()
        : HalvaneResult::failure(kVXStatusInvalidParameter,
                                 QStringLiteral("malformed schedule: %1").arg(HalvaneLimits::clipped(error, 1000)));
    const QVariantMap state = HalvaneStateFile::unwrapDates(decoded).toMap();
    auto import = [this, refusal, state] {
        return refusal.succeeded() ? m_scheduler->importState(state) : refusal;
    };
    if (!calledFromDBus())
        return answerDirectly(import(), status, message);
    setDelayedReply(true);
    const QDBusMessage call = this->message();
    const QDBusConnection bus = connection();
    // It replaces everything a request could change: the caller must hold every such right.
    const QStringList rights { kVXRPCEventStoreStore, kVXRPCSchedulerAdjust, kVXRPCSchedulerCancel,
                               kVXRPCSchedulerReset, kVXRPCSchedulerSetEnabled };
    checkRights(
        callerOf(call), rights, [=, this](bool granted, const QString &why) {
            if (!granted) {
                qCInfo(lcHalvaned).noquote() << QStringLiteral("import refused: %1").arg(why);
                bus.send(replyOf(call, false, kVXStatusNotAuthorised, why));
                return;
            }
            const HalvaneResult result = import();
            if (result.succeeded())
                qCInfo(lcHalvaned).noquote()
                    << QStringLiteral("schedule imported: %1 events").arg(m_scheduler->eventStore().events().size());
            replyWhenSaved(call, bus, result);
        });
    return false;
}

bool HalvaneSchedulerService::SchedulerAdjust(const QVariantMap &parameters, qlonglong &status, QString &message)
{
    return answer(kVXRPCSchedulerAdjust, parameters, status, message);
}

bool HalvaneSchedulerService::SchedulerCancel(const QVariantMap &parameters, qlonglong &status, QString &message)
{
    return answer(kVXRPCSchedulerCancel, parameters, status, message);
}

bool HalvaneSchedulerService::SchedulerReset(const QVariantMap &parameters, qlonglong &status, QString &message)
{
    return answer(kVXRPCSchedulerReset, parameters, status, message);
}

bool HalvaneSchedulerService::OnDemandPerform(const QVariantMap &parameters, qlonglong &status, QString &message)
{
    return answer(kVXRPCOnDemandPerform, parameters, status, message);
}

bool HalvaneSchedulerService::EventStoreStore(const QVariantMap &parameters, qlonglong &status, QString &message)
{
    return answer(kVXRPCEventStoreStore, parameters, status, message);
}

bool HalvaneSchedulerService::SchedulerSetEnabled(const QVariantMap &parameters, qlonglong &status, QString &message)
{
    return answer(kVXRPCSchedulerSetEnabled, parameters, status, message);
}
