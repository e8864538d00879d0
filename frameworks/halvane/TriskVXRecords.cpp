#include "TriskVXRecords.h"

#include "TriskVXConstants.h"

#include <QDateTime>

namespace {

bool fail(QString *error, const QString &message)
{
    if (error)
        *error = message;
    return false;
}

bool hasTypeOrAbsent(const QVariantMap &map, const QString &key, QMetaType::Type type)
{
    const auto it = map.constFind(key);
    return it == map.cend() || it->typeId() == type;
}

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

bool isListOfDictionaries(const QVariant &value, QString *error)
{
    if (value.typeId() != QMetaType::QVariantList)
        return fail(error, QStringLiteral("not an array"));
    const QVariantList list = value.toList();
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (list.at(i).typeId() != QMetaType::QVariantMap)
            return fail(error, QStringLiteral("entry %1 is not a dictionary").arg(i));
    }
    return true;
}

} // namespace

bool TriskVXRecords::isWellFormedVariable(const QString &variable, const QVariant &value, QString *error)
{
    if (variable == kVXObserveSchedulerEnabled) {
        if (value.typeId() != QMetaType::Bool)
            return fail(error, QStringLiteral("not a boolean"));
        return true;
    }
    if (!isListOfDictionaries(value, error))
        return false;
    const QVariantList list = value.toList();
    for (qsizetype i = 0; i < list.size(); ++i) {
        QString reason;
        bool ok = true;
        if (variable == kVXObserveSchedulerPending)
            ok = isWellFormedQueuedTrigger(list.at(i), &reason);
        else if (variable == kVXObserveNotificationsCurrent)
            ok = isWellFormedQueuedTrigger(list.at(i), &reason) && isCompleteQueuedTrigger(list.at(i), &reason);
        else if (variable == kVXObserveNotificationsWarning)
            ok = isWellFormedQueuedWarning(list.at(i), &reason);
        else if (variable == kVXObserveSchedulerActive) {
            const QVariantMap record = list.at(i).toMap();
            ok = hasTypeOrAbsent(record, kVXActiveEventEvent, QMetaType::QVariantMap);
            reason = QStringLiteral("its event is not a dictionary");
        } else if (variable == kVXObserveOnDemandAvailable) {
            const QVariantMap record = list.at(i).toMap();
            ok = hasTypeOrAbsent(record, kVXEventUniqueID, QMetaType::QString)
                && hasTypeOrAbsent(record, kVXEventName, QMetaType::QString);
            reason = QStringLiteral("its name or unique id is not a string");
        }
        if (!ok)
            return fail(error, QStringLiteral("entry %1: %2").arg(i).arg(reason));
    }
    return true;
}

bool TriskVXRecords::isWellFormedQueuedTrigger(const QVariant &record, QString *error)
{
    if (record.typeId() != QMetaType::QVariantMap)
        return fail(error, QStringLiteral("not a dictionary"));
    const QVariantMap map = record.toMap();
    if (!hasTypeOrAbsent(map, kVXQueuedTriggerTriggerID, QMetaType::QString))
        return fail(error, QStringLiteral("its trigger id is not a string"));
    if (!hasTypeOrAbsent(map, kVXQueuedTriggerEvent, QMetaType::QVariantMap))
        return fail(error, QStringLiteral("its event is not a dictionary"));
    if (!hasTypeOrAbsent(map, kVXQueuedTriggerTrigger, QMetaType::QVariantMap))
        return fail(error, QStringLiteral("its trigger is not a dictionary"));
    if (!hasTypeOrAbsent(map.value(kVXQueuedTriggerTrigger).toMap(), kVXTriggerDate, QMetaType::QDateTime))
        return fail(error, QStringLiteral("its trigger date is not a date"));
    if (!hasTypeOrAbsent(map.value(kVXQueuedTriggerEvent).toMap(), kVXEventName, QMetaType::QString))
        return fail(error, QStringLiteral("its event name is not a string"));
    return true;
}

bool TriskVXRecords::isCompleteQueuedTrigger(const QVariant &record, QString *error)
{
    const QVariantMap map = record.toMap();
    if (!map.contains(kVXQueuedTriggerTriggerID))
        return fail(error, QStringLiteral("it has no trigger id"));
    if (!map.value(kVXQueuedTriggerEvent).toMap().contains(kVXEventName))
        return fail(error, QStringLiteral("its event has no name"));
    if (!map.value(kVXQueuedTriggerTrigger).toMap().contains(kVXTriggerDate))
        return fail(error, QStringLiteral("its trigger has no date"));
    return true;
}

bool TriskVXRecords::isWellFormedQueuedWarning(const QVariant &record, QString *error)
{
    if (record.typeId() != QMetaType::QVariantMap)
        return fail(error, QStringLiteral("not a dictionary"));
    const QVariantMap map = record.toMap();
    if (!hasTypeOrAbsent(map, kVXQueuedWarningActionID, QMetaType::QString))
        return fail(error, QStringLiteral("its action id is not a string"));
    if (!hasTypeOrAbsent(map, kVXQueuedWarningEvent, QMetaType::QVariantMap))
        return fail(error, QStringLiteral("its event is not a dictionary"));
    if (!hasTypeOrAbsent(map, kVXQueuedWarningDate, QMetaType::QDateTime))
        return fail(error, QStringLiteral("its date is not a date"));
    if (!hasTypeOrAbsent(map, kVXQueuedWarningMessage, QMetaType::QString))
        return fail(error, QStringLiteral("its message is not a string"));
    return true;
}

