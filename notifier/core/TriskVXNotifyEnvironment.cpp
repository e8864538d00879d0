#include "TriskVXNotifyEnvironment.h"

#include "TriskVXNotifierApplication.h"
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
    const QString domain = TriskVXUserDefaults::applicationDomainOf(TriskVXNotifierApplication::organizationDomain(),
                                                                    TriskVXNotifierApplication::applicationName());
    return TriskVXUserDefaults(domain, arguments).boolForKey(kLogin);
}
