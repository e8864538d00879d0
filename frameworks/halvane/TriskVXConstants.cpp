#include "TriskVXConstants.h"

// Observed variables (D-Bus properties of the scheduler object)
const QString kVXObserveSchedulerPending = QStringLiteral("SchedulerPending");
const QString kVXObserveSchedulerActive = QStringLiteral("SchedulerActive");
const QString kVXObserveSchedulerEnabled = QStringLiteral("SchedulerEnabled");
const QString kVXObserveNotificationsCurrent = QStringLiteral("NotificationsCurrent");
const QString kVXObserveNotificationsWarning = QStringLiteral("NotificationsWarning");
const QString kVXObserveOnDemandAvailable = QStringLiteral("OnDemandAvailable");
const QString kVXObserveAuthorisationRights = QStringLiteral("AuthorisationRights");

// Requests (D-Bus methods of the scheduler object)
const QString kVXRPCSchedulerAdjust = QStringLiteral("SchedulerAdjust");
const QString kVXRPCSchedulerCancel = QStringLiteral("SchedulerCancel");
const QString kVXRPCSchedulerReset = QStringLiteral("SchedulerReset");
const QString kVXRPCOnDemandPerform = QStringLiteral("OnDemandPerform");
const QString kVXRPCEventStoreStore = QStringLiteral("EventStoreStore");
const QString kVXRPCSchedulerSetEnabled = QStringLiteral("SchedulerSetEnabled");
const QString kVXRPCSchedulerEnabled = QStringLiteral("SchedulerEnabled");

// Request parameters (keys of the parameter dictionary)
const QString kVXRPCParameterTriggerID = QStringLiteral("TriggerID");
const QString kVXRPCParameterDate = QStringLiteral("Date");
const QString kVXRPCParameterUntil = QStringLiteral("Until");
const QString kVXRPCParameterUniqueID = QStringLiteral("UniqueID");
const QString kVXRPCParameterApplyCriteria = QStringLiteral("ApplyCriteria");
const QString kVXRPCParameterEvents = QStringLiteral("Events");
const QString kVXRPCParameterEnabled = QStringLiteral("Enabled");

// Queued trigger
const QString kVXQueuedTriggerTriggerID = QStringLiteral("TriggerID");
const QString kVXQueuedTriggerEvent = QStringLiteral("Event");
const QString kVXQueuedTriggerTrigger = QStringLiteral("Trigger");

// Queued warning
const QString kVXQueuedWarningActionID = QStringLiteral("ActionID");
const QString kVXQueuedWarningEvent = QStringLiteral("Event");
const QString kVXQueuedWarningDate = QStringLiteral("Date");
const QString kVXQueuedWarningMessage = QStringLiteral("Message");

// Event
const QString kVXEventName = QStringLiteral("Name");
const QString kVXEventUniqueID = QStringLiteral("UniqueID");
const QString kVXEventEnabled = QStringLiteral("Enabled");
const QString kVXEventNotes = QStringLiteral("Notes");
const QString kVXEventTriggers = QStringLiteral("Triggers");
const QString kVXEventBehaviours = QStringLiteral("Behaviours");

// Trigger
const QString kVXTriggerType = QStringLiteral("Type");
const QString kVXTriggerDate = QStringLiteral("Date");
const QString kVXTriggerType_Once = QStringLiteral("Once");
const QString kVXTriggerIdentifier = QStringLiteral("ID");
const QString kVXEventNoticePeriod = QStringLiteral("NoticePeriod");
const QString kVXEventWarningLead = QStringLiteral("WarningLead");
const QString kVXEventWarningMessage = QStringLiteral("WarningMessage");
const QString kVXEventImage = QStringLiteral("Image");
const QString kVXTriggerType_Daily = QStringLiteral("Daily");
const QString kVXTriggerType_Weekly = QStringLiteral("Weekly");
const QString kVXTriggerTime = QStringLiteral("Time");
const QString kVXTriggerWeekdays = QStringLiteral("Weekdays");
const QString kVXEventActions = QStringLiteral("Actions");
const QString kVXActionType = QStringLiteral("Type");
const QString kVXActionMessage = QStringLiteral("Message");
const QString kVXActionArguments = QStringLiteral("Arguments");
const QString kVXActionTimeout = QStringLiteral("Timeout");
const QString kVXActionUser = QStringLiteral("User");
const QString kVXActionType_Log = QStringLiteral("Log");
const QString kVXActionType_Command = QStringLiteral("Command");
const QString kVXActionType_PowerOff = QStringLiteral("PowerOff");
const QString kVXActionType_Reboot = QStringLiteral("Reboot");
const QString kVXActionType_Suspend = QStringLiteral("Suspend");
const QString kVXActionType_Hibernate = QStringLiteral("Hibernate");

// Active event
const QString kVXActiveEventEvent = QStringLiteral("Event");

// Behaviours
const QString kVXElementBehaviour_CanPerformOnDemand = QStringLiteral("CanPerformOnDemand");

// Authorisation right
const QString kVXAuthorisationRightSignature = QStringLiteral("Signature");
const QString kVXAuthorisationRightRule = QStringLiteral("Rule");
const QString kVXAuthorisationRightRule_Universal = QStringLiteral("Universal");

// Element images, variations and the built-in scheme
const QString kVXElementImage_None = QStringLiteral("none");
const QString kVXElementImage_Stopped = QStringLiteral("stopped");
const QString kVXElementImage_ActionCog = QStringLiteral("action-cog");
const QString kVXElementImage_Disconnected = QStringLiteral("disconnected");
const QString TriskVXIImageAssistantVariationNone = QStringLiteral("none");
const QString TriskVXIImageAssistantVariationDisabled = QStringLiteral("disabled");
const QString TriskVXIImageAssistantSchemeBuiltIn = QStringLiteral("halvane-image");

// Workspace tools and file extensions
const QString TriskVXWorkspaceToolEditor = QStringLiteral("editor");
const QString TriskVXWorkspaceToolRemove = QStringLiteral("remove");
const QString kVXWorkspaceFileExtensionSchedule = QStringLiteral("halvaneschedule");
const QString kVXWorkspaceFileExtensionEvent = QStringLiteral("halvaneevent");

// Preferences
const QString kVXPreferencesDomain = QStringLiteral("org.halvane.scheduler");
const QString kVXPreferencesNotificationSynchronise = QStringLiteral("PreferencesSynchronise");
const QString kVXPreferencesKeyNotifierStatusMenu = QStringLiteral("notifier.status-menu");
const QString kVXPreferencesKeyNotifierWarning = QStringLiteral("notifier.warning");
const QString kVXPreferencesKeyNotifierNotifications = QStringLiteral("notifier.notifications");
const QString kVXPreferencesKeyNotifierNotificationCenter = QStringLiteral("notifier.notification-center");
const QString kVXPreferencesKeySoftwareUpdateCheck = QStringLiteral("software-update.check");

// Connection notifications (default notification centre)
const QString TriskVXConnectionNotificationDidAuthenticate
    = QStringLiteral("TriskVXConnectionNotificationDidAuthenticate");
const QString TriskVXConnectionNotificationDidBecomeInvalid
    = QStringLiteral("TriskVXConnectionNotificationDidBecomeInvalid");

// The D-Bus protocol (docs/protocol.md)
const QString kVXDBusServiceName = QStringLiteral("org.halvane.Scheduler");
const QString kVXDBusObjectPath = QStringLiteral("/org/halvane/Scheduler");
const QString kVXDBusInterface = QStringLiteral("org.halvane.Scheduler1");
const QString kVXDBusMethodAuthenticate = QStringLiteral("Authenticate");
