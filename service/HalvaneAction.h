#pragma once

#include <QString>
#include <QVariantList>
#include <QVariantMap>

// The actions an event performs (kVXEventActions): log a line, run a command, or a power action.
class HalvaneAction
{
public:
    // Whether an action record can be performed; a message in error when not.
    static bool isValid(const QVariant &action, QString *error);
    static bool isPowerAction(const QString &type);
    // The text of a warning for an event: what its weightiest action will do, in the user's language.
    static QString warningMessage(const QVariantMap &event);
    // Seconds a command may run unless the action says otherwise.
    static constexpr int kDefaultCommandTimeout = 60;
};
