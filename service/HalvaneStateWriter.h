#pragma once

#include <QObject>
#include <QVariantMap>

// Writes the state file on a thread of its own, so that fsync never holds up the service's event loop.
class HalvaneStateWriter : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

public Q_SLOTS:
    void write(const QString &path, const QVariantMap &state, quint64 generation);

Q_SIGNALS:
    void written(quint64 generation, bool saved, const QString &error);
};
