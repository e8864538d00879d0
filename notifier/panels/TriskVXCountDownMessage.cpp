#include "TriskVXCountDownMessage.h"

#include "TriskVXBundle.h"
#include "TriskVXIDateTransformer.h"

namespace {
QString localized(const QString &key)
{
    return TriskVXBundle::localizedString(key);
}

// A format is usable when it has every placeholder its arguments fill.
bool hasPlaceholders(const QString &format, int count)
{
    for (int number = 1; number <= count; ++number) {
        if (!format.contains(QLatin1Char('%') + QString::number(number)))
            return false;
    }
    return true;
}
} // namespace

QString TriskVXCountDownMessage::title(const QString &eventName, const QDateTime &triggerDate,
                                       const TriskVXIDateTransformer &transformer)
{
    return localized(QStringLiteral("NOTIFICATION_TITLE_FORMAT"))
        .arg(eventName, transformer.transformedValue(triggerDate).toString());
}

QString TriskVXCountDownMessage::message(const QString &eventName, const QDateTime &triggerDate, const QDateTime &now,
                                         const TriskVXIDateTransformer &transformer, QString *problem)
{
    // Whole minutes and the seconds left over; the fraction of a second is dropped.
    const qint64 remaining = now.msecsTo(triggerDate) / 1000;
    const qint64 minutes = std::max<qint64>(0, remaining / 60);
    const qint64 seconds = std::max<qint64>(0, remaining % 60);

    const QString relativeFormat = localized(QStringLiteral("RELATIVE_TIME"));
    if (relativeFormat == QStringLiteral("RELATIVE_TIME")) {
        *problem = QStringLiteral("Localization.strings missing RELATIVE_TIME");
        return QString();
    }
    if (!hasPlaceholders(relativeFormat, 2)) {
        *problem = QStringLiteral("RELATIVE_TIME format is invalid.");
        return QString();
    }
    const QString messageFormat = localized(QStringLiteral("NOTIFICATION_MESSAGE_FORMAT"));
    if (messageFormat == QStringLiteral("NOTIFICATION_MESSAGE_FORMAT")) {
        *problem = QStringLiteral("Localization.strings missing NOTIFICATION_RELATIVE_MESSAGE_FORMAT");
        return QString();
    }
    if (!hasPlaceholders(messageFormat, 3)) {
        *problem = QStringLiteral("NOTIFICATION_MESSAGE_FORMAT format is invalid.");
        return QString();
    }
    return messageFormat.arg(eventName, transformer.transformedValue(triggerDate).toString(),
                             relativeFormat.arg(minutes).arg(seconds));
}
