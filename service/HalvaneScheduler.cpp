#include "HalvaneScheduler.h"

#include "HalvaneAction.h"
#include "HalvaneLimits.h"
#include "HalvanePerformer.h"
#include "HalvaneServiceLogging.h"
#include "HalvaneTrigger.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXDeadlineTimer.h"
#include "TriskVXObserver.h"
#include "TriskVXRecords.h"

#include <QTimer>

#include <optional>

#include <algorithm>

namespace {
// The service's own defaults for the notice period and the warning lead; docs/protocol.md documents them.
const qint64 kDefaultNoticePeriodSeconds = 5 * 60;
const qint64 kDefaultWarningLeadSeconds = 60;
// Bounds the walk over cancelled firings of one trigger.
const int kLongestSkipWalk = 1024;

const QString kVersionKey = QStringLiteral("Version");
const QString kEnabledKey = QStringLiteral("Enabled");
const QString kEventsKey = QStringLiteral("Events");
const QString kTriggersKey = QStringLiteral("TriggerStates");
const qint64 kStateVersion = 1;

struct ParameterRule
{
    QString name;
    int type;
    bool required;
};

// Missing, mistyped and unknown parameters are all refused before anything changes.
bool checkParameters(const QVariantMap &parameters, const QList<ParameterRule> &rules, HalvaneResult *result)
{
    for (const ParameterRule &rule : rules) {
        const auto value = parameters.constFind(rule.name);
        if (value == parameters.cend()) {
            if (rule.required) {
                *result = HalvaneResult::failure(kVXStatusInvalidParameter,
                                                 QStringLiteral("missing parameter %1").arg(rule.name));
                return false;
            }
            continue;
        }
        if (value->typeId() != rule.type) {
            *result = HalvaneResult::failure(kVXStatusInvalidParameter,
                                             QStringLiteral("parameter %1 has the wrong type").arg(rule.name));
            return false;
        }
    }
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it) {
        const bool known = std::any_of(rules.cbegin(), rules.cend(), [&](const ParameterRule &rule) {
            return rule.name == it.key();
        });
        if (!known) {
            *result
                = HalvaneResult::failure(kVXStatusInvalidParameter,
                                         QStringLiteral("unknown parameter %1").arg(HalvaneLimits::clipped(it.key())));
            return false;
        }
    }
    return true;
}
} // namespace

HalvaneScheduler::HalvaneScheduler(TriskVXClock *clock, HalvanePerformer *performer, QObject *parent)
    : QObject(parent)
    , m_clock(clock ? clock : TriskVXClock::systemClock())
    , m_performer(performer)
    , m_timer(new TriskVXDeadlineTimer(m_clock, this))
{
    connect(m_timer, &TriskVXDeadlineTimer::timeout, this, [this] {
        handleDue();
    });
    connect(m_timer, &TriskVXDeadlineTimer::clockChanged, this, [this] {
        handleDue();
    });
    republish(queue());
}

HalvaneScheduler::~HalvaneScheduler() = default;

QStringList HalvaneScheduler::requestNames()
{
    return { kVXRPCSchedulerAdjust, kVXRPCSchedulerCancel, kVXRPCSchedulerReset,
             kVXRPCOnDemandPerform, kVXRPCEventStoreStore, kVXRPCSchedulerSetEnabled };
}

void HalvaneScheduler::start()
{
    m_started = true;
    handleDue(Pass::Starting);
}

HalvaneResult HalvaneScheduler::handle(const QString &request, const QVariantMap &parameters)
{
    HalvaneResult result
        = HalvaneResult::failure(kVXStatusUnknownRequest, QStringLiteral("unknown request %1").arg(request));
    if (request == kVXRPCSchedulerAdjust)
        result = adjust(parameters);
    else if (request == kVXRPCSchedulerCancel)
        result = cancel(parameters);
    else if (request == kVXRPCSchedulerReset)
        result = reset(parameters);
    else if (request == kVXRPCOnDemandPerform)
        result = perform(parameters);
    else if (request == kVXRPCEventStoreStore)
        result = store(parameters);
    else if (request == kVXRPCSchedulerSetEnabled)
        result = setEnabled(parameters);
    // A busy service answers many requests: successes are debug lines, refusals are worth reading.
    if (result.succeeded())
        qCDebug(lcHalvaned).noquote() << QStringLiteral("%1 done").arg(request);
    else
        qCInfo(lcHalvaned).noquote() << QStringLiteral("%1 refused: %2 (%3)")
                                            .arg(request, HalvaneLimits::clipped(result.message(), 1000))
                                            .arg(result.status());
    return result;
}

