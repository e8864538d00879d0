#pragma once

#include "HalvaneEventStore.h"
#include "HalvaneResult.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QVariant>

class QTimer;
class TriskVXClock;

// The scheduler itself, without transport: the event store, the queue of next firings with their
// adjustments and cancellations, the published variables, the requests of Part 1.1 and the firing of
// triggers as the clock reaches them.
class HalvaneScheduler : public QObject
{
    Q_OBJECT

public:
    explicit HalvaneScheduler(TriskVXClock *clock, QObject *parent = nullptr);

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
    // Every request name the service answers.
    static QStringList requestNames();

    // Time between performing an event's start and its end; actions take no time in this version.
    void setPerformDuration(int milliseconds) { m_performDuration = milliseconds; }

Q_SIGNALS:
    // The variables whose published values just changed, in the order of Part 1.1.
    void variablesChanged(const QStringList &names);

private:
    struct QueuedFiring
    {
        QString triggerID;
        QString eventID;
        QDateTime date;
    };

    QList<QueuedFiring> queue() const;
    QVariantMap queuedTriggerRecord(const QueuedFiring &firing) const;
    void republish();
    void fireDue();
    void scheduleWake(const QList<QueuedFiring> &queue);
    void startPerforming(const QString &eventID, const QString &why);
    qint64 secondsOf(const QVariantMap &event, const QString &key, qint64 fallback) const;

    TriskVXClock *m_clock;
    HalvaneEventStore m_store;
    bool m_enabled = true;
    QHash<QString, QDateTime> m_adjustments;
    QSet<QString> m_cancelled;
    QHash<QString, QDateTime> m_cancelledUntil;
    QStringList m_activeOrder;
    QHash<QString, int> m_activeCount;
    QHash<QString, QVariant> m_published;
    QTimer *m_wakeTimer;
    int m_performDuration = 0;
};
