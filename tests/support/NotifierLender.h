#pragma once

#include <QObject>

// Lends a panel the observer and the requests controller, as the notifier controller does in the program.
class NotifierLender : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QObject *observer MEMBER observer)
    Q_PROPERTY(QObject *requests MEMBER requests)

public:
    QObject *observer = nullptr;
    QObject *requests = nullptr;
};
