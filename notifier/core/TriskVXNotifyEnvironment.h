#pragma once

// Where the notifier runs.
class TriskVXNotifyEnvironment
{
public:
    // The standard user defaults' boolean "login" (false when absent): the instance in the login window.
    static bool runningWithinLoginWindow();
};
