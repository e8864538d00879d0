#pragma once

#include <QObject>
#include <QString>

#include <functional>

// The classes that are created by name: the client framework's and the notifiers of the controller's
// tables. A class is there once its library registered it.
class TriskVXClassRegistry
{
public:
    using Factory = std::function<QObject *()>;

    static void registerClass(const QString &name, Factory factory);
    static void unregisterClass(const QString &name);
    static bool contains(const QString &name);
    // A new instance, or nullptr when no class has that name.
    static QObject *create(const QString &name);
};

// Registers a class at start-up: static TriskVXClassRegistration registration(name, factory);
class TriskVXClassRegistration
{
public:
    TriskVXClassRegistration(const QString &name, TriskVXClassRegistry::Factory factory)
    {
        TriskVXClassRegistry::registerClass(name, std::move(factory));
    }
};
