#include "TriskVXNotifierLogging.h"

Q_LOGGING_CATEGORY(lcTriskNotifier, "trisk.notifier", QtInfoMsg)