HalvaneResult HalvaneScheduler::checkTrigger(const QString &triggerID) const
{
    if (!m_store.containsTrigger(triggerID))
        return HalvaneResult::failure(kVXStatusUnknownTrigger,
                                      QStringLiteral("unknown trigger %1").arg(HalvaneLimits::clipped(triggerID)));
    return HalvaneResult::ok();
}

HalvaneResult HalvaneScheduler::adjust(const QVariantMap &parameters)
{
    HalvaneResult result = HalvaneResult::ok();
    if (!checkParameters(parameters,
                         { { kVXRPCParameterTriggerID, QMetaType::QString, true },
                           { kVXRPCParameterDate, QMetaType::QDateTime, true } },
                         &result))
        return result;
    const QString triggerID = parameters.value(kVXRPCParameterTriggerID).toString();
    if (result = checkTrigger(triggerID); !result.succeeded())
        return result;
    const QDateTime date = parameters.value(kVXRPCParameterDate).toDateTime().toUTC();
    if (result = checkDate(date, DateRule::Ahead); !result.succeeded())
        return result;
    HalvaneTriggerState state = m_states.value(triggerID);
    const HalvaneTrigger &trigger = indexed(triggerID)->trigger;
    QDateTime natural = nextNatural(trigger, state);
    if (!natural.isValid()) {
        // Nothing queued because it was cancelled: choosing a new time brings the firing back.
        state.skipped.clear();
        state.until = QDateTime();
        natural = nextNatural(trigger, state);
    }
    if (!natural.isValid())
        return HalvaneResult::failure(
            kVXStatusUnknownTrigger,
            QStringLiteral("trigger %1 has no firing left to adjust").arg(HalvaneLimits::clipped(triggerID)));
    state.adjustedNatural = natural;
    state.adjustedDate = date;
    m_states.insert(triggerID, state);
    touchTrigger(triggerID);
    triggerChanged(triggerID);
    Q_EMIT stateChanged();
    handleDue();
    return result;
}

HalvaneResult HalvaneScheduler::cancel(const QVariantMap &parameters)
{
    HalvaneResult result = HalvaneResult::ok();
    if (!checkParameters(parameters,
                         { { kVXRPCParameterTriggerID, QMetaType::QString, true },
                           { kVXRPCParameterUntil, QMetaType::QDateTime, false } },
                         &result))
        return result;
    const QString triggerID = parameters.value(kVXRPCParameterTriggerID).toString();
    if (result = checkTrigger(triggerID); !result.succeeded())
        return result;
    HalvaneTriggerState state = m_states.value(triggerID);
    if (parameters.contains(kVXRPCParameterUntil)) {
        state.until = parameters.value(kVXRPCParameterUntil).toDateTime().toUTC();
        if (result = checkDate(state.until, DateRule::WithinHorizon); !result.succeeded())
            return result;
        if (state.adjustedNatural.isValid() && state.adjustedNatural < state.until) {
            state.adjustedNatural = QDateTime();
            state.adjustedDate = QDateTime();
        }
    } else {
        if (state.skipped.size() >= HalvaneLimits::kCancelledFirings)
            return HalvaneResult::failure(kVXStatusLimitExceeded,
                                          QStringLiteral("trigger %1 has %2 firings cancelled, the most it keeps; "
                                                         "postpone it instead")
                                              .arg(HalvaneLimits::clipped(triggerID))
                                              .arg(HalvaneLimits::kCancelledFirings));
        const QDateTime natural = nextNatural(indexed(triggerID)->trigger, state);
        if (!natural.isValid())
            return HalvaneResult::failure(
                kVXStatusUnknownTrigger,
                QStringLiteral("trigger %1 has no queued firing").arg(HalvaneLimits::clipped(triggerID)));
        state.skipped.append(natural);
        if (state.adjustedNatural == natural) {
            state.adjustedNatural = QDateTime();
            state.adjustedDate = QDateTime();
        }
    }
    m_states.insert(triggerID, state);
    touchTrigger(triggerID);
    triggerChanged(triggerID);
    Q_EMIT stateChanged();
    handleDue();
    return result;
}

