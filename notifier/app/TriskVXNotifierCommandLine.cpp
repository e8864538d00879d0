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

// Qt's own options, which QApplication takes out of the command line after this reading: known here so
// that they are not mistaken for wrong ones, hidden from the help.
void addQtOptions(QCommandLineParser *parser)
{
    for (const char *name :
         { "platform", "platformpluginpath", "platformtheme", "plugin", "qwindowgeometry", "geometry", "qwindowicon",
           "icon", "qwindowtitle", "title", "session", "display", "name", "style", "stylesheet", "qmljsdebugger" }) {
        QCommandLineOption option(QString::fromLatin1(name), QString(), QStringLiteral("value"));
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        parser->addOption(option);
    }
    for (const char *name : { "reverse", "widgetcount", "nograb", "dograb", "sync" }) {
        QCommandLineOption option(QString::fromLatin1(name));
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        parser->addOption(option);
    }
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
    QCommandLineParser parser;
    // As Qt reads its options: "-platform xcb" is one option with its value.
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.setApplicationDescription(
        tr("Shows what the Halvane scheduler is about to do: a status item with its menu, count-down panels and "
           "notifications.\nStarted with the desktop session; Qt's options (-platform, -display, ...) apply."));
    const QCommandLineOption helpOption({ QStringLiteral("h"), QStringLiteral("help") },
                                        tr("Displays help on commandline options."));
    const QCommandLineOption versionOption({ QStringLiteral("v"), QStringLiteral("version") },
                                           tr("Displays version information."));
    parser.addOptions({ helpOption, versionOption });
    addQtOptions(&parser);
    QTextStream out(stdout);
    QTextStream err(stderr);
    const auto usage = [&err](const QString &message) {
        err << QStringLiteral("trisk-notifier: ") << message << Qt::endl
            << tr("Try 'trisk-notifier --help'.") << Qt::endl;
        return kExitUsage;
    };
    if (!parser.parse(arguments))
        return usage(parser.errorText());
    if (!parser.positionalArguments().isEmpty())
        return usage(tr("unexpected argument %1").arg(parser.positionalArguments().constFirst()));
    if (parser.isSet(helpOption)) {
        // Without an application the parser cannot know the program's name.
        out << parser.helpText().replace(QStringLiteral("<executable_name>"), QStringLiteral("trisk-notifier"));
        return 0;
    }
    if (parser.isSet(versionOption)) {
        out << QStringLiteral("trisk-notifier ") << QStringLiteral(TRISK_VERSION) << Qt::endl;
        return 0;
    }
    return std::nullopt;
}
