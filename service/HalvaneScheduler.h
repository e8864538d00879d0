#pragma once

#include "HalvaneEventStore.h"
#include "HalvaneResult.h"
#include "HalvaneStateDelta.h"
#include "HalvaneTrigger.h"
#include "HalvaneTriggerState.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QVariant>

class HalvanePerformer;
class TriskVXClock;
class TriskVXDeadlineTimer;

// The scheduler itself, without transport: the event store, the next firing of every trigger with the
// person's adjustments and cancellations, the published variables, the client framework's requests, and the
// firing of triggers as the wall clock reaches them.
class HalvaneScheduler : public QObject
{
    Q_OBJECT

public:
    // The performer runs the events' actions; without one, performing only logs.
    HalvaneScheduler(TriskVXClock *clock, HalvanePerformer *performer, QObject *parent = nullptr);
    ~HalvaneScheduler() override;

    // Answers one request (a kVXRPC... name and its parameters) and publishes what it changed.
    HalvaneResult handle(const QString &request, const QVariantMap &parameters);

    HalvaneResult adjust(const QVariantMap &parameters);
    HalvaneResult cancel(const QVariantMap &parameters);
    HalvaneResult reset(const QVariantMap &parameters);
    HalvaneResult perform(const QVariantMap &parameters);
    HalvaneResult store(const QVariantMap &parameters);
    HalvaneResult setEnabled(const QVariantMap &parameters);

    // The published value of a kVXObserve... variable (property-list form).
    QVariant variable(const QString &name) const { return m_published.value(name); }
    bool isEnabled() const { return m_enabled; }
    const HalvaneEventStore &eventStore() const { return m_store; }
    HalvaneTriggerState triggerState(const QString &triggerID) const { return m_states.value(triggerID); }
    // Every request name the service answers.
    static QStringList requestNames();

    // The persistent state (events, trigger states, enabled) as a property list, and back. restore
    // refuses a list it cannot read whole and then changes nothing. Replacing: the whole state is to be
    // saved afresh (an import, a migrated state file); FromStore: the store holds this state already, and
    // only what restoring had to mend (states of unknown triggers, missing anchors) is to be saved.
    // restore publishes nothing: start() does, as does every later pass.
    enum class Restore { Replacing, FromStore };
    QVariantMap toPropertyList() const;
    bool restore(const QVariantMap &propertyList, QString *error, Restore kind = Restore::Replacing);
    // Replaces the whole persistent state with an exported one (restore, then the firings it brings due).
    HalvaneResult importState(const QVariantMap &propertyList);
    // What changed in the persistent state since the last call, as rows to save.
    HalvaneStateDelta takeChanges();

    // Handles what came due while the service was not running, with the catch-up rule, and starts firing.
    void start();
    // A firing found overdue at start is still performed when it is at most this late (default 300 s).
    void setCatchUpSeconds(qint64 seconds) { m_catchUpSeconds = seconds; }
    qint64 catchUpSeconds() const { return m_catchUpSeconds; }

Q_SIGNALS:
    // The variables whose published values just changed, in TriskVXObserver::observedVariables() order.
    void variablesChanged(const QStringList &names);
    // Something that is persisted changed.
    void stateChanged();

private:
    struct QueuedFiring
    {
        QString triggerID;
        QString eventID;
        QDateTime natural;
        QDateTime date;
        qint64 msecs = 0;
        qint64 noticeSeconds = 0;
        qint64 leadSeconds = 0;
    };

    // What the queue needs of each trigger, read once from the store: rebuilt when the store changes.
    struct IndexedTrigger
    {
        QString triggerID;
        QString eventID;
        QVariantMap event;
        QVariantMap record;
        HalvaneTrigger trigger;
        qint64 noticeSeconds = 0;
        qint64 leadSeconds = 0;
        bool enabled = true;
    };

    enum class Pass { Running, Starting };

    QList<QueuedFiring> queue() const;
    QDateTime nextNatural(const HalvaneTrigger &trigger, const HalvaneTriggerState &state) const;
    QDateTime nextNatural(const HalvaneTrigger &trigger, const HalvaneTriggerState &state, const QTimeZone &zone) const;
    QDateTime cachedNatural(const IndexedTrigger &entry, const QTimeZone &zone) const;
    const QList<IndexedTrigger> &index() const;
    const IndexedTrigger *indexed(const QString &triggerID) const;
    // The store changed: the index, the next firings and the records made from them are stale.
    void storeChanged();
    // One trigger's state changed: its next firing is stale.
    void triggerChanged(const QString &triggerID) { m_naturals.remove(triggerID); }
    // Marks persisted rows changed for the next takeChanges().
    void touchEvent(const QString &eventID);
    void touchTrigger(const QString &triggerID) { m_touchedTriggers.insert(triggerID); }
    QVariantMap queuedTriggerRecord(const QueuedFiring &firing) const;
    void republish(const QList<QueuedFiring> &firings);
    // Publishes once the event loop turns: the many performances a start or a wake ends make one pass
    // over the queue, not one each.
    void publishSoon();
    void handleDue(Pass pass = Pass::Running);
    void consume(const QueuedFiring &firing);
    bool sweepCancelled(const QDateTime &now);
    void scheduleWake(const QList<QueuedFiring> &firings);
    void startPerforming(const QString &eventID, const QString &why);
    bool isActive(const QString &eventID) const { return m_activeCount.value(eventID) > 0; }
    qint64 secondsOf(const QVariantMap &event, const QString &key, qint64 fallback) const;
    HalvaneResult checkTrigger(const QString &triggerID) const;
    // Ahead: after now and before the horizon (a new firing date); WithinHorizon: before the horizon only.
    enum class DateRule { Ahead, WithinHorizon };
    HalvaneResult checkDate(const QDateTime &date, DateRule rule) const;
    // A store request against the limits of HalvaneLimits and the dates of its once triggers, before
    // anything changes (HalvaneSchedulerLimits.cpp).
    HalvaneResult checkStore(const QVariantList &events) const;
    // Whether the store, with these events added or replacing their namesakes among kept, stays within
    // the totals: events, triggers and the size of what is published.
    HalvaneResult checkCapacity(const QVariantList &events, const QList<QVariantMap> &kept) const;

    TriskVXClock *m_clock;
    HalvanePerformer *m_performer;
    TriskVXDeadlineTimer *m_timer;
    HalvaneEventStore m_store;
    QHash<QString, HalvaneTriggerState> m_states;
    bool m_enabled = true;
    bool m_started = false;
    qint64 m_catchUpSeconds = 300;
    QStringList m_activeOrder;
    QHash<QString, int> m_activeCount;
    QHash<QString, QVariant> m_published;
    bool m_publishPending = false;
    // Unsaved changes: events in the order they were first stored, so that new rows keep it.
    QStringList m_touchedEventOrder;
    QSet<QString> m_touchedEvents;
    QSet<QString> m_touchedTriggers;
    bool m_touchedEnabled = false;
    bool m_touchedWhole = false;

    mutable QList<IndexedTrigger> m_index;
    mutable QHash<QString, qsizetype> m_indexOf;
    mutable QVariantList m_onDemand;
    mutable bool m_indexValid = false;
    mutable QHash<QString, QDateTime> m_naturals;
    mutable QByteArray m_naturalsZone;
    // Queued-trigger records by trigger, with the date they were made for: unchanged firings publish the
    // same (shared) record, which also makes comparing the lists cheap.
    mutable QHash<QString, QPair<qint64, QVariant>> m_records;
};
