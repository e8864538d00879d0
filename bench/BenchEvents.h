#pragma once

#include "TriskVXConstants.h"

#include <QDateTime>
#include <QVariantList>

// A store of n events for benchmarks: one in three daily, the rest once, spread over a month.
inline QVariantList benchEvents(int n, const QDateTime &now)
{
    QVariantList events;
    events.reserve(n);
    for (int i = 0; i < n; ++i) {
        QVariantMap trigger { { kVXTriggerIdentifier, QStringLiteral("t%1").arg(i) } };
        if (i % 3 == 0) {
            trigger.insert(kVXTriggerType, kVXTriggerType_Daily);
            trigger.insert(kVXTriggerTime, QStringLiteral("%1:%2").arg(i % 24, 2, 10, QLatin1Char('0')).arg(i % 60, 2, 10, QLatin1Char('0')));
        } else {
            trigger.insert(kVXTriggerType, kVXTriggerType_Once);
            trigger.insert(kVXTriggerDate, now.addSecs(3600 + qint64(i) * 257));
        }
        events.append(QVariantMap { { kVXEventUniqueID, QStringLiteral("e%1").arg(i) },
                                    { kVXEventName, QStringLiteral("Event %1").arg(i) },
                                    { kVXEventNotes, QStringLiteral("made for the benchmark") },
                                    { kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand } },
                                    { kVXEventActions, QVariantList { QVariantMap { { kVXActionType, kVXActionType_Log }, { kVXActionMessage, QStringLiteral("hello") } } } },
                                    { kVXEventTriggers, QVariantList { trigger } } });
    }
    return events;
}
