#include "HalvaneEventStore.h"

#include "HalvaneAction.h"
#include "HalvaneLimits.h"
#include "HalvaneTrigger.h"
#include "TriskVXRecords.h"

#include <QSet>
#include <QUuid>

namespace {
QString newIdentifier()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

// Longer than anyone plans ahead, and far from where the scheduler's date arithmetic overflows: a
// larger real (or infinity) used to overflow its conversion to whole seconds.
const double kMaxSeconds = 100.0 * 366 * 24 * 60 * 60;

bool isNonNegativeNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::LongLong:
    case QMetaType::Int:
    case QMetaType::Double:
        return value.toDouble() >= 0 && value.toDouble() <= kMaxSeconds;
    default:
        return false;
    }
}
} // namespace

bool HalvaneEventStore::isValidEvent(const QVariant &event, QString *error)
{
    if (!TriskVXRecords::isWellFormedEvent(event, error))
        return false;
    const QVariantMap record = event.toMap();
    for (const QString &key : { kVXEventNoticePeriod, kVXEventWarningLead }) {
        if (record.contains(key) && !isNonNegativeNumber(record.value(key))) {
            if (error)
                *error = QStringLiteral("an event's %1 is not a number of seconds from 0 to 100 years").arg(key);
            return false;
        }
    }
    if (record.contains(kVXEventWarningMessage)
        && record.value(kVXEventWarningMessage).typeId() != QMetaType::QString) {
        if (error)
            *error = QStringLiteral("an event's warning message is not a string");
        return false;
    }
    QSet<QString> triggerIDs;
    const QVariantList triggers = record.value(kVXEventTriggers).toList();
    for (const QVariant &trigger : triggers) {
        const QVariantMap map = trigger.toMap();
        if (!HalvaneTrigger::isValid(map, error))
            return false;
        if (map.contains(kVXTriggerIdentifier)) {
            const QVariant id = map.value(kVXTriggerIdentifier);
            if (id.typeId() != QMetaType::QString || id.toString().isEmpty() || triggerIDs.contains(id.toString())) {
                if (error)
                    *error = QStringLiteral("a trigger identifier is not a unique string");
                return false;
            }
            triggerIDs.insert(id.toString());
        }
    }
    if (record.contains(kVXEventActions)) {
        if (record.value(kVXEventActions).typeId() != QMetaType::QVariantList) {
            if (error)
                *error = QStringLiteral("an event's actions are not an array");
            return false;
        }
        const QVariantList actions = record.value(kVXEventActions).toList();
        for (const QVariant &action : actions) {
            if (!HalvaneAction::isValid(action, error))
                return false;
        }
    }
    return true;
}

HalvaneResult HalvaneEventStore::store(const QVariantList &events, QStringList *storedIDs)
{
    if (events.isEmpty())
        return HalvaneResult::failure(kVXStatusInvalidParameter, QStringLiteral("no events to store"));
    QSet<QString> idsInRequest;
    for (qsizetype i = 0; i < events.size(); ++i) {
        QString error;
        if (!isValidEvent(events.at(i), &error))
            return HalvaneResult::failure(kVXStatusInvalidEvent, QStringLiteral("event %1: %2").arg(i).arg(error));
        const QString id = events.at(i).toMap().value(kVXEventUniqueID).toString();
        if (!id.isEmpty() && idsInRequest.contains(id))
            return HalvaneResult::failure(
                kVXStatusInvalidEvent,
                QStringLiteral("event %1: unique id %2 appears twice").arg(i).arg(HalvaneLimits::clipped(id)));
        idsInRequest.insert(id);
    }
    // A trigger identifier must not name a trigger of another event.
    for (const QVariant &event : events) {
        const QVariantMap record = event.toMap();
        const QString id = record.value(kVXEventUniqueID).toString();
        const QVariantList triggers = record.value(kVXEventTriggers).toList();
        for (const QVariant &trigger : triggers) {
            const QString triggerID = trigger.toMap().value(kVXTriggerIdentifier).toString();
            if (!triggerID.isEmpty() && m_ownerOfTrigger.contains(triggerID) && m_ownerOfTrigger.value(triggerID) != id)
                return HalvaneResult::failure(
                    kVXStatusInvalidEvent,
                    QStringLiteral("trigger %1 belongs to another event").arg(HalvaneLimits::clipped(triggerID)));
        }
    }

    for (const QVariant &event : events) {
        QVariantMap record = event.toMap();
        QString id = record.value(kVXEventUniqueID).toString();
        if (id.isEmpty()) {
            id = newIdentifier();
            record.insert(kVXEventUniqueID, id);
        }
        if (!record.contains(kVXEventEnabled))
            record.insert(kVXEventEnabled, true);
        QVariantList triggers = record.value(kVXEventTriggers).toList();
        for (QVariant &trigger : triggers) {
            QVariantMap map = trigger.toMap();
            if (!map.contains(kVXTriggerIdentifier))
                map.insert(kVXTriggerIdentifier, newIdentifier());
            trigger = map;
        }
        record.insert(kVXEventTriggers, triggers);
        if (!m_events.contains(id))
            m_order.append(id);
        m_events.insert(id, record);
        index(id);
        if (storedIDs)
            storedIDs->append(id);
    }
    return HalvaneResult::ok();
}

void HalvaneEventStore::index(const QString &uniqueID)
{
    const QStringList previous = m_triggersOfEvent.take(uniqueID);
    for (const QString &triggerID : previous)
        m_ownerOfTrigger.remove(triggerID);
    QStringList current;
    const QVariantList triggers = m_events.value(uniqueID).value(kVXEventTriggers).toList();
    for (const QVariant &trigger : triggers) {
        const QString triggerID = trigger.toMap().value(kVXTriggerIdentifier).toString();
        m_ownerOfTrigger.insert(triggerID, uniqueID);
        current.append(triggerID);
    }
    for (const QString &triggerID : previous) {
        if (!current.contains(triggerID))
            m_vanished.append(triggerID);
    }
    m_triggersOfEvent.insert(uniqueID, current);
}

QStringList HalvaneEventStore::takeVanishedTriggers()
{
    return std::exchange(m_vanished, QStringList());
}

QList<QVariantMap> HalvaneEventStore::events() const
{
    QList<QVariantMap> list;
    list.reserve(m_order.size());
    for (const QString &id : m_order)
        list.append(m_events.value(id));
    return list;
}

void HalvaneEventStore::removeTrigger(const QString &triggerID)
{
    const QString owner = m_ownerOfTrigger.value(triggerID);
    if (owner.isEmpty())
        return;
    QVariantMap record = m_events.value(owner);
    QVariantList triggers = record.value(kVXEventTriggers).toList();
    triggers.removeIf([&](const QVariant &trigger) {
        return trigger.toMap().value(kVXTriggerIdentifier).toString() == triggerID;
    });
    record.insert(kVXEventTriggers, triggers);
    m_events.insert(owner, record);
    m_ownerOfTrigger.remove(triggerID);
    m_triggersOfEvent[owner].removeAll(triggerID);
}
