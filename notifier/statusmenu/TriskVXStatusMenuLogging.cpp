#include "TriskVXStatusMenuLogging.h"

Q_LOGGING_CATEGORY(lcTriskStatusMenu, "trisk.statusmenu", QtInfoMsg)
