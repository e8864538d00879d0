#include "HalvaneAction.h"

#include "TriskVXConstants.h"

#include <QCoreApplication>

#include <limits>

namespace {
// A command's time limit reaches the performer as milliseconds in an int.
const qint64 kMaxTimeoutSeconds = std::numeric_limits<int>::max() / 1000;

bool fail(QString *error, const QString &message)
{
    if (error)
        *error = message;
    return false;
}
} // namespace

bool HalvaneAction::isPowerAction(const QString &type)
{
    return type == kVXActionType_PowerOff || type == kVXActionType_Reboot || type == kVXActionType_Suspend
        || type == kVXActionType_Hibernate;
}

bool HalvaneAction::isValid(const QVariant &action, QString *error)
{
    if (action.typeId() != QMetaType::QVariantMap)
        return fail(error, QStringLiteral("an action is not a dictionary"));
    const QVariantMap map = action.toMap();
    const QString type = map.value(kVXActionType).toString();
    if (type == kVXActionType_Log) {
        if (map.contains(kVXActionMessage) && map.value(kVXActionMessage).typeId() != QMetaType::QString)
            return fail(error, QStringLiteral("a log action's message is not a string"));
        return true;
    }
    if (type == kVXActionType_Command) {
        const QVariant arguments = map.value(kVXActionArguments);
        if (arguments.typeId() != QMetaType::QVariantList || arguments.toList().isEmpty())
            return fail(error, QStringLiteral("a command action needs Arguments, a non-empty array of strings"));
        const QVariantList list = arguments.toList();
        for (const QVariant &argument : list) {
            if (argument.typeId() != QMetaType::QString)
                return fail(error, QStringLiteral("a command argument is not a string"));
        }
        if (list.first().toString().isEmpty())
            return fail(error, QStringLiteral("a command action names no program"));
        if (map.contains(kVXActionTimeout)) {
            const QVariant timeout = map.value(kVXActionTimeout);
            const bool number = timeout.typeId() == QMetaType::LongLong || timeout.typeId() == QMetaType::Double;
            if (!number || timeout.toDouble() <= 0 || timeout.toDouble() > kMaxTimeoutSeconds)
                return fail(error,
                            QStringLiteral("a command's Timeout is not a positive number of seconds "
                                           "up to %1")
                                .arg(kMaxTimeoutSeconds));
        }
        if (map.contains(kVXActionUser)
            && (map.value(kVXActionUser).typeId() != QMetaType::QString
                || map.value(kVXActionUser).toString().isEmpty()))
            return fail(error, QStringLiteral("a command's User is not a user name"));
        return true;
    }
    if (isPowerAction(type))
        return true;
    return fail(error, QStringLiteral("unknown action type %1").arg(type));
}

QString HalvaneAction::warningMessage(const QVariantMap &event)
{
    const QString name = event.value(kVXEventName).toString();
    if (event.contains(kVXEventWarningMessage))
        return event.value(kVXEventWarningMessage).toString();
    QString weightiest;
    const QVariantList actions = event.value(kVXEventActions).toList();
    for (const QVariant &action : actions) {
        const QString type = action.toMap().value(kVXActionType).toString();
        if (isPowerAction(type)) {
            weightiest = type;
            break;
        }
        if (type == kVXActionType_Command)
            weightiest = type;
    }
    if (weightiest == kVXActionType_PowerOff)
        return QCoreApplication::translate("HalvaneAction", "“%1” will shut this computer down.").arg(name);
    if (weightiest == kVXActionType_Reboot)
        return QCoreApplication::translate("HalvaneAction", "“%1” will restart this computer.").arg(name);
    if (weightiest == kVXActionType_Suspend)
        return QCoreApplication::translate("HalvaneAction", "“%1” will put this computer to sleep.").arg(name);
    if (weightiest == kVXActionType_Hibernate)
        return QCoreApplication::translate("HalvaneAction", "“%1” will hibernate this computer.").arg(name);
    if (weightiest == kVXActionType_Command)
        return QCoreApplication::translate("HalvaneAction", "“%1” will run a command.").arg(name);
    return QCoreApplication::translate("HalvaneAction", "“%1” is about to run.").arg(name);
}
