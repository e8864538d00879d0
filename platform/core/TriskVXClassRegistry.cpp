#include "TriskVXClassRegistry.h"

#include <QHash>

namespace {
QHash<QString, TriskVXClassRegistry::Factory> &classes()
{
    static QHash<QString, TriskVXClassRegistry::Factory> registered;
    return registered;
}
} // namespace

void TriskVXClassRegistry::registerClass(const QString &name, Factory factory)
{
    classes().insert(name, std::move(factory));
}

void TriskVXClassRegistry::unregisterClass(const QString &name)
{
    classes().remove(name);
}

bool TriskVXClassRegistry::contains(const QString &name)
{
    return classes().contains(name);
}

QObject *TriskVXClassRegistry::create(const QString &name)
{
    const auto factory = classes().constFind(name);
    return factory == classes().cend() || !factory.value() ? nullptr : factory.value()();
}
