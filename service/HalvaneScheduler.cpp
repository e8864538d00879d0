#include "HalvaneScheduler.h"

#include "HalvaneServiceLogging.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXObserver.h"
#include "TriskVXRecords.h"

#include <QCoreApplication>
#include <QTimer>

#include <algorithm>

namespace {
// Part 1.1 leaves these to the service; docs/protocol.md documents them.
const qint64 kDefaultNoticePeriodSeconds = 5 * 60;
const qint64 kDefaultWarningLeadSeconds = 60;
// A timer is never armed further ahead than this, so that a long wait re-reads the clock now and then.
const qint64 kLongestWakeMSecs = 60 * 60 * 1000;

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
            *result = HalvaneResult::failure(kVXStatusInvalidParameter,
                                             QStringLiteral("unknown parameter %1").arg(it.key()));
            return false;
        }
    }
    return true;
}
} // namespace

HalvaneScheduler::HalvaneScheduler(TriskVXClock *clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock ? clock : TriskVXClock::systemClock())
    , m_wakeTimer(new QTimer(this))
{
    m_wakeTimer->setSingleShot(true);
    m_wakeTimer->setTimerType(Qt::PreciseTimer);
    connect(m_wakeTimer, &QTimer::timeout, this, &HalvaneScheduler::fireDue);
    connect(m_clock, &TriskVXClock::timeChanged, this, &HalvaneScheduler::fireDue);
    republish();
}

QStringList HalvaneScheduler::requestNames()
{
    return { kVXRPCSchedulerAdjust, kVXRPCSchedulerCancel, kVXRPCSchedulerReset,
             kVXRPCOnDemandPerform, kVXRPCEventStoreStore, kVXRPCSchedulerSetEnabled };
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
    if (result.succeeded())
        qCInfo(lcHalvaned).noquote() << QStringLiteral("%1 done").arg(request);
    else
        qCInfo(lcHalvaned).noquote()
            << QStringLiteral("%1 refused: %2 (%3)").arg(request, result.message()).arg(result.status());
    return result;
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
    if (!m_store.containsTrigger(triggerID))
        return HalvaneResult::failure(kVXStatusUnknownTrigger, QStringLiteral("unknown trigger %1").arg(triggerID));
    m_adjustments.insert(triggerID, parameters.value(kVXRPCParameterDate).toDateTime().toUTC());
    // Choosing a new time brings a skipped firing back.
    m_cancelled.remove(triggerID);
    m_cancelledUntil.remove(triggerID);
    fireDue();
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
    if (!m_store.containsTrigger(triggerID))
        return HalvaneResult::failure(kVXStatusUnknownTrigger, QStringLiteral("unknown trigger %1").arg(triggerID));
    if (parameters.contains(kVXRPCParameterUntil))
        m_cancelledUntil.insert(triggerID, parameters.value(kVXRPCParameterUntil).toDateTime().toUTC());
    else
        m_cancelled.insert(triggerID);
    republish();
    return result;
}

HalvaneResult HalvaneScheduler::reset(const QVariantMap &parameters)
{
    HalvaneResult result = HalvaneResult::ok();
    if (!checkParameters(parameters, { { kVXRPCParameterTriggerID, QMetaType::QString, false } }, &result))
        return result;
    if (!parameters.contains(kVXRPCParameterTriggerID)) {
        m_adjustments.clear();
        m_cancelled.clear();
        m_cancelledUntil.clear();
        fireDue();
        return result;
    }
    const QString triggerID = parameters.value(kVXRPCParameterTriggerID).toString();
    if (!m_store.containsTrigger(triggerID))
        return HalvaneResult::failure(kVXStatusUnknownTrigger, QStringLiteral("unknown trigger %1").arg(triggerID));
    m_adjustments.remove(triggerID);
    m_cancelled.remove(triggerID);
    m_cancelledUntil.remove(triggerID);
    fireDue();
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
        return HalvaneResult::failure(kVXStatusUnknownEvent, QStringLiteral("unknown event %1").arg(eventID));
    if (!TriskVXRecords::isPerformableOnDemand(m_store.event(eventID)))
        return HalvaneResult::failure(kVXStatusNotPerformable,
                                      QStringLiteral("event %1 cannot be performed on demand").arg(eventID));
    // The one criterion so far: the scheduler is enabled.
    if (parameters.value(kVXRPCParameterApplyCriteria).toBool() && !m_enabled)
        return HalvaneResult::failure(kVXStatusCriteriaNotMet, QStringLiteral("the scheduler is disabled"));
    startPerforming(eventID, QStringLiteral("on demand"));
    republish();
    return result;
}

