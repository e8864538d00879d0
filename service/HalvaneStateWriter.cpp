#include "HalvaneStateWriter.h"

#include "HalvaneStateFile.h"

void HalvaneStateWriter::write(const QString &path, const QVariantMap &state, quint64 generation)
{
    QString error;
    const bool saved = HalvaneStateFile::save(path, state, &error);
    Q_EMIT written(generation, saved, error);
}
