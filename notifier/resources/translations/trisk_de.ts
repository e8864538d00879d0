<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name>Localizable</name>
    <message>
        <source>TriskVXNotifyController.name</source>
        <translation>Trisk-Benachrichtigungen</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.section.active</source>
        <translation>Wird ausgeführt</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.section.ondemand</source>
        <translation>Auf Abruf</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.section.pending</source>
        <translation>Als Nächstes</translation>
    </message>
    <message>
        <source>STATUSMENU_EMPTY</source>
        <translation>Nichts geplant</translation>
    </message>
    <message>
        <source>STATUSMENU_EMPTY_TOOLTIP</source>
        <translation>Der Planer hat keine anstehenden Ereignisse.</translation>
    </message>
    <message>
        <source>STATUSMENU_UNAVAILABLE</source>
        <translation>Zeitplan nicht verfügbar</translation>
    </message>
    <message>
        <source>STATUSMENU_UNAVAILABLE_TOOLTIP</source>
        <translation>Der Planer hat seine anstehenden Ereignisse noch nicht gemeldet.</translation>
    </message>
    <message>
        <source>STATUSMENU_STOPPED</source>
        <translation>Planer angehalten</translation>
    </message>
    <message>
        <source>STATUSMENU_STOPPED_TOOLTIP</source>
        <translation>Der Planer ist ausgeschaltet: Kein Ereignis wird ausgeführt.</translation>
    </message>
    <message>
        <source>STATUSMENU_MORE_PENDING</source>
        <translation>%1 weitere folgen</translation>
    </message>
    <message>
        <source>STATUSMENU_MORE_PENDING_ONE</source>
        <translation>1 weiteres folgt</translation>
    </message>
    <message>
        <source>STATUSMENU_MORE_ONDEMAND</source>
        <translation>%1 weitere auf Abruf</translation>
    </message>
    <message>
        <source>STATUSMENU_MORE_ONDEMAND_ONE</source>
        <translation>1 weiteres auf Abruf</translation>
    </message>
    <message>
        <source>STATUSMENU_MORE_TOOLTIP</source>
        <translation>Das Menü zeigt die ersten %1; Halvane öffnen… zeigt alle.</translation>
    </message>
    <message>
        <source>STATUSMENU_PENDING_TOOLTIP</source>
        <translation>Als Nächstes: %1, %2</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.title.performing</source>
        <translation>%1 in Ausführung</translation>
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
        <translation>In %1 Minuten:</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.quick.title</source>
        <translation>%1 in %2 Minuten</translation>
    </message>
    <message>
        <source>TriskVXStatusMenuController.quick.title.more</source>
        <translation>Weitere Schnellplanung…</translation>
    </message>
    <message>
        <source>NOTIFICATION_TITLE_FORMAT</source>
        <translation>%1 um %2</translation>
    </message>
    <message>
        <source>NOTIFICATION_MESSAGE_FORMAT</source>
        <translation>„%1“ wird um %2 ausgeführt.
