#include "TriskUDUpdriftLogging.h"

Q_LOGGING_CATEGORY(lcTriskUpdrift, "trisk.updrift", QtInfoMsg)
