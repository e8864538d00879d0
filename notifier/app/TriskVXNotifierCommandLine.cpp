#include "TriskVXNotifierCommandLine.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

namespace {
const int kExitUsage = 2;

QString tr(const char *text)
{
    return QCoreApplication::translate("TriskVXNotifierCommandLine", text);
}

QString helpText()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        tr("Shows what the Halvane scheduler is about to do: a status item with its menu, count-down panels and "
           "notifications.\nStarted with the desktop session. -KEY VALUE sets a preference for this run; Qt's "
           "options (-platform, -display, ...) apply too."));
    parser.addHelpOption();
    parser.addVersionOption();
    // Without an application the parser cannot know the program's name.
    return parser.helpText().replace(QStringLiteral("<executable_name>"), QStringLiteral("trisk-notifier"));
}
} // namespace

QStringList TriskVXNotifierCommandLine::fromArgv(int argc, char *argv[])
{
    QStringList arguments;
    for (int index = 0; index < argc; ++index)
        arguments.append(QString::fromLocal8Bit(argv[index]));
    return arguments;
}

std::optional<int> TriskVXNotifierCommandLine::answer(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    const auto usage = [&err](const QString &message) {
        err << QStringLiteral("trisk-notifier: ") << message << Qt::endl
            << tr("Try 'trisk-notifier --help'.") << Qt::endl;
        return kExitUsage;
    };
    enum class Asked { Run, Help, Version } asked = Asked::Run;
    for (qsizetype index = 1; index < arguments.size(); ++index) {
        const QString &argument = arguments.at(index);
        if (argument == QLatin1String("-h") || argument == QLatin1String("--help")
            || argument == QLatin1String("--help-all")) {
            asked = Asked::Help;
        } else if (argument == QLatin1String("-v") || argument == QLatin1String("--version")) {
            asked = asked == Asked::Help ? asked : Asked::Version;
        } else if (argument.startsWith(QLatin1String("--"))) {
            return usage(tr("Unknown option '%1'.").arg(argument.mid(2)));
        } else if (argument.size() > 1 && argument.front() == QLatin1Char('-')) {
            ++index; // its value, as the user defaults read it
        } else {
            return usage(tr("unexpected argument %1").arg(argument));
        }
    }
    if (asked == Asked::Help)
        out << helpText();
    else if (asked == Asked::Version)
        out << QStringLiteral("trisk-notifier ") << QStringLiteral(TRISK_VERSION) << Qt::endl;
    return asked == Asked::Run ? std::nullopt : std::optional<int>(0);
}