Noch %3</translation>
    </message>
    <message>
        <source>RELATIVE_TIME</source>
        <translation>%1 Min. %2 Sek.</translation>
    </message>
    <message>
        <source>TriskVXNotificationController.simplify.adjust</source>
        <translation>Zeit ändern…</translation>
    </message>
    <message>
        <source>TriskVXNotificationController.simplify.cancel</source>
        <translation>Diesmal auslassen</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_APPLY_ADD</source>
        <translation>Hinzufügen</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_DONOTAPPLY_ADD</source>
        <translation>Nicht hinzufügen</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_APPLY_POSTPONE</source>
        <translation>Verschieben</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_DONOTAPPLY_POSTPONE</source>
        <translation>Nicht verschieben</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_APPLY_RESET</source>
        <translation>Zurücksetzen</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_DONOTAPPLY_RESET</source>
        <translation>Nicht zurücksetzen</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_APPLY_STOP</source>
        <translation>Anhalten</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_DONOTAPPLY_STOP</source>
        <translation>Weiterlaufen lassen</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_APPLY_START</source>
        <translation>Starten</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_DONOTAPPLY_START</source>
        <translation>Angehalten lassen</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_SCHEDULER_ON</source>
        <translation>Planer anhalten</translation>
    </message>
    <message>
        <source>QUICKSCHEDULE_SCHEDULER_OFF</source>
        <translation>Planer starten</translation>
    </message>
    <message>
        <source>STATUSMENU_PENDING_COUNTDOWN_TOOLTIP</source>
        <translation>Als Nächstes: %1, %2 (in %3)</translation>
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
        <translation>%1T</translation>
    </message>
    <message>
        <source>STATUSMENU_DISCONNECTED_TOOLTIP</source>
        <translation>Der Halvane-Dienst ist nicht erreichbar. Der Zeitplan erscheint wieder, sobald er antwortet.</translation>
    </message>
    <message>
        <source>NOTIFICATION_CENTER_WHEN_FORMAT</source>
        <translation>„%2“ wird um %1 ausgeführt.</translation>
    </message>
    <message>
        <source>NOTIFICATION_CENTER_WHAT_PENDING</source>
        <translation>Klicken, um die Zeit zu ändern.</translation>
    </message>
    <message>
        <source>NOTIFICATION_CENTER_WHAT_WARNING</source>
        <translation>Halvane führt dieses Ereignis gleich aus.</translation>
    </message>
    <message>
        <source>NOTIFICATION_CENTER_ACTION_ADJUST</source>
        <translation>Anpassen…</translation>
    </message>
    <message>
        <source>update-notification.title</source>
        <translation>Aktualisierung für Trisk Notifier</translation>
    </message>
    <message>
        <source>update-notification.subtitle</source>
        <translation>Eine neuere Version von Trisk Notifier ist verfügbar.</translation>
    </message>
    <message>
        <source>update-notification.info</source>
        <translation>Installieren Sie sie mit Ihrer Softwareverwaltung oder Paketverwaltung.</translation>
    </message>
    <message>
        <source>update-notification.button</source>
        <translation>Aktualisieren</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_TITLE</source>
        <translation>Halvane hat die Anfrage nicht ausgeführt</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_TITLE_SUMMARY</source>
        <translation>Nicht ausgeführt: %1</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_UNKNOWN_TRIGGER</source>
        <translation>Der Auslöser steht nicht mehr an: Er wurde inzwischen ausgelöst oder entfernt.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_UNKNOWN_EVENT</source>
        <translation>Das Ereignis gibt es nicht mehr.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_NOT_AUTHORISED</source>
        <translation>Sie dürfen das auf diesem Computer nicht.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_INVALID</source>
        <translation>Der Planer hat es nicht angenommen; vielleicht ist ein Datum inzwischen verstrichen.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_NOT_PERFORMABLE</source>
        <translation>Das Ereignis kann jetzt nicht ausgeführt werden.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_NOT_SAVED</source>
        <translation>Der Planer konnte die Änderung nicht speichern.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_TOO_LARGE</source>
        <translation>Das ist größer, als der Planer annimmt.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_UNREACHABLE</source>
        <translation>Der Planer ist nicht erreichbar.</translation>
    </message>
    <message>
        <source>REQUEST_ERROR_OTHER</source>
        <translation>Der Planer antwortete mit Status %1.</translation>
    </message>
    <message>
        <source>COUNTDOWN_TOOLTIP_LAST_MINUTE</source>
        <translation>weniger als 1 Min.</translation>
    </message>
    <message>
        <source>COUNTDOWN_TOOLTIP_FORMAT_M</source>
        <translation>%1 Min.</translation>
    </message>
    <message>
        <source>COUNTDOWN_TOOLTIP_FORMAT_HM</source>
        <translation>%1 Std. %2 Min.</translation>
    </message>
</context>
<context>
    <name>TriskVXStatusMenuController</name>
    <message>
        <source>Quick Schedule</source>
        <translation>Schnellplanung</translation>
    </message>
    <message>
        <source>Open Halvane…</source>
        <translation>Halvane öffnen…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Nach Aktualisierungen suchen…</translation>
    </message>
    <message>
        <source>Cancel This Time</source>
        <translation>Dieses Mal absagen</translation>
    </message>
    <message>
        <source>Delay 5 Minutes</source>
        <translation>5 Minuten verschieben</translation>
    </message>
    <message>
        <source>Delay 15 Minutes</source>
        <translation>15 Minuten verschieben</translation>
    </message>
    <message>
        <source>Delay 1 Hour</source>
        <translation>1 Stunde verschieben</translation>
    </message>
    <message>
        <source>Reset</source>
        <translation>Zurücksetzen</translation>
    </message>
    <message>
        <source>Adjust…</source>
        <translation>Anpassen…</translation>
    </message>
    <message>
        <source>Perform Now</source>
        <translation>Jetzt ausführen</translation>
    </message>
    <message>
        <source>Trigger Now</source>
        <translation>Jetzt auslösen</translation>
    </message>
    <message>
        <source>Remove Trisk Notifier…</source>
        <translation>Trisk Notifier entfernen…</translation>
    </message>
</context>
<context>
    <name>TriskVXNotificationController</name>
    <message>
        <source>Adjust…</source>
        <translation>Anpassen…</translation>
    </message>
    <message>
        <source>Cancel This Time</source>
        <translation>Dieses Mal absagen</translation>
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
        <translation>Halvane-Warnung</translation>
    </message>
    <message>
        <source>Halvane is about to perform</source>
        <translation>Halvane führt in Kürze aus:</translation>
    </message>
