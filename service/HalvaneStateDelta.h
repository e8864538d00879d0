#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QVariantMap>

#include <optional>

// What changed in the persisted state since the last save, with the changed rows as they are now: what
// one save writes. A whole delta stands for the entire state and replaces what the store holds.
struct HalvaneStateDelta
{
    bool whole = false;
    std::optional<bool> enabled;
    // Events by unique id in the order they were first stored; no value: the event is gone.
    QList<QPair<QString, std::optional<QVariantMap>>> events;
    // Trigger states (HalvaneTriggerState property lists) by trigger id; no value: the state is gone.
    QList<QPair<QString, std::optional<QVariantMap>>> triggerStates;

    bool isEmpty() const { return !whole && !enabled && events.isEmpty() && triggerStates.isEmpty(); }
};
