#include "ServiceClient.h"

#include "TriskVXConstants.h"
#include "WaitFor.h"

#include <QDateTime>

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
    return waitFor([this] {
               return m_connection->isValid();
           })
        && reload();
}

bool ServiceClient::reload()
{
    bool reloaded = false;
    const auto connection = connect(m_observer, &TriskVXObserver::reloaded, this, [&reloaded] {
        reloaded = true;
    });
    m_observer->reload();
    const bool done = waitFor([&reloaded] {
        return reloaded;
    });
    disconnect(connection);
    return done;
}

bool ServiceClient::request(const QString &name, const QVariantMap &parameters, qint64 *status, QString *message)
{
    auto response = std::make_shared<std::optional<TriskVXResponse>>();
    const TriskVXRequest request(name, parameters);
    if (!m_connection->send(&request, [response](const TriskVXResponse &received) {
            *response = received;
        }))
        return false;
    if (!waitFor([&response] {
            return response->has_value();
        }))
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
    const QVariantList records = value(variable).toList();
    for (const QVariant &record : records)
        ids.append(record.toMap().value(kVXQueuedTriggerTriggerID).toString());
    return ids;
}

QDateTime ServiceClient::pendingDate(const QString &triggerID) const
{
    const QVariantList records = value(kVXObserveSchedulerPending).toList();
    for (const QVariant &record : records) {
        const QVariantMap map = record.toMap();
        if (map.value(kVXQueuedTriggerTriggerID).toString() == triggerID)
            return map.value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime();
    }
    return QDateTime();
}
