#include "TriskVXPanelsLogging.h"

Q_LOGGING_CATEGORY(lcTriskPanels, "trisk.panels", QtInfoMsg)