HalvaneResult HalvaneScheduler::reset(const QVariantMap &parameters)
{
    HalvaneResult result = HalvaneResult::ok();
    if (!checkParameters(parameters, { { kVXRPCParameterTriggerID, QMetaType::QString, false } }, &result))
        return result;
    if (!parameters.contains(kVXRPCParameterTriggerID)) {
        for (auto it = m_states.begin(); it != m_states.end(); ++it) {
            if (it->hasChanges()) {
                it->resetChanges();
                triggerChanged(it.key());
                touchTrigger(it.key());
            }
        }
    } else {
        const QString triggerID = parameters.value(kVXRPCParameterTriggerID).toString();
        if (result = checkTrigger(triggerID); !result.succeeded())
            return result;
        m_states[triggerID].resetChanges();
        triggerChanged(triggerID);
        touchTrigger(triggerID);
    }
    Q_EMIT stateChanged();
    handleDue();
    return result;
}

HalvaneResult HalvaneScheduler::perform(const QVariantMap &parameters)
{
    HalvaneResult result = HalvaneResult::ok();
    if (!checkParameters(parameters,
                         { { kVXRPCParameterUniqueID, QMetaType::QString, true },
                           { kVXRPCParameterApplyCriteria, QMetaType::Bool, false } },
                         &result))
        return result;
    const QString eventID = parameters.value(kVXRPCParameterUniqueID).toString();
    if (!m_store.containsEvent(eventID))
        return HalvaneResult::failure(kVXStatusUnknownEvent,
                                      QStringLiteral("unknown event %1").arg(HalvaneLimits::clipped(eventID)));
    if (!TriskVXRecords::isPerformableOnDemand(m_store.event(eventID)))
        return HalvaneResult::failure(
            kVXStatusNotPerformable,
            QStringLiteral("event %1 cannot be performed on demand").arg(HalvaneLimits::clipped(eventID)));
    // The criteria (docs/protocol.md): the scheduler is enabled, and the event is not being performed.
    if (parameters.value(kVXRPCParameterApplyCriteria).toBool()) {
        if (!m_enabled)
            return HalvaneResult::failure(kVXStatusCriteriaNotMet, QStringLiteral("the scheduler is disabled"));
        if (isActive(eventID))
            return HalvaneResult::failure(
                kVXStatusCriteriaNotMet,
                QStringLiteral("event %1 is being performed").arg(HalvaneLimits::clipped(eventID)));
    }
    startPerforming(eventID, QStringLiteral("on demand"));
    republish(queue());
    return result;
}

HalvaneResult HalvaneScheduler::store(const QVariantMap &parameters)
{
    HalvaneResult result = HalvaneResult::ok();
    if (!checkParameters(parameters, { { kVXRPCParameterEvents, QMetaType::QVariantList, true } }, &result))
        return result;
    const QVariantList incoming = parameters.value(kVXRPCParameterEvents).toList();
    if (result = checkStore(incoming); !result.succeeded())
        return result;
    QStringList storedIDs;
    result = m_store.store(incoming, &storedIDs);
    if (!result.succeeded())
        return result;
    for (const QString &eventID : std::as_const(storedIDs))
        touchEvent(eventID);
    storeChanged();
    // State of triggers that a replaced event no longer has is forgotten; new repeating triggers fire
    // from now on.
    const QStringList vanished = m_store.takeVanishedTriggers();
    for (const QString &triggerID : vanished) {
        m_states.remove(triggerID);
        touchTrigger(triggerID);
    }
    const QDateTime now = m_clock->now();
    const QList<QVariantMap> events = m_store.events();
    for (const QVariantMap &event : events) {
        const QVariantList triggers = event.value(kVXEventTriggers).toList();
        for (const QVariant &trigger : triggers) {
            const QString id = trigger.toMap().value(kVXTriggerIdentifier).toString();
            if (!m_states.contains(id)) {
                m_states[id].anchor = now;
                touchTrigger(id);
            }
        }
    }
    Q_EMIT stateChanged();
    handleDue();
    return result;
}

