#pragma once

#include <QStringList>

// Collects the log lines of the process while it lives ("category: message"), and still prints them.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();

    // Lines of a category, messages only.
    QStringList messages(const char *category) const;
    int count(const QString &message) const;
};
