#pragma once

#include "HalvaneResult.h"

#include <QHash>
#include <QStringList>
#include <QVariantMap>

// The scheduler's events, by unique id, in the order they were first stored. Every trigger carries a
// stable identifier (kVXTriggerIdentifier) that names it in requests and queued-trigger records.
class HalvaneEventStore
{
public:
    // Validates every event first and stores none unless all are valid; events without a unique id get
    // one, triggers without an identifier get one. An event with a known unique id replaces the old one.
    HalvaneResult store(const QVariantList &events, QStringList *storedIDs = nullptr);

    QList<QVariantMap> events() const;
    bool containsEvent(const QString &uniqueID) const { return m_events.contains(uniqueID); }
    QVariantMap event(const QString &uniqueID) const { return m_events.value(uniqueID); }
    bool containsTrigger(const QString &triggerID) const { return m_ownerOfTrigger.contains(triggerID); }
    QString eventOfTrigger(const QString &triggerID) const { return m_ownerOfTrigger.value(triggerID); }
    // Drops one trigger from its event (a once trigger that has fired).
    void removeTrigger(const QString &triggerID);
    // Trigger identifiers that existed before the last store and are gone now.
    QStringList takeVanishedTriggers();

    // Whether an event as stored may be queued and performed: validation beyond the record shape.
    static bool isValidEvent(const QVariant &event, QString *error);

private:
    void index(const QString &uniqueID);

    QStringList m_order;
    QHash<QString, QVariantMap> m_events;
    QHash<QString, QString> m_ownerOfTrigger;
    QHash<QString, QStringList> m_triggersOfEvent;
    QStringList m_vanished;
};
