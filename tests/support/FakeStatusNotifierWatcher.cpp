#include "FakeStatusNotifierWatcher.h"

#include <QDBusMessage>

namespace {
const QString kService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString kPath = QStringLiteral("/StatusNotifierWatcher");
int gWatchers = 0;
} // namespace

FakeStatusNotifierWatcher::FakeStatusNotifierWatcher(QObject *parent)
    : QObject(parent)
    , m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                                 QStringLiteral("fake-status-notifier-watcher-%1").arg(++gWatchers)))
{
}

FakeStatusNotifierWatcher::~FakeStatusNotifierWatcher()
{
    stop();
    QDBusConnection::disconnectFromBus(m_connection.name());
}

bool FakeStatusNotifierWatcher::start()
{
    m_items.clear();
    return m_connection.registerObject(kPath, this,
                                       QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals
                                           | QDBusConnection::ExportAllProperties)
        && m_connection.registerService(kService);
}

void FakeStatusNotifierWatcher::stop()
{
    m_connection.unregisterService(kService);
    m_connection.unregisterObject(kPath);
}

void FakeStatusNotifierWatcher::RegisterStatusNotifierItem(const QString &service)
{
    // As KDE's watcher: a bus name, or an object path on the caller's own name.
    const QString item = service.startsWith(QLatin1Char('/')) ? message().service() + service : service;
    m_items.append(item);
    Q_EMIT StatusNotifierItemRegistered(item);
}
