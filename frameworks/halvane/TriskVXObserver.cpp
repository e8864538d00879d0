#include "TriskVXObserver.h"

#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXHalvaneLogging.h"
#include "TriskVXRecords.h"
#include "halvane_properties_interface.h"
#include "halvane_scheduler_interface.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QThreadPool>

#include <utility>

namespace {
// The on-demand list repeats events that the pending list carries inside its queued triggers. Each
// event decoded anew takes the copy the other list already holds when the two are equal, so that an
// event is kept once, not twice: with 10,000 events on demand that is a third of the notifier's memory.
// fresh holds values just decoded, and is rewritten; current holds the values they join.
void shareEvents(QHash<QString, QVariant> &fresh, const QHash<QString, QVariant> &current)
{
    const auto valueOf = [&fresh, &current](const QString &name) {
        return fresh.contains(name) ? fresh.value(name) : current.value(name);
    };
    const auto takeKnown = [](QVariantMap &event, const QHash<QString, QVariantMap> &known) {
        const auto same = known.constFind(event.value(kVXEventUniqueID).toString());
        if (same == known.cend() || *same != event)
            return false;
        event = *same;
        return true;
    };
    if (fresh.contains(kVXObserveOnDemandAvailable)) {
        QHash<QString, QVariantMap> known;
        const QVariantList pending = valueOf(kVXObserveSchedulerPending).toList();
        for (const QVariant &queued : pending) {
            const QVariantMap event = queued.toMap().value(kVXQueuedTriggerEvent).toMap();
            known.insert(event.value(kVXEventUniqueID).toString(), event);
        }
        QVariantList onDemand = fresh.value(kVXObserveOnDemandAvailable).toList();
        for (QVariant &item : onDemand) {
            QVariantMap event = item.toMap();
            if (takeKnown(event, known))
                item = event;
        }
        fresh.insert(kVXObserveOnDemandAvailable, onDemand);
    } else if (fresh.contains(kVXObserveSchedulerPending)) {
        QHash<QString, QVariantMap> known;
        const QVariantList onDemand = current.value(kVXObserveOnDemandAvailable).toList();
        for (const QVariant &item : onDemand) {
            const QVariantMap event = item.toMap();
            known.insert(event.value(kVXEventUniqueID).toString(), event);
        }
        if (known.isEmpty())
            return;
        QVariantList pending = fresh.value(kVXObserveSchedulerPending).toList();
        for (QVariant &queued : pending) {
            QVariantMap record = queued.toMap();
            QVariantMap event = record.value(kVXQueuedTriggerEvent).toMap();
            if (takeKnown(event, known)) {
                record.insert(kVXQueuedTriggerEvent, event);
                queued = record;
            }
        }
        fresh.insert(kVXObserveSchedulerPending, pending);
    }
}
} // namespace

TriskVXObserver::TriskVXObserver(TriskVXConnection *connection, QObject *parent)
    : QObject(parent)
    , m_connection(connection)
    , m_link(std::make_shared<Link>())
{
    m_link->observer = this;
    TriskVXDBusPropertyList::registerTypes();
    if (!connection)
        return;
    const TriskVXServiceLocation location = connection->location();
    m_properties
        = new OrgFreedesktopDBusPropertiesInterface(location.serviceName(), kVXDBusObjectPath, location.bus(), this);
    m_scheduler = new OrgHalvaneScheduler1Interface(location.serviceName(), kVXDBusObjectPath, location.bus(), this);
    // Subscribing before the first read: a change published in between is not lost.
    QObject::connect(m_properties, &OrgFreedesktopDBusPropertiesInterface::PropertiesChanged, this,
                     &TriskVXObserver::propertiesChanged);
    QObject::connect(m_scheduler, &OrgHalvaneScheduler1Interface::AuthorisationRightsChanged, this, [this] {
        fetchRights(nullptr);
    });
    QObject::connect(connection, &TriskVXConnection::didAuthenticate, this, &TriskVXObserver::reload);
    if (connection->isValid())
        reload();
}

TriskVXObserver::~TriskVXObserver()
{
    QMutexLocker lock(&m_link->mutex);
    m_link->observer = nullptr;
}

QStringList TriskVXObserver::observedVariables()
{
    return { kVXObserveSchedulerPending,     kVXObserveSchedulerActive,      kVXObserveSchedulerEnabled,
             kVXObserveNotificationsCurrent, kVXObserveNotificationsWarning, kVXObserveOnDemandAvailable,
             kVXObserveAuthorisationRights };
}

