#include "TriskVXUserNotificationsLogging.h"

Q_LOGGING_CATEGORY(lcTriskUserNotificationsController, "trisk.notifier.usernotifications", QtInfoMsg)
