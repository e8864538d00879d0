#pragma once

#include "HalvaneStateDelta.h"

#include <QList>
#include <QObject>

class HalvaneStore;

// Writes to the store on a thread of its own, so that syncing never holds up the service's event loop.
class HalvaneStateWriter : public QObject
{
    Q_OBJECT

public:
    explicit HalvaneStateWriter(HalvaneStore *store)
        : m_store(store)
    {
    }

    // On the writer's thread.
    void write(const QList<HalvaneStateDelta> &deltas, quint64 generation);

Q_SIGNALS:
    void written(quint64 generation, bool saved, const QString &error);

private:
    HalvaneStore *m_store;
};