QString TriskVXObserver::variableName(int index)
{
    static const QStringList names = observedVariables();
    return names.at(index);
}

QVariant TriskVXObserver::valueForKeyPath(const QString &keyPath) const
{
    const int dot = keyPath.indexOf(QLatin1Char('.'));
    const QString head = dot < 0 ? keyPath : keyPath.left(dot);
    QVariant value = m_values.value(head);
    if (dot < 0 || !value.isValid())
        return value;
    const QStringList rest = keyPath.mid(dot + 1).split(QLatin1Char('.'));
    for (const QString &component : rest) {
        if (value.typeId() == QMetaType::QVariantMap) {
            value = value.toMap().value(component);
        } else if (value.typeId() == QMetaType::QVariantList) {
            bool isIndex = false;
            const int index = component.toInt(&isIndex);
            const QVariantList list = value.toList();
            value = isIndex && index >= 0 && index < list.size() ? list.at(index) : QVariant();
        } else {
            return QVariant();
        }
        if (!value.isValid())
            return value;
    }
    return value;
}

void TriskVXObserver::reload()
{
    if (!m_properties)
        return;
    const quint64 generation = ++m_generation;
    auto *watcher = new QDBusPendingCallWatcher(m_properties->GetAll(kVXDBusInterface), this);
    QObject::connect(
        watcher, &QDBusPendingCallWatcher::finished, this, [this, generation](QDBusPendingCallWatcher *call) {
            call->deleteLater();
            if (generation != m_generation)
                return;
            QDBusPendingReply<QVariantMap> reply = *call;
            if (reply.isError()) {
                qCWarning(lcHalvane).noquote()
                    << QStringLiteral("cannot read the scheduler's variables: %1").arg(reply.error().message());
                return;
            }
            const QVariantMap values = reply.value();
            QStringList changed;
            for (const QString &name : observedVariables()) {
                if (!values.contains(name))
                    continue;
                // What was published before this answer is older than it.
                m_incoming.remove(name);
                if (receive(name, values.value(name)))
                    changed.append(name);
            }
            if (!changed.isEmpty())
                shareEvents(m_values, {});
            for (const QString &name : std::as_const(changed))
                announce(name);
            fetchRights([this, generation] {
                if (generation == m_generation)
                    Q_EMIT reloaded();
            });
        });
}

void TriskVXObserver::fetchRights(std::function<void()> done)
{
    auto *watcher = new QDBusPendingCallWatcher(m_scheduler->AuthorisationRights(), this);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, this,
                     [this, done = std::move(done)](QDBusPendingCallWatcher *call) {
                         call->deleteLater();
                         const QDBusMessage reply = call->reply();
                         if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
                             // A reply of another signature reaches here as an error of the generated proxy.
                             const bool malformed = QDBusError(reply).type() == QDBusError::InvalidSignature;
                             qCWarning(lcHalvane).noquote()
                                 << (malformed ? QStringLiteral("ignoring the published %1: %2")
                                               : QStringLiteral("cannot read the %1: %2"))
                                        .arg(kVXObserveAuthorisationRights, reply.errorMessage());
                         } else if (receive(kVXObserveAuthorisationRights, reply.arguments().first())) {
                             announce(kVXObserveAuthorisationRights);
                         }
                         if (done)
                             done();
                     });
}

void TriskVXObserver::fetch(const QString &name)
{
    auto *watcher = new QDBusPendingCallWatcher(m_properties->Get(kVXDBusInterface, name), this);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, name](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        QDBusPendingReply<QDBusVariant> reply = *call;
        if (reply.isError()) {
            qCWarning(lcHalvane).noquote() << QStringLiteral("cannot read %1: %2").arg(name, reply.error().message());
            return;
        }
        if (receive(name, QVariant::fromValue(reply.value())))
            announce(name);
    });
}

void TriskVXObserver::propertiesChanged(const QString &interfaceName, const QVariantMap &changed,
                                        const QStringList &invalidated)
{
    if (interfaceName != kVXDBusInterface)
        return;
    for (auto it = changed.cbegin(); it != changed.cend(); ++it) {
        if (observedVariables().contains(it.key()))
            m_incoming.insert(it.key(), it.value());
    }
    for (const QString &name : invalidated) {
        if (!observedVariables().contains(name))
            continue;
        m_incoming.remove(name);
        fetch(name);
    }
    if (m_incoming.isEmpty())
        return;
    if (!m_takesNewestOnly) {
        takeIncoming();
        return;
    }
    if (!m_incomingTimer) {
        m_incomingTimer = new QTimer(this);
        m_incomingTimer->setSingleShot(true);
        QObject::connect(m_incomingTimer, &QTimer::timeout, this, &TriskVXObserver::takeIncoming);
    }
    if (!m_incomingTimer->isActive())
        m_incomingTimer->start(0);
}

