#pragma once

#include <QStringList>

// Where the notifier runs.
class TriskVXNotifyEnvironment
{
public:
    // The standard user defaults' boolean "login" (false when absent): the instance in the login window.
    static bool runningWithinLoginWindow();
    // The same answer before the application exists: from its command line and the preference files of
    // the domain the application's names make.
    static bool runningWithinLoginWindow(const QStringList &arguments);
};