HalvaneResult HalvaneScheduler::setEnabled(const QVariantMap &parameters)
{
    HalvaneResult result = HalvaneResult::ok();
    if (!checkParameters(parameters, { { kVXRPCParameterEnabled, QMetaType::Bool, true } }, &result))
        return result;
    const bool enabled = parameters.value(kVXRPCParameterEnabled).toBool();
    if (enabled == m_enabled)
        return result;
    m_enabled = enabled;
    m_touchedEnabled = true;
    Q_EMIT stateChanged();
    // The queue does not depend on it (firings that come due while disabled pass unperformed when they
    // come): only the flag itself is published again, without a pass over every trigger.
    m_published.insert(kVXObserveSchedulerEnabled, m_enabled);
    Q_EMIT variablesChanged({ kVXObserveSchedulerEnabled });
    return result;
}

qint64 HalvaneScheduler::secondsOf(const QVariantMap &event, const QString &key, qint64 fallback) const
{
    const auto value = event.constFind(key);
    return value == event.cend() ? fallback : qint64(value->toDouble());
}

void HalvaneScheduler::storeChanged()
{
    m_indexValid = false;
    m_naturals.clear();
    m_records.clear();
}

const QList<HalvaneScheduler::IndexedTrigger> &HalvaneScheduler::index() const
{
    if (m_indexValid)
        return m_index;
    m_index.clear();
    m_indexOf.clear();
    m_onDemand.clear();
    const QList<QVariantMap> events = m_store.events();
    for (const QVariantMap &event : events) {
        if (TriskVXRecords::isPerformableOnDemand(event))
            m_onDemand.append(event);
        const QString eventID = event.value(kVXEventUniqueID).toString();
        const bool enabled = event.value(kVXEventEnabled, true).toBool();
        const qint64 notice = secondsOf(event, kVXEventNoticePeriod, kDefaultNoticePeriodSeconds);
        const qint64 lead = secondsOf(event, kVXEventWarningLead, kDefaultWarningLeadSeconds);
        const QVariantList triggers = event.value(kVXEventTriggers).toList();
        for (const QVariant &trigger : triggers) {
            const QVariantMap record = trigger.toMap();
            const QString triggerID = record.value(kVXTriggerIdentifier).toString();
            m_indexOf.insert(triggerID, m_index.size());
            m_index.append({ triggerID, eventID, event, record, HalvaneTrigger(record), notice, lead, enabled });
        }
    }
    m_indexValid = true;
    return m_index;
}

const HalvaneScheduler::IndexedTrigger *HalvaneScheduler::indexed(const QString &triggerID) const
{
    const QList<IndexedTrigger> &entries = index();
    const auto position = m_indexOf.constFind(triggerID);
    return position == m_indexOf.cend() ? nullptr : &entries.at(position.value());
}

QDateTime HalvaneScheduler::cachedNatural(const IndexedTrigger &entry, const QTimeZone &zone) const
{
    const auto cached = m_naturals.constFind(entry.triggerID);
    if (cached != m_naturals.cend())
        return cached.value();
    const QDateTime natural = nextNatural(entry.trigger, m_states.value(entry.triggerID), zone);
    m_naturals.insert(entry.triggerID, natural);
    return natural;
}

QDateTime HalvaneScheduler::nextNatural(const HalvaneTrigger &trigger, const HalvaneTriggerState &state) const
{
    return nextNatural(trigger, state, m_clock->timeZone());
}

