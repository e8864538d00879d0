#include "HalvaneTriggerState.h"

namespace {
const QString kAnchor = QStringLiteral("Anchor");
const QString kLastFired = QStringLiteral("LastFired");
const QString kLastFiredDate = QStringLiteral("LastFiredDate");
const QString kAdjustedNatural = QStringLiteral("AdjustedNatural");
const QString kAdjustedDate = QStringLiteral("AdjustedDate");
const QString kSkipped = QStringLiteral("Skipped");
const QString kUntil = QStringLiteral("Until");

void insertDate(QVariantMap &map, const QString &key, const QDateTime &date)
{
    if (date.isValid())
        map.insert(key, date);
}
} // namespace

void HalvaneTriggerState::resetChanges()
{
    adjustedNatural = QDateTime();
    adjustedDate = QDateTime();
    skipped.clear();
    until = QDateTime();
}

QVariantMap HalvaneTriggerState::toPropertyList() const
{
    QVariantMap map;
    insertDate(map, kAnchor, anchor);
    insertDate(map, kLastFired, lastFired);
    if (lastFiredDate.isValid())
        map.insert(kLastFiredDate, lastFiredDate.toString(Qt::ISODate));
    insertDate(map, kAdjustedNatural, adjustedNatural);
    insertDate(map, kAdjustedDate, adjustedDate);
    if (!skipped.isEmpty()) {
        QVariantList list;
        for (const QDateTime &date : skipped)
            list.append(date);
        map.insert(kSkipped, list);
    }
    insertDate(map, kUntil, until);
    return map;
}

HalvaneTriggerState HalvaneTriggerState::fromPropertyList(const QVariantMap &map)
{
    HalvaneTriggerState state;
    state.anchor = map.value(kAnchor).toDateTime().toUTC();
    state.lastFired = map.value(kLastFired).toDateTime().toUTC();
    state.lastFiredDate = QDate::fromString(map.value(kLastFiredDate).toString(), Qt::ISODate);
    state.adjustedNatural = map.value(kAdjustedNatural).toDateTime().toUTC();
    state.adjustedDate = map.value(kAdjustedDate).toDateTime().toUTC();
    const QVariantList skipped = map.value(kSkipped).toList();
    for (const QVariant &date : skipped) {
        if (date.typeId() == QMetaType::QDateTime)
            state.skipped.append(date.toDateTime().toUTC());
    }
    state.until = map.value(kUntil).toDateTime().toUTC();
    if (state.adjustedNatural.isValid() != state.adjustedDate.isValid()) {
        state.adjustedNatural = QDateTime();
        state.adjustedDate = QDateTime();
    }
    return state;
}
