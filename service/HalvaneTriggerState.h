#pragma once

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QVariantMap>

// What the scheduler remembers of one trigger beyond its record: when firings may begin (anchor), the
// last firing that came, and the person's adjustment and cancellations. Persisted with the store.
class HalvaneTriggerState
{
public:
    // Repeating triggers fire only after this instant: when they were first stored.
    QDateTime anchor;
    // The natural instant of the last firing that came (performed, skipped or missed), and its local date.
    QDateTime lastFired;
    QDate lastFiredDate;
    // One queued firing moved: the natural instant it had, and the instant it has now.
    QDateTime adjustedNatural;
    QDateTime adjustedDate;
    // Natural instants cancelled one by one, and the instant before which every firing is skipped.
    QList<QDateTime> skipped;
    QDateTime until;

    bool hasChanges() const { return adjustedNatural.isValid() || !skipped.isEmpty() || until.isValid(); }
    void resetChanges();

    QVariantMap toPropertyList() const;
    static HalvaneTriggerState fromPropertyList(const QVariantMap &propertyList);

    bool operator==(const HalvaneTriggerState &other) const = default;
};
