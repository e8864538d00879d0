#pragma once

#include <QString>

// The scheduler client framework's vocabulary: every record key, observed variable, request, parameter,
// preference key, image, tool and notification name. Their values are the names on the wire
// (docs/protocol.md); no other file spells them.

// Observed variables (D-Bus properties of the scheduler object)
extern const QString kVXObserveSchedulerPending;
extern const QString kVXObserveSchedulerActive;
extern const QString kVXObserveSchedulerEnabled;
extern const QString kVXObserveNotificationsCurrent;
extern const QString kVXObserveNotificationsWarning;
extern const QString kVXObserveOnDemandAvailable;
extern const QString kVXObserveAuthorisationRights;

// Requests (D-Bus methods of the scheduler object)
extern const QString kVXRPCSchedulerAdjust;
extern const QString kVXRPCSchedulerCancel;
extern const QString kVXRPCSchedulerReset;
extern const QString kVXRPCOnDemandPerform;
extern const QString kVXRPCEventStoreStore;
extern const QString kVXRPCSchedulerSetEnabled;
extern const QString kVXRPCSchedulerEnabled;

// Request parameters (keys of the parameter dictionary)
extern const QString kVXRPCParameterTriggerID;
extern const QString kVXRPCParameterDate;
extern const QString kVXRPCParameterUntil;
extern const QString kVXRPCParameterUniqueID;
extern const QString kVXRPCParameterApplyCriteria;
extern const QString kVXRPCParameterEvents;
extern const QString kVXRPCParameterEnabled;

// Queued trigger
extern const QString kVXQueuedTriggerTriggerID;
extern const QString kVXQueuedTriggerEvent;
extern const QString kVXQueuedTriggerTrigger;

// Queued warning
extern const QString kVXQueuedWarningActionID;
extern const QString kVXQueuedWarningEvent;
extern const QString kVXQueuedWarningDate;
extern const QString kVXQueuedWarningMessage;

// Event
extern const QString kVXEventName;
extern const QString kVXEventUniqueID;
extern const QString kVXEventEnabled;
extern const QString kVXEventNotes;
extern const QString kVXEventTriggers;
extern const QString kVXEventBehaviours;

// Trigger
extern const QString kVXTriggerType;
extern const QString kVXTriggerDate;
extern const QString kVXTriggerType_Once;
// Service record keys the notifier never reads: the stable identifier of a trigger inside its event, the
// notice period and warning lead of an event (seconds).
extern const QString kVXTriggerIdentifier;
extern const QString kVXEventNoticePeriod;
extern const QString kVXEventWarningLead;
extern const QString kVXEventWarningMessage;
// Service record key naming an event's image: a built-in image name or an absolute file path.
extern const QString kVXEventImage;
// Repeating triggers (service record keys and types): a time of day "HH:MM[:SS]" in the service's local
// time zone, and for weekly triggers the ISO weekdays (1 Monday ... 7 Sunday).
extern const QString kVXTriggerType_Daily;
extern const QString kVXTriggerType_Weekly;
extern const QString kVXTriggerTime;
extern const QString kVXTriggerWeekdays;
// What an event does when it is performed: an array of action dictionaries (docs/protocol.md).
extern const QString kVXEventActions;
extern const QString kVXActionType;
extern const QString kVXActionMessage;
extern const QString kVXActionArguments;
extern const QString kVXActionTimeout;
extern const QString kVXActionUser;
extern const QString kVXActionType_Log;
extern const QString kVXActionType_Command;
extern const QString kVXActionType_PowerOff;
extern const QString kVXActionType_Reboot;
extern const QString kVXActionType_Suspend;
extern const QString kVXActionType_Hibernate;

// Active event
extern const QString kVXActiveEventEvent;

// Behaviours
extern const QString kVXElementBehaviour_CanPerformOnDemand;

// Authorisation right
extern const QString kVXAuthorisationRightSignature;
extern const QString kVXAuthorisationRightRule;
extern const QString kVXAuthorisationRightRule_Universal;

// Element images, variations and the built-in scheme
extern const QString kVXElementImage_None;
extern const QString kVXElementImage_Stopped;
extern const QString kVXElementImage_ActionCog;
// The status item's picture while the service cannot be reached.
extern const QString kVXElementImage_Disconnected;
extern const QString TriskVXIImageAssistantVariationNone;
extern const QString TriskVXIImageAssistantVariationDisabled;
extern const QString TriskVXIImageAssistantSchemeBuiltIn;

// Workspace tools and file extensions
extern const QString TriskVXWorkspaceToolEditor;
extern const QString TriskVXWorkspaceToolRemove;
extern const QString kVXWorkspaceFileExtensionSchedule;
extern const QString kVXWorkspaceFileExtensionEvent;

// Preferences
extern const QString kVXPreferencesDomain;
extern const QString kVXPreferencesNotificationSynchronise;
extern const QString kVXPreferencesKeyNotifierStatusMenu;
extern const QString kVXPreferencesKeyNotifierWarning;
extern const QString kVXPreferencesKeyNotifierNotifications;
extern const QString kVXPreferencesKeyNotifierNotificationCenter;
extern const QString kVXPreferencesKeySoftwareUpdateCheck;

// Connection notifications (default notification centre)
extern const QString TriskVXConnectionNotificationDidAuthenticate;
extern const QString TriskVXConnectionNotificationDidBecomeInvalid;

// The D-Bus protocol (docs/protocol.md)
extern const QString kVXDBusServiceName;
extern const QString kVXDBusObjectPath;
extern const QString kVXDBusInterface;
extern const QString kVXDBusMethodAuthenticate;

// Status codes of TriskVXResponse (docs/protocol.md). The service answers the first group; the connection
// makes the second when the call itself fails; -400 is the requests controller's own.
enum TriskVXStatusCode : qint64 {
    kVXStatusOK = 0,
    kVXStatusInvalidParameter = 1,
    kVXStatusUnknownTrigger = 2,
    kVXStatusUnknownEvent = 3,
    kVXStatusNotAuthorised = 4,
    kVXStatusInvalidEvent = 5,
    kVXStatusNotPerformable = 6,
    kVXStatusCriteriaNotMet = 7,
    kVXStatusInternalError = 8,
    kVXStatusLimitExceeded = 9,
    kVXStatusRequestNotSent = -400,
    kVXStatusUnknownRequest = -1000,
    kVXStatusNoReply = -1001,
    kVXStatusMalformedReply = -1002,
    kVXStatusServiceUnavailable = -1003,
};

// The protocol version Authenticate answers; a client refuses a service of another major version.
inline constexpr uint kVXProtocolVersion = 1;
