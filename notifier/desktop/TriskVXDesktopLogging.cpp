#include "TriskVXDesktopLogging.h"

Q_LOGGING_CATEGORY(lcTriskDesktop, "trisk.desktop", QtInfoMsg)
