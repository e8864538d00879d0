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
    if (m_started)
        return true;
    m_items.clear();
    m_started = m_connection.registerObject(kPath, this,
                                            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals
                                                | QDBusConnection::ExportAllProperties)
        && m_connection.registerService(kService);
    return m_started;
}

void FakeStatusNotifierWatcher::stop()
{
    if (!m_started)
        return;
    m_connection.unregisterService(kService);
    m_connection.unregisterObject(kPath);
    m_started = false;
}

void FakeStatusNotifierWatcher::RegisterStatusNotifierItem(const QString &service)
{
    // As KDE's watcher: a bus name, or an object path on the caller's own name.
    const QString item = service.startsWith(QLatin1Char('/')) ? message().service() + service : service;
    m_items.append(item);
    Q_EMIT StatusNotifierItemRegistered(item);
}
