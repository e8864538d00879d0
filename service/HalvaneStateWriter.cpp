#include "HalvaneStateWriter.h"

#include "HalvaneStore.h"

void HalvaneStateWriter::write(const QList<HalvaneStateDelta> &deltas, quint64 generation)
{
    QString error;
    const bool saved = m_store->apply(deltas, &error);
    Q_EMIT written(generation, saved, error);
}