QDateTime HalvaneScheduler::nextNatural(const HalvaneTrigger &trigger, const HalvaneTriggerState &state,
                                        const QTimeZone &zone) const
{
    QDateTime after
        = state.lastFired.isValid() ? state.lastFired : (trigger.isRepeating() ? state.anchor : QDateTime());
    if (trigger.isRepeating() && !after.isValid())
        after = m_clock->now();
    QDate lastDate = state.lastFiredDate;
    // Postponed: a repeating trigger starts again at the until date; a once trigger before it is gone.
    if (state.until.isValid() && trigger.isRepeating() && (!after.isValid() || after < state.until))
        after = state.until.addMSecs(-1);
    for (int walk = 0; walk < kLongestSkipWalk; ++walk) {
        const QDateTime natural = trigger.nextFiring(after, lastDate, zone);
        if (!natural.isValid())
            return QDateTime();
        if (!trigger.isRepeating() && state.until.isValid() && natural < state.until)
            return QDateTime();
        if (!state.skipped.contains(natural))
            return natural;
        after = natural;
        if (trigger.isRepeating())
            lastDate = natural.toTimeZone(zone).date();
    }
    return QDateTime();
}

QList<HalvaneScheduler::QueuedFiring> HalvaneScheduler::queue() const
{
    QList<QueuedFiring> firings;
    const QList<IndexedTrigger> &entries = index();
    firings.reserve(entries.size());
    // The next firing depends on the zone too: another zone makes every cached one stale.
    const QTimeZone zone = m_clock->timeZone();
    if (zone.id() != m_naturalsZone) {
        m_naturals.clear();
        m_naturalsZone = zone.id();
    }
    for (const IndexedTrigger &entry : entries) {
        if (!entry.enabled)
            continue;
        const QDateTime natural = cachedNatural(entry, zone);
        if (!natural.isValid())
            continue;
        const auto state = m_states.constFind(entry.triggerID);
        const QDateTime date
            = state != m_states.cend() && state->adjustedNatural == natural ? state->adjustedDate : natural;
        firings.append({ entry.triggerID, entry.eventID, natural, date, date.toMSecsSinceEpoch(), entry.noticeSeconds,
                         entry.leadSeconds });
    }
    std::sort(firings.begin(), firings.end(), [](const QueuedFiring &a, const QueuedFiring &b) {
        return a.msecs < b.msecs || (a.msecs == b.msecs && a.triggerID < b.triggerID);
    });
    return firings;
}

QVariantMap HalvaneScheduler::queuedTriggerRecord(const QueuedFiring &firing) const
{
    auto cached = m_records.constFind(firing.triggerID);
    if (cached != m_records.cend() && cached->first == firing.msecs)
        return cached->second.toMap();
    const IndexedTrigger *entry = indexed(firing.triggerID);
    QVariantMap trigger = entry->record;
    trigger.insert(kVXTriggerDate, firing.date);
    const QVariantMap record { { kVXQueuedTriggerTriggerID, firing.triggerID },
                               { kVXQueuedTriggerEvent, entry->event },
                               { kVXQueuedTriggerTrigger, trigger } };
    m_records.insert(firing.triggerID, { firing.msecs, record });
    return record;
}

void HalvaneScheduler::republish(const QList<QueuedFiring> &firings)
{
    const QDateTime now = m_clock->now();
    QVariantList pending;
    QVariantList current;
    QVariantList warnings;
    pending.reserve(firings.size());
    const qint64 nowMSecs = now.toMSecsSinceEpoch();
    for (const QueuedFiring &firing : firings) {
        const qint64 secondsAway = (firing.msecs - nowMSecs) / 1000;
        const QVariantMap record = queuedTriggerRecord(firing);
        pending.append(record);
        if (secondsAway <= firing.noticeSeconds)
            current.append(record);
        if (secondsAway <= firing.leadSeconds) {
            const QVariantMap event = record.value(kVXQueuedTriggerEvent).toMap();
            warnings.append(
                QVariantMap { { kVXQueuedWarningActionID, QString(firing.triggerID + QStringLiteral("#warning")) },
                              { kVXQueuedWarningEvent, event },
                              { kVXQueuedWarningDate, firing.date },
                              { kVXQueuedWarningMessage, HalvaneAction::warningMessage(event) } });
        }
    }
    QVariantList active;
    for (const QString &eventID : std::as_const(m_activeOrder))
        active.append(QVariantMap { { kVXActiveEventEvent, m_store.event(eventID) } });
    index();
    const QVariantList onDemand = m_onDemand;

    const QHash<QString, QVariant> values {
        { kVXObserveSchedulerPending, pending },      { kVXObserveSchedulerActive, active },
        { kVXObserveSchedulerEnabled, m_enabled },    { kVXObserveNotificationsCurrent, current },
        { kVXObserveNotificationsWarning, warnings }, { kVXObserveOnDemandAvailable, onDemand }
    };
    QStringList changed;
    for (const QString &name : TriskVXObserver::observedVariables()) {
        if (!values.contains(name))
            continue;
        const QVariant value = values.value(name);
        if (m_published.value(name) != value) {
            m_published.insert(name, value);
            changed.append(name);
        }
    }
    scheduleWake(firings);
    if (!changed.isEmpty())
        Q_EMIT variablesChanged(changed);
}

