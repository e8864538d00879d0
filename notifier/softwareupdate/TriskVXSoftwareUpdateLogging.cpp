#include "TriskVXSoftwareUpdateLogging.h"

Q_LOGGING_CATEGORY(lcTriskSoftwareUpdate, "trisk.softwareupdate", QtInfoMsg)
