#pragma once

#include <QString>
#include <QVariant>

// The rules that go with the records: their shapes, performability on demand and rights. The
// service and the notifier both read records through these, so both sides agree.
class TriskVXRecords
{
public:
    // Whether a published value has the documented shape: an array of dictionaries for the record
    // lists (with the typed fields of each record kind, where present), a boolean for enabled.
    static bool isWellFormedVariable(const QString &variable, const QVariant &value, QString *error = nullptr);

    static bool isWellFormedQueuedTrigger(const QVariant &record, QString *error = nullptr);
    // What a panel is made from: a current queued trigger has its id, its event's name and its date.
    static bool isCompleteQueuedTrigger(const QVariant &record, QString *error = nullptr);
    static bool isWellFormedQueuedWarning(const QVariant &record, QString *error = nullptr);
    // An event as the service stores it: a dictionary with a string name, typed optional fields and
    // triggers that each have a type and, for the once type, a date.
    static bool isWellFormedEvent(const QVariant &record, QString *error = nullptr);
    static bool isWellFormedTrigger(const QVariant &record, QString *error = nullptr);

    // Enabled and with kVXElementBehaviour_CanPerformOnDemand among its behaviours.
    static bool isPerformableOnDemand(const QVariantMap &event);

    // Some dictionary entry names the request as its signature and has a rule; any rule grants.
    static bool rightsGrant(const QVariantList &rights, const QString &request);

    // Field readers that tolerate absent and mistyped fields: nil (invalid) then.
    static QVariantMap eventOfQueuedTrigger(const QVariantMap &queuedTrigger);
    static QVariant eventNameOfQueuedTrigger(const QVariantMap &queuedTrigger);
    static QVariant triggerDateOfQueuedTrigger(const QVariantMap &queuedTrigger);
    // The record the warning panel shows: the first of the list, nil when the list is empty.
    static QVariant firstQueuedWarning(const QVariantList &warnings);
};