void HalvaneScheduler::publishSoon()
{
    if (m_publishPending)
        return;
    m_publishPending = true;
    QTimer::singleShot(0, this, [this] {
        m_publishPending = false;
        republish(queue());
    });
}

void HalvaneScheduler::scheduleWake(const QList<QueuedFiring> &firings)
{
    // In milliseconds, from what the queue already holds: this runs after every change, over every firing.
    const qint64 now = m_clock->now().toMSecsSinceEpoch();
    std::optional<qint64> wake;
    for (const QueuedFiring &firing : firings) {
        const qint64 boundaries[]
            = { firing.msecs - firing.noticeSeconds * 1000, firing.msecs - firing.leadSeconds * 1000, firing.msecs };
        for (const qint64 boundary : boundaries) {
            if (boundary > now && (!wake || boundary < *wake))
                wake = boundary;
        }
    }
    if (wake)
        m_timer->start(QDateTime::fromMSecsSinceEpoch(*wake, Qt::UTC));
    else
        m_timer->stop();
}

void HalvaneScheduler::handleDue(Pass pass)
{
    if (!m_started) {
        republish(queue());
        return;
    }
    const QDateTime now = m_clock->now();
    bool consumed = sweepCancelled(now);
    const QList<QueuedFiring> firings = queue();
    for (const QueuedFiring &firing : firings) {
        if (firing.date > now)
            break;
        const QString name = m_store.event(firing.eventID).value(kVXEventName).toString();
        const qint64 late = firing.date.secsTo(now);
        if (pass == Pass::Starting && late > m_catchUpSeconds)
            qCWarning(lcHalvaned).noquote()
                << QStringLiteral("trigger %1 of “%2” was due at %3 while halvaned was not running; "
                                  "skipped, being more than %4 s late")
                       .arg(firing.triggerID, name, firing.date.toString(Qt::ISODate))
                       .arg(m_catchUpSeconds);
        else if (!m_enabled)
            qCInfo(lcHalvaned).noquote() << QStringLiteral("trigger %1 of “%2” passed while the scheduler was disabled")
                                                .arg(firing.triggerID, name);
        else
            startPerforming(firing.eventID,
                            QStringLiteral("trigger %1%2")
                                .arg(firing.triggerID, late > 1 ? QStringLiteral(", %1 s late").arg(late) : QString()));
        consume(firing);
        consumed = true;
    }
    if (consumed)
        Q_EMIT stateChanged();
    republish(consumed ? queue() : firings);
}

bool HalvaneScheduler::sweepCancelled(const QDateTime &now)
{
    // A cancelled or postponed firing whose time has come is gone: a later reset brings back only
    // firings still ahead.
    QStringList changed;
    for (auto it = m_states.cbegin(); it != m_states.cend(); ++it) {
        if (!it->skipped.isEmpty() || it->until.isValid())
            changed.append(it.key());
    }
    bool swept = false;
    bool removedTriggers = false;
    const QTimeZone zone = m_clock->timeZone();
    for (const QString &triggerID : std::as_const(changed)) {
        const IndexedTrigger *entry = indexed(triggerID);
        if (!entry)
            continue;
        const HalvaneTrigger trigger = entry->trigger;
        HalvaneTriggerState &state = m_states[triggerID];
        for (int walk = 0; walk < kLongestSkipWalk; ++walk) {
            HalvaneTriggerState bare = state;
            bare.resetChanges();
            const QDateTime natural = nextNatural(trigger, bare);
            const bool cancelled = state.skipped.contains(natural) || (state.until.isValid() && natural < state.until);
            if (!natural.isValid() || natural > now || !cancelled)
                break;
            swept = true;
            triggerChanged(triggerID);
            touchTrigger(triggerID);
            if (!trigger.isRepeating()) {
                touchEvent(entry->eventID);
                m_store.removeTrigger(triggerID);
                m_states.remove(triggerID);
                removedTriggers = true;
                break;
            }
            state.lastFired = natural;
            state.lastFiredDate = natural.toTimeZone(zone).date();
            state.skipped.removeIf([&](const QDateTime &skipped) {
                return skipped <= natural;
            });
        }
    }
    if (removedTriggers)
        storeChanged();
    return swept;
}

