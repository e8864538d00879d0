// TriskVXNotifyObjectAdditions: the queued-trigger accessors every notifier shares.
#include "TriskVXAssertionHandler.h"
#include "TriskVXConstants.h"
#include "TriskVXNil.h"
#include "TriskVXNotifyObject.h"

QVariant TriskVXNotifyObject::identifierOfQueuedTrigger(const QVariant &aQueuedTrigger)
{
    TRISK_CPARAMETER_ASSERT(aQueuedTrigger != nil);
    return aQueuedTrigger.toMap().value(kVXQueuedTriggerTriggerID);
}

QVariant TriskVXNotifyObject::eventNameOfQueuedTrigger(const QVariant &aQueuedTrigger)
{
    TRISK_CPARAMETER_ASSERT(aQueuedTrigger != nil);
    return aQueuedTrigger.toMap().value(kVXQueuedTriggerEvent).toMap().value(kVXEventName);
}

QVariant TriskVXNotifyObject::triggerDateOfQueuedTrigger(const QVariant &aQueuedTrigger)
{
    TRISK_CPARAMETER_ASSERT(aQueuedTrigger != nil);
    return aQueuedTrigger.toMap().value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate);
}