HalvaneResult HalvaneScheduler::store(const QVariantMap &parameters)
{
    HalvaneResult result = HalvaneResult::ok();
    if (!checkParameters(parameters, { { kVXRPCParameterEvents, QMetaType::QVariantList, true } }, &result))
        return result;
    result = m_store.store(parameters.value(kVXRPCParameterEvents).toList());
    if (!result.succeeded())
        return result;
    // Adjustments and cancellations of triggers that a replaced event no longer has are forgotten.
    const QStringList vanished = m_store.takeVanishedTriggers();
    for (const QString &triggerID : vanished) {
        m_adjustments.remove(triggerID);
        m_cancelled.remove(triggerID);
        m_cancelledUntil.remove(triggerID);
    }
    fireDue();
    return result;
}

HalvaneResult HalvaneScheduler::setEnabled(const QVariantMap &parameters)
{
    HalvaneResult result = HalvaneResult::ok();
    if (!checkParameters(parameters, { { kVXRPCParameterEnabled, QMetaType::Bool, true } }, &result))
        return result;
    m_enabled = parameters.value(kVXRPCParameterEnabled).toBool();
    fireDue();
    return result;
}

qint64 HalvaneScheduler::secondsOf(const QVariantMap &event, const QString &key, qint64 fallback) const
{
    const auto value = event.constFind(key);
    return value == event.cend() ? fallback : qint64(value->toDouble());
}

QList<HalvaneScheduler::QueuedFiring> HalvaneScheduler::queue() const
{
    QList<QueuedFiring> firings;
    const QList<QVariantMap> events = m_store.events();
    for (const QVariantMap &event : events) {
        if (!event.value(kVXEventEnabled, true).toBool())
            continue;
        const QVariantList triggers = event.value(kVXEventTriggers).toList();
        for (const QVariant &trigger : triggers) {
            const QVariantMap map = trigger.toMap();
            const QString triggerID = map.value(kVXTriggerIdentifier).toString();
            if (m_cancelled.contains(triggerID))
                continue;
            const QDateTime date = m_adjustments.value(triggerID, map.value(kVXTriggerDate).toDateTime()).toUTC();
            const QDateTime until = m_cancelledUntil.value(triggerID);
            if (until.isValid() && date < until)
                continue;
            firings.append({ triggerID, event.value(kVXEventUniqueID).toString(), date });
        }
    }
    std::stable_sort(firings.begin(), firings.end(), [](const QueuedFiring &a, const QueuedFiring &b) {
        return a.date < b.date || (a.date == b.date && a.triggerID < b.triggerID);
    });
    return firings;
}

QVariantMap HalvaneScheduler::queuedTriggerRecord(const QueuedFiring &firing) const
{
    const QVariantMap event = m_store.event(firing.eventID);
    QVariantMap trigger;
    const QVariantList triggers = event.value(kVXEventTriggers).toList();
    for (const QVariant &candidate : triggers) {
        if (candidate.toMap().value(kVXTriggerIdentifier).toString() == firing.triggerID)
            trigger = candidate.toMap();
    }
    trigger.insert(kVXTriggerDate, firing.date);
    return { { kVXQueuedTriggerTriggerID, firing.triggerID },
             { kVXQueuedTriggerEvent, event },
             { kVXQueuedTriggerTrigger, trigger } };
}

