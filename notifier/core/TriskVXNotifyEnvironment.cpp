#include "TriskVXNotifyEnvironment.h"

#include "TriskVXUserDefaults.h"

namespace {
const QString kLogin = QStringLiteral("login");
} // namespace

bool TriskVXNotifyEnvironment::runningWithinLoginWindow()
{
    return TriskVXUserDefaults::standardUserDefaults()->boolForKey(kLogin);
}

bool TriskVXNotifyEnvironment::runningWithinLoginWindow(const QStringList &arguments)
{
    // TriskVXNotifierApplication names the application trisk-notifier of org.halvane.
    return TriskVXUserDefaults(QStringLiteral("org.halvane.trisk-notifier"), arguments).boolForKey(kLogin);
}
