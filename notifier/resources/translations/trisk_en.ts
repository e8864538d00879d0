<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name>Localizable</name>
    <message>
        <source>TriskVXNotifyController.name</source>
        <translation>Trisk Notifier</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.section.active</source>
        <translation>Being performed</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.section.ondemand</source>
        <translation>On demand</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.section.pending</source>
        <translation>Coming up</translation>
    </message>
    <message>
        <source>STATUSMENU_EMPTY</source>
        <translation>Nothing scheduled</translation>
    </message>
    <message>
        <source>STATUSMENU_EMPTY_TOOLTIP</source>
        <translation>The scheduler has no pending events.</translation>
    </message>
    <message>
        <source>STATUSMENU_UNAVAILABLE</source>
        <translation>Schedule unavailable</translation>
    </message>
    <message>
        <source>STATUSMENU_UNAVAILABLE_TOOLTIP</source>
        <translation>The scheduler has not reported its pending events yet.</translation>
    </message>
    <message>
        <source>STATUSMENU_STOPPED</source>
        <translation>Scheduler stopped</translation>
    </message>
    <message>
        <source>STATUSMENU_STOPPED_TOOLTIP</source>
        <translation>The scheduler is turned off: no event will be performed.</translation>
    </message>
    <message>
        <source>STATUSMENU_MORE_PENDING</source>
        <translation>%1 more coming up</translation>
    </message>
    <message>
        <source>STATUSMENU_MORE_PENDING_ONE</source>
        <translation>1 more coming up</translation>
    </message>
    <message>
        <source>STATUSMENU_MORE_ONDEMAND</source>
        <translation>%1 more on demand</translation>
    </message>
    <message>
        <source>STATUSMENU_MORE_ONDEMAND_ONE</source>
        <translation>1 more on demand</translation>
    </message>
    <message>
        <source>STATUSMENU_MORE_TOOLTIP</source>
        <translation>The menu lists the first %1; Open Halvane… shows them all.</translation>
    </message>
    <message>
        <source>STATUSMENU_PENDING_TOOLTIP</source>
        <translation>Next: %1, %2</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.title.performing</source>
        <translation>Performing %1</translation>
    </message>
    <message>
        <source>COUNTDOWN_FORMAT_HMS</source>
        <translation>%1:%2:%3</translation>
    </message>
    <message>
        <source>COUNTDOWN_FORMAT_MS</source>
        <translation>%1:%2</translation>
    </message>
    <message>
        <source>COUNTDOWN_FORMAT_S</source>
        <translation>0:%1</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.quick.title.group</source>
        <translation>In %1 minutes:</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.quick.title</source>
        <translation>%1 in %2 minutes</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.quick.title.more</source>
        <translation>More Quick Schedule…</translation>
    </message>
    <message>
        <source>NOTIFICATION_TITLE_FORMAT</source>
        <translation>%1 at %2</translation>
    </message>
    <message>
        <source>NOTIFICATION_MESSAGE_FORMAT</source>
        <translation>“%1” will be performed at %2.
