#pragma once

#include <QStringList>

#include <optional>

// What trisk-notifier's command line asks for: to run, or to stop at once with an exit status (help,
// version, a bad command line). Read before the application exists, since a graphical application needs
// a display and these answers must come on a console too. "-KEY VALUE" pairs pass on: Qt's own options
// (-platform xcb) and preferences for this run (the user defaults' argument domain).
class TriskVXNotifierCommandLine
{
public:
    static QStringList fromArgv(int argc, char *argv[]);
    // The status to stop with, or nothing when the agent should run.
    static std::optional<int> answer(const QStringList &arguments);
};
