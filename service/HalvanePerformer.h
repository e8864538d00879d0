#pragma once

#include <QObject>
#include <QVariantMap>

#include <functional>

class HalvanePowerBackend;

// Performs events: runs their actions one after the other (log lines, commands with a time limit, power
// actions through the power backend) and says when an event's actions are all done.
class HalvanePerformer : public QObject
{
    Q_OBJECT

public:
    explicit HalvanePerformer(HalvanePowerBackend *power, QObject *parent = nullptr);

    // finished runs once, from the event loop, after the last action ended (whatever its outcome).
    void perform(const QVariantMap &event, const QString &why, std::function<void()> finished);

private:
    void runAction(const QVariantMap &event, const QVariantList &actions, int index, std::function<void()> finished);
    void runCommand(const QVariantMap &action, const QString &eventName, std::function<void()> next);

    HalvanePowerBackend *m_power;
};
