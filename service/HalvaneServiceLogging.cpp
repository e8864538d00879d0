#include "HalvaneServiceLogging.h"

Q_LOGGING_CATEGORY(lcHalvaned, "halvane.service", QtInfoMsg)
