#include "TriskVXUserNotificationLogging.h"

Q_LOGGING_CATEGORY(lcTriskUserNotifications, "trisk.usernotifications", QtInfoMsg)
