#pragma once

#include "TriskVXServiceLocation.h"

#include <QObject>
#include <QUrl>

// Whether the scheduler service is installed (D-Bus activatable) or running at its location; url is nil
// (empty) when it is neither.
class TriskVXLocalService : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QUrl url READ url NOTIFY urlChanged)

public:
    // new: the process's default location.
    explicit TriskVXLocalService(QObject *parent = nullptr);
    explicit TriskVXLocalService(const TriskVXServiceLocation &location, QObject *parent = nullptr);

    QUrl url() const;
    bool isInstalled() const { return m_activatable; }
    bool isRunning() const { return m_running; }

    // Asks the bus again; done at construction and whenever the service's owner changes.
    void refresh();

Q_SIGNALS:
    void urlChanged();
    // Both answers of the latest refresh have arrived.
    void refreshed();

private:
    void setState(bool activatable, bool running);

    TriskVXServiceLocation m_location;
    bool m_activatable = false;
    bool m_running = false;
    int m_answersAwaited = 0;
};
