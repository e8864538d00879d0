#include "TriskVXPlatformLogging.h"

Q_LOGGING_CATEGORY(lcTriskPlatform, "trisk.platform", QtInfoMsg)
