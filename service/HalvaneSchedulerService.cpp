#include "HalvaneSchedulerService.h"

#include "HalvaneScheduler.h"
#include "HalvaneServiceLogging.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "halvane_scheduler_adaptor.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

HalvaneSchedulerService::HalvaneSchedulerService(HalvaneScheduler *scheduler, QObject *parent)
    : QObject(parent)
    , m_scheduler(scheduler)
{
    TriskVXDBusPropertyList::registerTypes();
    new SchedulerAdaptor(this);
    connect(m_scheduler, &HalvaneScheduler::variablesChanged, this, &HalvaneSchedulerService::announce);
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
            ? QStringLiteral("the bus name %1 is already taken").arg(serviceName)
            : QStringLiteral("cannot take the bus name %1: %2").arg(serviceName, reply.error().message());
        return false;
    }
    m_buses.append(connection);
    return true;
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

QList<QVariantMap> HalvaneSchedulerService::authorisationRights() const
{
    return recordList(kVXObserveAuthorisationRights);
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
        QDBusMessage signal = QDBusMessage::createSignal(
            kVXDBusObjectPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("PropertiesChanged"));
        signal << kVXDBusInterface << changed << QStringList();
        bus.send(signal);
    }
}

bool HalvaneSchedulerService::Authenticate(uint &protocolVersion)
{
    protocolVersion = kVXProtocolVersion;
    if (calledFromDBus())
        qCInfo(lcHalvaned).noquote() << QStringLiteral("client %1 authenticated").arg(message().service());
    return true;
}

bool HalvaneSchedulerService::answer(const QString &request, const QVariantMap &parameters, qlonglong &status,
                                     QString &message)
{
    QString error;
    const QVariant decoded = TriskVXDBusPropertyList::decode(QVariant(parameters), &error);
    if (!decoded.isValid()) {
        status = kVXStatusInvalidParameter;
        message = QStringLiteral("malformed parameters: %1").arg(error);
        qCInfo(lcHalvaned).noquote() << QStringLiteral("%1 refused: %2").arg(request, message);
        return false;
    }
    const HalvaneResult result = m_scheduler->handle(request, decoded.toMap());
    status = result.status();
    message = result.message();
    return result.succeeded();
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
