#pragma once

#include "HalvaneResult.h"

#include <QDateTime>
#include <QString>
#include <QVariant>

// How much the service takes in one request and keeps in all (docs/protocol.md, "Limits"). Everything it
// publishes is built from what it keeps, so these bounds are what keep every reply and every
// PropertiesChanged signal well under what the bus carries (128 MiB a message): a state the service
// accepted is a state it can always publish, save and load again.
class HalvaneLimits
{
public:
    // Keys of one request's parameter dictionary: no request takes more than a handful.
    static constexpr qsizetype kParameters = 16;
    static constexpr qsizetype kEventsPerRequest = 2000;
    static constexpr qsizetype kEvents = 10000;
    static constexpr qsizetype kTriggers = 20000;
    // Names, ids, types, times, images, users and dictionary keys.
    static constexpr qsizetype kNameLength = 1024;
    // Notes, messages and command arguments.
    static constexpr qsizetype kTextLength = 64 * 1024;
    // Entries of any array or dictionary inside an event (triggers, actions, arguments, weekdays).
    static constexpr qsizetype kListLength = 1024;
    static constexpr qint64 kEventBytes = 256 * 1024;
    static constexpr qint64 kRequestBytes = 16 * 1024 * 1024;
    // Every queued trigger carries its whole event, and one signal may carry the pending list together
    // with the three lists drawn from it and the on-demand list: five times this stays under 128 MiB.
    static constexpr qint64 kPublishedBytes = 20 * 1024 * 1024;
    // Firings of one trigger cancelled one by one; a longer pause is a postponement (Until), which is one date.
    static constexpr qsizetype kCancelledFirings = 100;
    static constexpr int kHorizonYears = 10;
    static constexpr qsizetype kClipLength = 200;

    // The text as a log line or a reply may quote it: at most kClipLength characters, "…" when cut.
    static QString clipped(const QString &text, qsizetype length = kClipLength);
    // What the bus handed in, checked before it is decoded: the number of keys, and the length of keys
    // and of string values. Costs nothing in the size of nested values.
    static HalvaneResult checkParameters(const QVariantMap &parameters);
    // A decoded value's size on the bus, roughly and never below it, counted only as far as budget: the
    // answer is then budget + 1.
    static qint64 encodedSize(const QVariant &value, qint64 budget);
    // One event's strings and lists against the limits above; its encoded size goes to bytes.
    static bool checkEvent(const QVariant &event, qint64 *bytes, QString *error);
    // The latest date a firing may be moved or set to.
    static QDateTime horizon(const QDateTime &now) { return now.addYears(kHorizonYears); }
};
