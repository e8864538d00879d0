#include "TriskVXHalvaneLogging.h"

Q_LOGGING_CATEGORY(lcHalvane, "trisk.halvane", QtInfoMsg)
