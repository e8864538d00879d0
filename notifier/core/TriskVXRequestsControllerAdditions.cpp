// TriskVXRequestsControllerAdditions: the trigger and event requests the notifiers send.
#include "TriskVXAssertionHandler.h"
#include "TriskVXConstants.h"
#include "TriskVXNil.h"
#include "TriskVXRequest.h"
#include "TriskVXRequestsController.h"

void TriskVXRequestsController::adjustTriggerTo(const QString &aTriggerID, const QDateTime &aTriggerDate)
{
    TRISK_PARAMETER_ASSERT(aTriggerID != nil);
    TRISK_PARAMETER_ASSERT(aTriggerDate != nil);
    QVariantMap parameters;
    parameters.insert(kVXRPCParameterTriggerID, aTriggerID);
    parameters.insert(kVXRPCParameterDate, aTriggerDate);
    const TriskVXRequest request(kVXRPCSchedulerAdjust, parameters);
    sendRequestLocalisedSummary(&request, QStringLiteral(""));
}

void TriskVXRequestsController::cancelTrigger(const QString &aTriggerID)
{
    TRISK_PARAMETER_ASSERT(aTriggerID != nil);
    const TriskVXRequest request = TriskVXRequest::requestWithRequestValueForParameter(
        kVXRPCSchedulerCancel, aTriggerID, kVXRPCParameterTriggerID);
    sendRequestLocalisedSummary(&request, QStringLiteral("Cancel a trigger"));
}

void TriskVXRequestsController::resetTrigger(const QString &aTriggerID)
{
    TRISK_PARAMETER_ASSERT(aTriggerID != nil);
    const TriskVXRequest request = TriskVXRequest::requestWithRequestValueForParameter(kVXRPCSchedulerReset, aTriggerID,
                                                                                       kVXRPCParameterTriggerID);
    sendRequestLocalisedSummary(&request, QStringLiteral(""));
}

void TriskVXRequestsController::triggerNow(const QString &anEventID)
{
    TRISK_PARAMETER_ASSERT(anEventID != nil);
    const TriskVXRequest request(kVXRPCOnDemandPerform,
                                 { { kVXRPCParameterUniqueID, anEventID }, { kVXRPCParameterApplyCriteria, true } });
    sendRequestLocalisedSummary(&request, QStringLiteral("Trigger now"));
}

void TriskVXRequestsController::performNow(const QString &anEventID)
{
    TRISK_PARAMETER_ASSERT(anEventID != nil);
    const TriskVXRequest request = TriskVXRequest::requestWithRequestValueForParameter(kVXRPCOnDemandPerform, anEventID,
                                                                                       kVXRPCParameterUniqueID);
    sendRequestLocalisedSummary(&request, QStringLiteral("Perform now"));
}

bool TriskVXRequestsController::hasExistingAdjustTriggerRight() const
{
    return true;
}

bool TriskVXRequestsController::hasExistingCancelTriggerRight() const
{
    return true;
}
