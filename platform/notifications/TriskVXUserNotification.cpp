#include "TriskVXUserNotification.h"

QString TriskVXUserNotification::defaultSoundName()
{
    return QStringLiteral("message-new-instant");
}
