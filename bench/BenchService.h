#pragma once

#include "HalvanedProcess.h"

#include <QDateTime>

// Starts halvaned on its test clock at start, without state, and adds count log events whose notice
// periods begin one after the other, spacing seconds apart: each move of the service's clock by spacing
// makes the next one current.
inline bool startWithSpacedEvents(HalvanedProcess &service, int count, const QDateTime &start, qint64 spacing,
                                  qint64 notice)
{
    if (!service.start({ QStringLiteral("--test-clock"), QStringLiteral("--dry-run"), QStringLiteral("--no-state") })
        || !service.setTestNow(start))
        return false;
    for (int i = 0; i < count; ++i) {
        if (!service.control({ QStringLiteral("add"), QStringLiteral("Event %1").arg(i), QStringLiteral("--at"),
                               start.addSecs((i + 1) * spacing).toString(Qt::ISODate), QStringLiteral("--log"),
                               QStringLiteral("bench"), QStringLiteral("--notice"), QString::number(notice) }))
            return false;
    }
    return true;
}
