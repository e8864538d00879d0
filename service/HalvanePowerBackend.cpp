#include "HalvanePowerBackend.h"

#include "HalvaneServiceLogging.h"
#include "TriskVXConstants.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace {
const QString kLogindService = QStringLiteral("org.freedesktop.login1");
const QString kLogindPath = QStringLiteral("/org/freedesktop/login1");
const QString kLogindManager = QStringLiteral("org.freedesktop.login1.Manager");

QString logindMethodOf(const QString &type)
{
    if (type == kVXActionType_PowerOff)
        return QStringLiteral("PowerOff");
    if (type == kVXActionType_Reboot)
        return QStringLiteral("Reboot");
    if (type == kVXActionType_Suspend)
        return QStringLiteral("Suspend");
    if (type == kVXActionType_Hibernate)
        return QStringLiteral("Hibernate");
    return QString();
}
} // namespace

HalvanePowerBackend::HalvanePowerBackend(const QDBusConnection &bus, bool dryRun, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
    , m_dryRun(dryRun)
{
}

void HalvanePowerBackend::perform(const QString &type, Done done)
{
    const QString method = logindMethodOf(type);
    if (method.isEmpty()) {
        done(false, QStringLiteral("%1 is not a power action").arg(type));
        return;
    }
    if (m_dryRun) {
        qCInfo(lcHalvaned).noquote() << QStringLiteral("dry run: would call logind %1").arg(method);
        done(true, QString());
        return;
    }
    // interactive = false: the service acts on its own schedule, nobody is there to answer a prompt.
    QDBusMessage call = QDBusMessage::createMethodCall(kLogindService, kLogindPath, kLogindManager, method);
    call << false;
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [done = std::move(done), method](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                const QDBusPendingReply<> reply = *finished;
                if (reply.isError())
                    done(false, QStringLiteral("logind %1 failed: %2").arg(method, reply.error().message()));
                else
                    done(true, QString());
            });
}
