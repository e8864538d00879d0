#include "TriskVXNotifyEnvironment.h"

#include "TriskVXUserDefaults.h"

bool TriskVXNotifyEnvironment::runningWithinLoginWindow()
{
    return TriskVXUserDefaults::standardUserDefaults()->boolForKey(QStringLiteral("login"));
}
