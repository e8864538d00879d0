#include "HalvaneLimits.h"
#include "HalvaneScheduler.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"

#include <QSet>

namespace {
// A queued-trigger record beyond its event: the trigger id, the trigger with its date, the keys.
constexpr qint64 kQueuedRecordOverhead = 128;
} // namespace

HalvaneResult HalvaneScheduler::checkDate(const QDateTime &date, DateRule rule) const
{
    const QDateTime now = m_clock->now();
    if (rule == DateRule::Ahead && date < now)
        return HalvaneResult::failure(kVXStatusInvalidParameter,
                                      QStringLiteral("the date %1 has passed").arg(date.toString(Qt::ISODate)));
    if (date > HalvaneLimits::horizon(now))
        return HalvaneResult::failure(kVXStatusInvalidParameter,
                                      QStringLiteral("the date %1 lies more than %2 years ahead")
                                          .arg(date.toString(Qt::ISODate))
                                          .arg(HalvaneLimits::kHorizonYears));
    return HalvaneResult::ok();
}

HalvaneResult HalvaneScheduler::checkStore(const QVariantList &events) const
{
    if (events.size() > HalvaneLimits::kEventsPerRequest)
        return HalvaneResult::failure(kVXStatusLimitExceeded,
                                      QStringLiteral("%1 events in one request, at most %2 taken")
                                          .arg(events.size())
                                          .arg(HalvaneLimits::kEventsPerRequest));
    if (HalvaneLimits::encodedSize(events, HalvaneLimits::kRequestBytes) > HalvaneLimits::kRequestBytes)
        return HalvaneResult::failure(
            kVXStatusLimitExceeded,
            QStringLiteral("the events take more than %1 MiB").arg(HalvaneLimits::kRequestBytes >> 20));
    // A once trigger in the past would never be queued, and one beyond the horizon is a typing error:
    // either would be stored without anyone seeing it fire.
    for (qsizetype i = 0; i < events.size(); ++i) {
        const QVariantList triggers = events.at(i).toMap().value(kVXEventTriggers).toList();
        for (const QVariant &trigger : triggers) {
            const QVariantMap record = trigger.toMap();
            const QVariant date = record.value(kVXTriggerDate);
            if (record.value(kVXTriggerType) != kVXTriggerType_Once || date.typeId() != QMetaType::QDateTime)
                continue;
            const HalvaneResult result = checkDate(date.toDateTime(), DateRule::Ahead);
            if (!result.succeeded())
                return HalvaneResult::failure(kVXStatusInvalidEvent,
                                              QStringLiteral("event %1: %2").arg(i).arg(result.message()));
        }
    }
    return checkCapacity(events, m_store.events());
}

HalvaneResult HalvaneScheduler::checkCapacity(const QVariantList &events, const QList<QVariantMap> &kept) const
{
    qint64 eventCount = 0;
    qint64 triggerCount = 0;
    qint64 published = 0;
    auto count = [&](const QVariantMap &event, qint64 bytes) {
        const qint64 triggers = event.value(kVXEventTriggers).toList().size();
        ++eventCount;
        triggerCount += triggers;
        published += qMax<qint64>(1, triggers) * (bytes + kQueuedRecordOverhead);
    };
    QSet<QString> replaced;
    for (qsizetype i = 0; i < events.size(); ++i) {
        qint64 bytes = 0;
        QString error;
        if (!HalvaneLimits::checkEvent(events.at(i), &bytes, &error))
            return HalvaneResult::failure(kVXStatusLimitExceeded, QStringLiteral("event %1: %2").arg(i).arg(error));
        const QVariantMap event = events.at(i).toMap();
        const QString id = event.value(kVXEventUniqueID).toString();
        if (!id.isEmpty())
            replaced.insert(id);
        count(event, bytes);
    }
    for (const QVariantMap &event : kept) {
        if (!replaced.contains(event.value(kVXEventUniqueID).toString()))
            count(event, HalvaneLimits::encodedSize(event, HalvaneLimits::kEventBytes));
    }
    if (eventCount > HalvaneLimits::kEvents)
        return HalvaneResult::failure(
            kVXStatusLimitExceeded,
            QStringLiteral("%1 events in all, at most %2 kept").arg(eventCount).arg(HalvaneLimits::kEvents));
    if (triggerCount > HalvaneLimits::kTriggers)
        return HalvaneResult::failure(
            kVXStatusLimitExceeded,
            QStringLiteral("%1 triggers in all, at most %2 kept").arg(triggerCount).arg(HalvaneLimits::kTriggers));
    if (published > HalvaneLimits::kPublishedBytes)
        return HalvaneResult::failure(kVXStatusLimitExceeded,
                                      QStringLiteral("the queued triggers would take %1 MiB, at most %2 MiB")
                                          .arg((published + (1 << 20) - 1) >> 20)
                                          .arg(HalvaneLimits::kPublishedBytes >> 20));
    return HalvaneResult::ok();
}