void TriskVXObserver::takeIncoming()
{
    if (!m_takesNewestOnly) {
        const QHash<QString, QVariant> incoming = std::exchange(m_incoming, {});
        QStringList announced;
        for (const QString &name : observedVariables()) {
            const auto value = incoming.constFind(name);
            if (value != incoming.constEnd() && receive(name, *value))
                announced.append(name);
        }
        for (const QString &name : std::as_const(announced))
            announce(name);
        return;
    }
    // One decode at a time: what comes meanwhile waits, and only its newest values are decoded next.
    if (m_decoding || m_incoming.isEmpty())
        return;
    m_decoding = true;
    QThreadPool::globalInstance()->start(
        [link = m_link, incoming = std::exchange(m_incoming, {}), known = m_values, generation = m_generation] {
            QHash<QString, QVariant> decoded;
            QStringList complaints;
            for (const QString &name : observedVariables()) {
                const auto wire = incoming.constFind(name);
                if (wire == incoming.constEnd())
                    continue;
                QString error;
                const QVariant value = TriskVXDBusPropertyList::decode(*wire, &error);
                if (!value.isValid() || !TriskVXRecords::isWellFormedVariable(name, value, &error)) {
                    complaints.append(QStringLiteral("ignoring the published %1: %2").arg(name, error));
                    continue;
                }
                const auto existing = known.constFind(name);
                if (existing == known.constEnd() || existing.value() != value)
                    decoded.insert(name, value);
            }
            shareEvents(decoded, known);
            QMutexLocker lock(&link->mutex);
            if (TriskVXObserver *observer = link->observer)
                QMetaObject::invokeMethod(
                    observer,
                    [observer, decoded, complaints, generation] {
                        observer->takeDecoded(decoded, complaints, generation);
                    },
                    Qt::QueuedConnection);
        });
}

void TriskVXObserver::takeDecoded(const QHash<QString, QVariant> &decoded, const QStringList &complaints,
                                  quint64 generation)
{
    m_decoding = false;
    for (const QString &complaint : complaints)
        qCWarning(lcHalvane).noquote() << complaint;
    // A full read began after these reports: its answer is newer than they are.
    if (generation == m_generation) {
        QStringList announced;
        for (const QString &name : observedVariables()) {
            const auto value = decoded.constFind(name);
            if (value == decoded.constEnd())
                continue;
            m_values.insert(name, *value);
            announced.append(name);
        }
        for (const QString &name : std::as_const(announced))
            announce(name);
    }
    if (!m_incoming.isEmpty())
        takeIncoming();
}

bool TriskVXObserver::receive(const QString &name, const QVariant &wireValue)
{
    QString error;
    const QVariant value = TriskVXDBusPropertyList::decode(wireValue, &error);
    if (!value.isValid()) {
        qCWarning(lcHalvane).noquote() << QStringLiteral("ignoring the published %1: %2").arg(name, error);
        return false;
    }
    if (!TriskVXRecords::isWellFormedVariable(name, value, &error)) {
        qCWarning(lcHalvane).noquote() << QStringLiteral("ignoring the published %1: %2").arg(name, error);
        return false;
    }
    auto existing = m_values.find(name);
    if (existing != m_values.end() && existing.value() == value)
        return false;
    m_values.insert(name, value);
    return true;
}

void TriskVXObserver::announce(const QString &name)
{
    Q_EMIT didChangeValueForKeyPath(name);
    const int index = int(observedVariables().indexOf(name));
    switch (index) {
    case 0:
        Q_EMIT schedulerPendingChanged();
        break;
    case 1:
        Q_EMIT schedulerActiveChanged();
        break;
    case 2:
        Q_EMIT schedulerEnabledChanged();
        break;
    case 3:
        Q_EMIT notificationsCurrentChanged();
        break;
    case 4:
        Q_EMIT notificationsWarningChanged();
        break;
    case 5:
        Q_EMIT onDemandAvailableChanged();
        break;
    case 6:
        Q_EMIT authorisationRightsChanged();
        break;
    default:
        break;
    }
}