void HalvaneScheduler::consume(const QueuedFiring &firing)
{
    const IndexedTrigger *entry = indexed(firing.triggerID);
    if (!entry)
        return;
    const HalvaneTrigger trigger = entry->trigger;
    triggerChanged(firing.triggerID);
    touchTrigger(firing.triggerID);
    if (!trigger.isRepeating()) {
        // A once trigger is gone once its time has come.
        touchEvent(firing.eventID);
        m_store.removeTrigger(firing.triggerID);
        m_states.remove(firing.triggerID);
        storeChanged();
        return;
    }
    const QTimeZone zone = m_clock->timeZone();
    const QDateTime now = m_clock->now();
    HalvaneTriggerState &state = m_states[firing.triggerID];
    auto markFired = [&](const QDateTime &natural) {
        state.lastFired = natural;
        state.lastFiredDate = natural.toTimeZone(zone).date();
        state.skipped.removeIf([&](const QDateTime &skipped) {
            return skipped <= natural;
        });
        if (state.adjustedNatural.isValid() && state.adjustedNatural <= natural) {
            state.adjustedNatural = QDateTime();
            state.adjustedDate = QDateTime();
        }
    };
    markFired(firing.natural);
    // Firings that also came while the machine slept or the clock jumped are not performed again.
    int missed = 0;
    for (QDateTime natural = nextNatural(trigger, state);
         natural.isValid() && natural <= now && missed < kLongestSkipWalk; natural = nextNatural(trigger, state)) {
        markFired(natural);
        ++missed;
    }
    if (missed > 0)
        qCInfo(lcHalvaned).noquote()
            << QStringLiteral("trigger %1: %2 more firings passed unperformed").arg(firing.triggerID).arg(missed);
}

void HalvaneScheduler::startPerforming(const QString &eventID, const QString &why)
{
    const QVariantMap event = m_store.event(eventID);
    if (m_activeCount[eventID]++ == 0)
        m_activeOrder.append(eventID);
    auto finished = [this, eventID] {
        if (--m_activeCount[eventID] == 0) {
            m_activeCount.remove(eventID);
            m_activeOrder.removeAll(eventID);
        }
        publishSoon();
    };
    if (m_performer) {
        m_performer->perform(event, why, finished);
    } else {
        qCInfo(lcHalvaned).noquote()
            << QStringLiteral("performing “%1” (%2)").arg(event.value(kVXEventName).toString(), why);
        QTimer::singleShot(0, this, finished);
    }
}

QVariantMap HalvaneScheduler::toPropertyList() const
{
    QVariantList events;
    const QList<QVariantMap> stored = m_store.events();
    for (const QVariantMap &event : stored)
        events.append(event);
    QVariantMap states;
    for (auto it = m_states.cbegin(); it != m_states.cend(); ++it)
        states.insert(it.key(), it.value().toPropertyList());
    return {
        { kVersionKey, kStateVersion }, { kEnabledKey, m_enabled }, { kEventsKey, events }, { kTriggersKey, states }
    };
}

