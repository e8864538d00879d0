#pragma once

class TriskVXUserNotification;
class TriskVXUserNotificationCenter;

// Decides what a click on one of the program's notifications does.
class TriskVXUserNotificationCenterDelegate
{
public:
    virtual ~TriskVXUserNotificationCenterDelegate() = default;
    // The notification as delivered, with activationType telling the body from the action button.
    virtual void userNotificationCenterDidActivateNotification(TriskVXUserNotificationCenter *center,
                                                               const TriskVXUserNotification &notification)
        = 0;
};