%3 left.</translation>
    </message>
    <message>
        <source>RELATIVE_TIME</source>
        <translation>%1 min %2 s</translation>
    </message>
    <message>
        <source>TriskVXNotificationController.simplify.adjust</source>
        <translation>Change Time…</translation>
    </message>
    <message>
        <source>TriskVXNotificationController.simplify.cancel</source>
        <translation>Skip This Time</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_APPLY_ADD</source>
        <translation>Add</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_DONOTAPPLY_ADD</source>
        <translation>Don’t Add</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_APPLY_POSTPONE</source>
        <translation>Postpone</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_DONOTAPPLY_POSTPONE</source>
        <translation>Don’t Postpone</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_APPLY_RESET</source>
        <translation>Reset</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_DONOTAPPLY_RESET</source>
        <translation>Don’t Reset</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_APPLY_STOP</source>
        <translation>Stop</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_DONOTAPPLY_STOP</source>
        <translation>Keep Running</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_APPLY_START</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_DONOTAPPLY_START</source>
        <translation>Leave Stopped</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_SCHEDULER_ON</source>
        <translation>Stop the Scheduler</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_SCHEDULER_OFF</source>
        <translation>Start the Scheduler</translation>
    </message>
    <message>
        <source>STATUSMENU_PENDING_COUNTDOWN_TOOLTIP</source>
        <translation>Next: %1, %2 (in %3)</translation>
    </message>
    <message>
        <source>COUNTDOWN_IMAGE_FORMAT_S</source>
        <translation>%1</translation>
    </message>
    <message>
        <source>COUNTDOWN_IMAGE_FORMAT_M</source>
        <translation>%1m</translation>
    </message>
    <message>
        <source>COUNTDOWN_IMAGE_FORMAT_H</source>
        <translation>%1h</translation>
    </message>
    <message>
        <source>COUNTDOWN_IMAGE_FORMAT_D</source>
        <translation>%1d</translation>
    </message>
    <message>
        <source>STATUSMENU_DISCONNECTED_TOOLTIP</source>
        <translation>The Halvane service cannot be reached. The schedule comes back as soon as it answers again.</translation>
    </message>
    <message>
        <source>NOTIFICATION_CENTER_WHEN_FORMAT</source>
        <translation>“%2” will be performed at %1.</translation>
    </message>
    <message>
        <source>NOTIFICATION_CENTER_WHAT_PENDING</source>
        <translation>Click to change the time.</translation>
    </message>
    <message>
        <source>NOTIFICATION_CENTER_WHAT_WARNING</source>
        <translation>Halvane is about to perform this event.</translation>
    </message>
    <message>
        <source>NOTIFICATION_CENTER_ACTION_ADJUST</source>
        <translation>Adjust…</translation>
    </message>
    <message>
        <source>update-notification.title</source>
        <translation>Trisk Notifier update available</translation>
    </message>
    <message>
        <source>update-notification.subtitle</source>
        <translation>A newer version of Trisk Notifier is available.</translation>
    </message>
    <message>
        <source>update-notification.info</source>
        <translation>Install it with your software centre or package manager.</translation>
    </message>
    <message>
        <source>update-notification.button</source>
        <translation>Update</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_TITLE</source>
        <translation>Halvane did not carry out the request</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_TITLE_SUMMARY</source>
        <translation>Not carried out: %1</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_UNKNOWN_TRIGGER</source>
        <translation>The trigger is no longer pending: it fired or was removed meanwhile.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_UNKNOWN_EVENT</source>
        <translation>The event no longer exists.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_NOT_AUTHORISED</source>
        <translation>You are not allowed to do this on this computer.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_INVALID</source>
        <translation>The scheduler did not accept it; a date may have passed meanwhile.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_NOT_PERFORMABLE</source>
        <translation>The event cannot be performed now.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_NOT_SAVED</source>
        <translation>The scheduler could not save the change.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_TOO_LARGE</source>
        <translation>It is larger than the scheduler accepts.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_UNREACHABLE</source>
        <translation>The scheduler cannot be reached.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_OTHER</source>
        <translation>The scheduler answered with status %1.</translation>
    </message>
    <message>
        <source>COUNTDOWN_TOOLTIP_LAST_MINUTE</source>
        <translation>under 1 min</translation>
    </message>
    <message>
        <source>COUNTDOWN_TOOLTIP_FORMAT_M</source>
        <translation>%1 min</translation>
    </message>
    <message>
        <source>COUNTDOWN_TOOLTIP_FORMAT_HM</source>
        <translation>%1 h %2 min</translation>
    </message>
</context>
<context>
    <name>TriskVXStatusMenuController</name>
    <message>
        <source>Quick Schedule</source>
        <translation>Quick Schedule</translation>
    </message>
    <message>
        <source>Open Halvane…</source>
        <translation>Open Halvane…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Check for Updates…</translation>
    </message>
    <message>
        <source>Cancel This Time</source>
        <translation>Cancel This Time</translation>
    </message>
    <message>
        <source>Delay 5 Minutes</source>
        <translation>Delay 5 Minutes</translation>
    </message>
    <message>
        <source>Delay 15 Minutes</source>
        <translation>Delay 15 Minutes</translation>
    </message>
    <message>
        <source>Delay 1 Hour</source>
        <translation>Delay 1 Hour</translation>
    </message>
    <message>
        <source>Reset</source>
        <translation>Reset</translation>
    </message>
    <message>
        <source>Adjust…</source>
        <translation>Adjust…</translation>
    </message>
    <message>
        <source>Perform Now</source>
        <translation>Perform Now</translation>
    </message>
    <message>
        <source>Trigger Now</source>
        <translation>Trigger Now</translation>
    </message>
    <message>
        <source>Remove Trisk Notifier…</source>
        <translation>Remove Trisk Notifier…</translation>
    </message>