</context>
<context>
    <name>TriskVXQuickScheduleController</name>
    <message>
        <source>Quick Schedule</source>
        <translation>Schnellplanung</translation>
    </message>
    <message>
        <source>Add an Event</source>
        <translation>Ereignis hinzufügen</translation>
    </message>
    <message>
        <source>Postpone Pending Events</source>
        <translation>Anstehende Ereignisse verschieben</translation>
    </message>
    <message>
        <source>Reset Pending Events</source>
        <translation>Anstehende Ereignisse zurücksetzen</translation>
    </message>
    <message>
        <source>Event:</source>
        <translation>Ereignis:</translation>
    </message>
    <message>
        <source>At:</source>
        <translation>Am:</translation>
    </message>
    <message>
        <source>From now:</source>
        <translation>Ab jetzt:</translation>
    </message>
    <message>
        <source>15 min</source>
        <translation>15 Min.</translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation>1 Std.</translation>
    </message>
    <message>
        <source>3 hours</source>
        <translation>3 Std.</translation>
    </message>
    <message>
        <source>1 day</source>
        <translation>1 Tag</translation>
    </message>
    <message>
        <source>Until:</source>
        <translation>Bis:</translation>
    </message>
    <message>
        <source>Every pending event waits until then; what would have fired before is skipped.</source>
        <translation>Jedes anstehende Ereignis wartet bis dahin; was vorher ausgelöst worden wäre, entfällt.</translation>
    </message>
    <message>
        <source>Takes back every adjustment, cancellation and postponement: each event fires at its own time again.</source>
        <translation>Nimmt jede Anpassung, Absage und Verschiebung zurück: Jedes Ereignis wird wieder zu seiner eigenen Zeit ausgelöst.</translation>
    </message>
    <message>
        <source>While the scheduler is stopped, no event is performed; triggers that come meanwhile pass.</source>
        <translation>Solange der Planer angehalten ist, wird kein Ereignis ausgeführt; Auslöser, die in dieser Zeit kommen, verstreichen.</translation>
    </message>
</context>
<context>
    <name>TriskVXLoginNotificationController</name>
    <message>
        <source>Scheduled on this computer</source>
        <translation>Geplant auf diesem Computer</translation>
    </message>
</context>
<context>
    <name>Templates</name>
    <message>
        <source>Shut down</source>
        <translation>Herunterfahren</translation>
    </message>
    <message>
        <source>Turns the computer off.</source>
        <translation>Schaltet den Computer aus.</translation>
    </message>
    <message>
        <source>Restart</source>
        <translation>Neu starten</translation>
    </message>
    <message>
        <source>Restarts the computer.</source>
        <translation>Startet den Computer neu.</translation>
    </message>
    <message>
        <source>Sleep</source>
        <translation>Bereitschaft</translation>
    </message>
    <message>
        <source>Puts the computer to sleep.</source>
        <translation>Versetzt den Computer in Bereitschaft.</translation>
    </message>
    <message>
        <source>Hibernate</source>
        <translation>Ruhezustand</translation>
    </message>
    <message>
        <source>Saves the session to disk and turns the computer off.</source>
        <translation>Sichert die Sitzung auf der Festplatte und schaltet den Computer aus.</translation>
    </message>
    <message>
        <source>Log out</source>
        <translation>Abmelden</translation>
    </message>
    <message>
        <source>Ends every session of the user the scheduler runs as.</source>
        <translation>Beendet jede Sitzung des Benutzers, unter dem der Planer läuft.</translation>
    </message>
    <message>
        <source>Write a line to the log</source>
        <translation>Eine Zeile ins Protokoll schreiben</translation>
    </message>
    <message>
        <source>Notes in the scheduler's log that the time has come.</source>
        <translation>Vermerkt im Protokoll des Planers, dass die Zeit gekommen ist.</translation>
    </message>
</context>
<context>
    <name>RequestSummaries</name>
    <message>
        <source>Cancel a trigger</source>
        <translation>Auslöser absagen</translation>
    </message>
    <message>
        <source>Trigger now</source>
        <translation>Jetzt auslösen</translation>
    </message>
    <message>
        <source>Perform now</source>
        <translation>Jetzt ausführen</translation>
    </message>
    <message>
        <source>Quick Schedule</source>
        <translation>Schnellplanung</translation>
    </message>
    <message>
        <source>Quick Schedule: Reset</source>
        <translation>Schnellplanung: Zurücksetzen</translation>
    </message>
</context>
</TS>