bool HalvaneScheduler::restore(const QVariantMap &propertyList, QString *error, Restore kind)
{
    if (propertyList.value(kVersionKey).toLongLong() != kStateVersion) {
        *error = QStringLiteral("unknown state version %1").arg(propertyList.value(kVersionKey).toString());
        return false;
    }
    if (propertyList.value(kEnabledKey).typeId() != QMetaType::Bool
        || propertyList.value(kEventsKey).typeId() != QMetaType::QVariantList
        || propertyList.value(kTriggersKey).typeId() != QMetaType::QVariantMap) {
        *error = QStringLiteral("the state is missing Enabled, Events or TriggerStates");
        return false;
    }
    HalvaneEventStore store;
    const QVariantList events = propertyList.value(kEventsKey).toList();
    if (const HalvaneResult capacity = checkCapacity(events, {}); !capacity.succeeded()) {
        *error = capacity.message();
        return false;
    }
    if (!events.isEmpty()) {
        const HalvaneResult result = store.store(events);
        if (!result.succeeded()) {
            *error = result.message();
            return false;
        }
    }
    store.takeVanishedTriggers();
    QHash<QString, HalvaneTriggerState> states;
    QSet<QString> mended;
    const QVariantMap stored = propertyList.value(kTriggersKey).toMap();
    for (auto it = stored.cbegin(); it != stored.cend(); ++it) {
        if (store.containsTrigger(it.key()))
            states.insert(it.key(), HalvaneTriggerState::fromPropertyList(it.value().toMap()));
        else
            mended.insert(it.key());
    }
    const QDateTime now = m_clock->now();
    for (const QVariant &event : events) {
        const QVariantList triggers = event.toMap().value(kVXEventTriggers).toList();
        for (const QVariant &trigger : triggers) {
            const QString id = trigger.toMap().value(kVXTriggerIdentifier).toString();
            if (!states.contains(id)) {
                states[id].anchor = now;
                mended.insert(id);
            }
        }
    }
    m_store = store;
    m_states = states;
    m_touchedEventOrder.clear();
    m_touchedEvents.clear();
    m_touchedEnabled = false;
    m_touchedWhole = kind == Restore::Replacing;
    m_touchedTriggers = kind == Restore::Replacing ? QSet<QString>() : mended;
    storeChanged();
    m_enabled = propertyList.value(kEnabledKey).toBool();
    // Published by the pass that follows (start, or the import's), not here: with a large schedule each
    // pass costs tens of milliseconds, and a start waits for them.
    return true;
}

void HalvaneScheduler::touchEvent(const QString &eventID)
{
    if (!m_touchedWhole && !m_touchedEvents.contains(eventID)) {
        m_touchedEvents.insert(eventID);
        m_touchedEventOrder.append(eventID);
    }
}

HalvaneStateDelta HalvaneScheduler::takeChanges()
{
    HalvaneStateDelta delta;
    auto eventRow = [this](const QString &eventID) {
        return std::pair { eventID,
                           m_store.containsEvent(eventID) ? std::optional(m_store.event(eventID)) : std::nullopt };
    };
    auto stateRow = [this](const QString &triggerID) {
        const auto state = m_states.constFind(triggerID);
        return std::pair { triggerID,
                           state != m_states.cend() ? std::optional(state->toPropertyList()) : std::nullopt };
    };
    if (m_touchedWhole) {
        delta.whole = true;
        delta.enabled = m_enabled;
        const QList<QVariantMap> events = m_store.events();
        delta.events.reserve(events.size());
        for (const QVariantMap &event : events)
            delta.events.append({ event.value(kVXEventUniqueID).toString(), event });
        for (auto it = m_states.cbegin(); it != m_states.cend(); ++it)
            delta.triggerStates.append({ it.key(), it->toPropertyList() });
    } else {
        if (m_touchedEnabled)
            delta.enabled = m_enabled;
        for (const QString &eventID : std::as_const(m_touchedEventOrder))
            delta.events.append(eventRow(eventID));
        for (const QString &triggerID : std::as_const(m_touchedTriggers))
            delta.triggerStates.append(stateRow(triggerID));
    }
    m_touchedWhole = false;
    m_touchedEnabled = false;
    m_touchedEventOrder.clear();
    m_touchedEvents.clear();
    m_touchedTriggers.clear();
    return delta;
}

HalvaneResult HalvaneScheduler::importState(const QVariantMap &propertyList)
{
    QString error;
    if (!restore(propertyList, &error))
        return HalvaneResult::failure(
            kVXStatusInvalidParameter,
            QStringLiteral("the schedule cannot be imported: %1").arg(HalvaneLimits::clipped(error, 1000)));
    Q_EMIT stateChanged();
    handleDue();
    return HalvaneResult::ok();
}