</context>
<context>
    <name>TriskVXNotificationController</name>
    <message>
        <source>Adjust…</source>
        <translation>Adjust…</translation>
    </message>
    <message>
        <source>Cancel This Time</source>
        <translation>Cancel This Time</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>TriskVXWarningController</name>
    <message>
        <source>Halvane Warning</source>
        <translation>Halvane Warning</translation>
    </message>
    <message>
        <source>Halvane is about to perform</source>
        <translation>Halvane is about to perform</translation>
    </message>
</context>
<context>
    <name>TriskVXQuickScheduleController</name>
    <message>
        <source>Quick Schedule</source>
        <translation>Quick Schedule</translation>
    </message>
    <message>
        <source>Add an Event</source>
        <translation>Add an Event</translation>
    </message>
    <message>
        <source>Postpone Pending Events</source>
        <translation>Postpone Pending Events</translation>
    </message>
    <message>
        <source>Reset Pending Events</source>
        <translation>Reset Pending Events</translation>
    </message>
    <message>
        <source>Event:</source>
        <translation>Event:</translation>
    </message>
    <message>
        <source>At:</source>
        <translation>At:</translation>
    </message>
    <message>
        <source>From now:</source>
        <translation>From now:</translation>
    </message>
    <message>
        <source>15 min</source>
        <translation>15 min</translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation>1 hour</translation>
    </message>
    <message>
        <source>3 hours</source>
        <translation>3 hours</translation>
    </message>
    <message>
        <source>1 day</source>
        <translation>1 day</translation>
    </message>
    <message>
        <source>Until:</source>
        <translation>Until:</translation>
    </message>
    <message>
        <source>Every pending event waits until then; what would have fired before is skipped.</source>
        <translation>Every pending event waits until then; what would have fired before is skipped.</translation>
    </message>
    <message>
        <source>Takes back every adjustment, cancellation and postponement: each event fires at its own time again.</source>
        <translation>Takes back every adjustment, cancellation and postponement: each event fires at its own time again.</translation>
    </message>
    <message>
        <source>While the scheduler is stopped, no event is performed; triggers that come meanwhile pass.</source>
        <translation>While the scheduler is stopped, no event is performed; triggers that come meanwhile pass.</translation>
    </message>
</context>
<context>
    <name>TriskVXLoginNotificationController</name>
    <message>
        <source>Scheduled on this computer</source>
        <translation>Scheduled on this computer</translation>
    </message>
</context>
<context>
    <name>Templates</name>
    <message>
        <source>Shut down</source>
        <translation>Shut down</translation>
    </message>
    <message>
        <source>Turns the computer off.</source>
        <translation>Turns the computer off.</translation>
    </message>
    <message>
        <source>Restart</source>
        <translation>Restart</translation>
    </message>
    <message>
        <source>Restarts the computer.</source>
        <translation>Restarts the computer.</translation>
    </message>
    <message>
        <source>Sleep</source>
        <translation>Sleep</translation>
    </message>
    <message>
        <source>Puts the computer to sleep.</source>
        <translation>Puts the computer to sleep.</translation>
    </message>
    <message>
        <source>Hibernate</source>
        <translation>Hibernate</translation>
    </message>
    <message>
        <source>Saves the session to disk and turns the computer off.</source>
        <translation>Saves the session to disk and turns the computer off.</translation>
    </message>
    <message>
        <source>Log out</source>
        <translation>Log out</translation>
    </message>
    <message>
        <source>Ends every session of the user the scheduler runs as.</source>
        <translation>Ends every session of the user the scheduler runs as.</translation>
    </message>
    <message>
        <source>Write a line to the log</source>
        <translation>Write a line to the log</translation>
    </message>
    <message>
        <source>Notes in the scheduler's log that the time has come.</source>
        <translation>Notes in the scheduler's log that the time has come.</translation>
    </message>
</context>
<context>
    <name>RequestSummaries</name>
    <message>
        <source>Cancel a trigger</source>
        <translation>Cancel a trigger</translation>
    </message>
    <message>
        <source>Trigger now</source>
        <translation>Trigger now</translation>
    </message>
    <message>
        <source>Perform now</source>
        <translation>Perform now</translation>
    </message>
    <message>
        <source>Quick Schedule</source>
        <translation>Quick Schedule</translation>
    </message>
    <message>
        <source>Quick Schedule: Reset</source>
        <translation>Quick Schedule: Reset</translation>
    </message>
</context>
</TS>
