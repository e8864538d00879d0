#include "HalvaneDemoSchedule.h"

#include "TriskVXConstants.h"

#include <QCoreApplication>

namespace {
QVariantMap onceTrigger(const QDateTime &date)
{
    return { { kVXTriggerType, kVXTriggerType_Once }, { kVXTriggerDate, date } };
}

QString demoText(const char *text)
{
    return QCoreApplication::translate("HalvaneDemoSchedule", text);
}
} // namespace

QVariantList HalvaneDemoSchedule::events(const QDateTime &now)
{
    const QDateTime start = now.toUTC();
    return {
        QVariantMap {
            { kVXEventUniqueID, QStringLiteral("demo-shutdown") },
            { kVXEventName, demoText("Evening shut down (demo)") },
            { kVXEventEnabled, true },
            { kVXEventNotes, demoText("Shown only: the demo never powers anything off.") },
            { kVXEventTriggers, QVariantList { onceTrigger(start.addSecs(4 * 60)), onceTrigger(start.addDays(1)) } },
            { kVXEventImage, QStringLiteral("power-off") } },
        QVariantMap { { kVXEventUniqueID, QStringLiteral("demo-backup") },
                      { kVXEventName, demoText("Nightly backup (demo)") },
                      { kVXEventEnabled, true },
                      { kVXEventTriggers, QVariantList { onceTrigger(start.addSecs(2 * 60 * 60)) } },
                      { kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand } } },
        QVariantMap { { kVXEventUniqueID, QStringLiteral("demo-sleep") },
                      { kVXEventName, demoText("Sleep now (demo)") },
                      { kVXEventEnabled, true },
                      { kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand } },
                      { kVXEventImage, QStringLiteral("sleep") } },
    };
}