bool TriskVXRecords::isWellFormedTrigger(const QVariant &record, QString *error)
{
    if (record.typeId() != QMetaType::QVariantMap)
        return fail(error, QStringLiteral("a trigger is not a dictionary"));
    const QVariantMap trigger = record.toMap();
    if (trigger.value(kVXTriggerType).typeId() != QMetaType::QString)
        return fail(error, QStringLiteral("a trigger has no type"));
    if (!hasTypeOrAbsent(trigger, kVXTriggerDate, QMetaType::QDateTime))
        return fail(error, QStringLiteral("a trigger's date is not a date"));
    if (trigger.value(kVXTriggerType).toString() == kVXTriggerType_Once && !trigger.contains(kVXTriggerDate))
        return fail(error, QStringLiteral("a once trigger has no date"));
    return true;
}

bool TriskVXRecords::isWellFormedEvent(const QVariant &record, QString *error)
{
    if (record.typeId() != QMetaType::QVariantMap)
        return fail(error, QStringLiteral("an event is not a dictionary"));
    const QVariantMap event = record.toMap();
    if (event.value(kVXEventName).typeId() != QMetaType::QString || event.value(kVXEventName).toString().isEmpty())
        return fail(error, QStringLiteral("an event has no name"));
    if (!hasTypeOrAbsent(event, kVXEventUniqueID, QMetaType::QString))
        return fail(error, QStringLiteral("an event's unique id is not a string"));
    if (!hasTypeOrAbsent(event, kVXEventEnabled, QMetaType::Bool))
        return fail(error, QStringLiteral("an event's enabled flag is not a boolean"));
    if (!hasTypeOrAbsent(event, kVXEventNotes, QMetaType::QString))
        return fail(error, QStringLiteral("an event's notes are not a string"));
    if (!hasTypeOrAbsent(event, kVXEventBehaviours, QMetaType::QVariantList))
        return fail(error, QStringLiteral("an event's behaviours are not an array"));
    const QVariantList behaviours = event.value(kVXEventBehaviours).toList();
    for (const QVariant &behaviour : behaviours) {
        if (behaviour.typeId() != QMetaType::QString)
            return fail(error, QStringLiteral("an event's behaviour is not a string"));
    }
    if (!hasTypeOrAbsent(event, kVXEventTriggers, QMetaType::QVariantList))
        return fail(error, QStringLiteral("an event's triggers are not an array"));
    const QVariantList triggers = event.value(kVXEventTriggers).toList();
    for (const QVariant &trigger : triggers) {
        if (!isWellFormedTrigger(trigger, error))
            return false;
    }
    return true;
}

bool TriskVXRecords::isPerformableOnDemand(const QVariantMap &event)
{
    const QVariant enabled = event.value(kVXEventEnabled);
    if (enabled.typeId() != QMetaType::Bool && !isNumber(enabled))
        return false;
    if (!enabled.toBool())
        return false;
    const auto behaviours = event.constFind(kVXEventBehaviours);
    if (behaviours == event.cend())
        return false;
    return behaviours->toList().contains(QVariant(kVXElementBehaviour_CanPerformOnDemand));
}

bool TriskVXRecords::rightsGrant(const QVariantList &rights, const QString &request)
{
    for (const QVariant &entry : rights) {
        if (entry.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap right = entry.toMap();
        if (right.value(kVXAuthorisationRightSignature) != QVariant(request))
            continue;
        const auto rule = right.constFind(kVXAuthorisationRightRule);
        if (rule == right.cend() || !rule->isValid())
            continue;
        // Whether or not the rule is kVXAuthorisationRightRule_Universal, a present rule grants.
        return true;
    }
    return false;
}

QVariantMap TriskVXRecords::eventOfQueuedTrigger(const QVariantMap &queuedTrigger)
{
    return queuedTrigger.value(kVXQueuedTriggerEvent).toMap();
}

QVariant TriskVXRecords::eventNameOfQueuedTrigger(const QVariantMap &queuedTrigger)
{
    const auto event = queuedTrigger.constFind(kVXQueuedTriggerEvent);
    if (event == queuedTrigger.cend() || event->typeId() != QMetaType::QVariantMap)
        return QVariant();
    return event->toMap().value(kVXEventName);
}

QVariant TriskVXRecords::triggerDateOfQueuedTrigger(const QVariantMap &queuedTrigger)
{
    const auto trigger = queuedTrigger.constFind(kVXQueuedTriggerTrigger);
    if (trigger == queuedTrigger.cend() || trigger->typeId() != QMetaType::QVariantMap)
        return QVariant();
    return trigger->toMap().value(kVXTriggerDate);
}

QVariant TriskVXRecords::firstQueuedWarning(const QVariantList &warnings)
{
    return warnings.isEmpty() ? QVariant() : warnings.first();
}
