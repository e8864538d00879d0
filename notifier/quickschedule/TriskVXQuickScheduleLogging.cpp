#include "TriskVXQuickScheduleLogging.h"

Q_LOGGING_CATEGORY(lcTriskQuickSchedule, "trisk.quickschedule", QtInfoMsg)
