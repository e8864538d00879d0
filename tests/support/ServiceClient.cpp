#include "ServiceClient.h"

#include "TriskVXConstants.h"
#include "WaitFor.h"

#include <QDateTime>
#include <QSignalSpy>

#include <optional>

ServiceClient::ServiceClient(const TriskVXServiceLocation &location, QObject *parent)
    : QObject(parent)
    , m_connection(TriskVXConnection::connectionWithLocation(location, this))
    , m_observer(new TriskVXObserver(m_connection, this))
{
    m_connection->setAutoReconnect(true);
}

bool ServiceClient::ready()
{
    return waitFor(std::bind(&TriskVXConnection::isValid, m_connection), m_timeout) && reload();
}

bool ServiceClient::reload()
{
    QSignalSpy reloaded(m_observer, &TriskVXObserver::reloaded);
    m_observer->reload();
    return !reloaded.isEmpty() || reloaded.wait(m_timeout);
}

bool ServiceClient::request(const QString &name, const QVariantMap &parameters, qint64 *status, QString *message)
{
    // Shared with the handler, which may outlive this call when the answer comes late.
    auto response = std::make_shared<std::optional<TriskVXResponse>>();
    const TriskVXRequest request(name, parameters);
    const auto answered = [response](const TriskVXResponse &received) {
        *response = received;
    };
    if (!m_connection->send(&request, answered)
        || !waitFor(
            [&response] {
                return response->has_value();
            },
            m_timeout))
        return false;
    if (status)
        *status = (*response)->status();
    if (message)
        *message = (*response)->message();
    reload();
    return (*response)->succeeded();
}

QStringList ServiceClient::pendingIDs(const QString &variable) const
{
    QStringList ids;
    for (const QVariant &record : value(variable).toList())
        ids.append(record.toMap().value(kVXQueuedTriggerTriggerID).toString());
    return ids;
}

QDateTime ServiceClient::pendingDate(const QString &triggerID) const
{
    for (const QVariant &record : value(kVXObserveSchedulerPending).toList()) {
        const QVariantMap map = record.toMap();
        if (map.value(kVXQueuedTriggerTriggerID).toString() == triggerID)
            return map.value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime();
    }
    return QDateTime();
}
