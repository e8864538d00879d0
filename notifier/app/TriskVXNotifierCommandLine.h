#pragma once

#include <QStringList>

#include <optional>

// What trisk-notifier's command line asks for: to run, or to stop at once with an exit status (help,
// version, a bad option). The agent takes no options of its own besides those.
class TriskVXNotifierCommandLine
{
public:
    static QStringList fromArgv(int argc, char *argv[]);
    // --help and --version are answered before the application exists, since a graphical application
    // needs a display and these must work on a console too.
    static bool asksForInformation(const QStringList &arguments);
    // The status to stop with, or nothing when the agent should run. Reads the arguments left once Qt has
    // taken its own (-platform, -display, ...), or the raw ones when asksForInformation().
    static std::optional<int> answer(const QStringList &arguments);
};