void HalvaneScheduler::republish()
{
    const QDateTime now = m_clock->now();
    const QList<QueuedFiring> firings = queue();
    QVariantList pending;
    QVariantList current;
    QVariantList warnings;
    for (const QueuedFiring &firing : firings) {
        const QVariantMap record = queuedTriggerRecord(firing);
        const QVariantMap event = record.value(kVXQueuedTriggerEvent).toMap();
        pending.append(record);
        if (now.secsTo(firing.date) <= secondsOf(event, kVXEventNoticePeriod, kDefaultNoticePeriodSeconds))
            current.append(record);
        if (now.secsTo(firing.date) <= secondsOf(event, kVXEventWarningLead, kDefaultWarningLeadSeconds)) {
            const QString message = event.contains(kVXEventWarningMessage)
                ? event.value(kVXEventWarningMessage).toString()
                : QCoreApplication::translate("HalvaneScheduler", "“%1” is about to run.")
                      .arg(event.value(kVXEventName).toString());
            warnings.append(
                QVariantMap { { kVXQueuedWarningActionID, QString(firing.triggerID + QStringLiteral("#warning")) },
                              { kVXQueuedWarningEvent, event },
                              { kVXQueuedWarningDate, firing.date },
                              { kVXQueuedWarningMessage, message } });
        }
    }
    QVariantList active;
    for (const QString &eventID : std::as_const(m_activeOrder))
        active.append(QVariantMap { { kVXActiveEventEvent, m_store.event(eventID) } });
    QVariantList onDemand;
    const QList<QVariantMap> events = m_store.events();
    for (const QVariantMap &event : events) {
        if (TriskVXRecords::isPerformableOnDemand(event))
            onDemand.append(event);
    }
    QVariantList rights;
    for (const QString &request : requestNames())
        rights.append(QVariantMap { { kVXAuthorisationRightSignature, request },
                                    { kVXAuthorisationRightRule, kVXAuthorisationRightRule_Universal } });

    const QHash<QString, QVariant> values {
        { kVXObserveSchedulerPending, pending },      { kVXObserveSchedulerActive, active },
        { kVXObserveSchedulerEnabled, m_enabled },    { kVXObserveNotificationsCurrent, current },
        { kVXObserveNotificationsWarning, warnings }, { kVXObserveOnDemandAvailable, onDemand },
        { kVXObserveAuthorisationRights, rights }
    };
    QStringList changed;
    for (const QString &name : TriskVXObserver::observedVariables()) {
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

void HalvaneScheduler::scheduleWake(const QList<QueuedFiring> &firings)
{
    const QDateTime now = m_clock->now();
    qint64 wait = kLongestWakeMSecs;
    for (const QueuedFiring &firing : firings) {
        const QVariantMap event = m_store.event(firing.eventID);
        const QDateTime boundaries[]
            = { firing.date.addSecs(-secondsOf(event, kVXEventNoticePeriod, kDefaultNoticePeriodSeconds)),
                firing.date.addSecs(-secondsOf(event, kVXEventWarningLead, kDefaultWarningLeadSeconds)), firing.date };
        for (const QDateTime &boundary : boundaries) {
            const qint64 until = now.msecsTo(boundary);
            if (until > 0)
                wait = qMin(wait, until);
        }
    }
    m_wakeTimer->start(int(wait));
}

void HalvaneScheduler::fireDue()
{
    const QDateTime now = m_clock->now();
    const QList<QueuedFiring> firings = queue();
    for (const QueuedFiring &firing : firings) {
        if (firing.date > now)
            break;
        const QString name = m_store.event(firing.eventID).value(kVXEventName).toString();
        if (m_enabled)
            startPerforming(firing.eventID, QStringLiteral("trigger %1").arg(firing.triggerID));
        else
            qCInfo(lcHalvaned).noquote() << QStringLiteral("trigger %1 of “%2” passed while the scheduler was disabled")
                                                .arg(firing.triggerID, name);
        // A once trigger is gone once its time has come.
        m_store.removeTrigger(firing.triggerID);
        m_adjustments.remove(firing.triggerID);
        m_cancelled.remove(firing.triggerID);
        m_cancelledUntil.remove(firing.triggerID);
    }
    republish();
}

void HalvaneScheduler::startPerforming(const QString &eventID, const QString &why)
{
    const QString name = m_store.event(eventID).value(kVXEventName).toString();
    qCInfo(lcHalvaned).noquote() << QStringLiteral("performing “%1” (%2)").arg(name, why);
    if (m_activeCount[eventID]++ == 0)
        m_activeOrder.append(eventID);
    QTimer::singleShot(m_performDuration, this, [this, eventID, name] {
        qCInfo(lcHalvaned).noquote() << QStringLiteral("performed “%1”").arg(name);
        if (--m_activeCount[eventID] == 0) {
            m_activeCount.remove(eventID);
            m_activeOrder.removeAll(eventID);
        }
        republish();
    });
}
