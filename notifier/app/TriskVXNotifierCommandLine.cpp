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

bool isInformationOption(const QString &argument)
{
    for (const char *option : { "-h", "--help", "--help-all", "-v", "--version" }) {
        if (argument == QLatin1String(option))
            return true;
    }
    return false;
}
} // namespace

QStringList TriskVXNotifierCommandLine::fromArgv(int argc, char *argv[])
{
    QStringList arguments;
    for (int index = 0; index < argc; ++index)
        arguments.append(QString::fromLocal8Bit(argv[index]));
    return arguments;
}

bool TriskVXNotifierCommandLine::asksForInformation(const QStringList &arguments)
{
    for (const QString &argument : arguments.mid(1)) {
        if (argument == QLatin1String("--"))
            return false;
        if (isInformationOption(argument))
            return true;
    }
    return false;
}

std::optional<int> TriskVXNotifierCommandLine::answer(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        tr("Shows what the Halvane scheduler is about to do: a status item with its menu, count-down panels and "
           "notifications.\nStarted with the desktop session; Qt's own options (-platform, -display, ...) apply."));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption versionOption = parser.addVersionOption();
    QTextStream out(stdout);
    QTextStream err(stderr);
    const auto usage = [&err](const QString &message) {
        err << QStringLiteral("trisk-notifier: ") << message << Qt::endl
            << tr("Try 'trisk-notifier --help'.") << Qt::endl;
        return kExitUsage;
    };
    if (!parser.parse(arguments))
        return usage(parser.errorText());
    if (parser.isSet(helpOption)) {
        out << parser.helpText();
        return 0;
    }
    if (parser.isSet(versionOption)) {
        out << QStringLiteral("trisk-notifier ") << QStringLiteral(TRISK_VERSION) << Qt::endl;
        return 0;
    }
    if (!parser.positionalArguments().isEmpty())
        return usage(tr("unexpected argument %1").arg(parser.positionalArguments().constFirst()));
    return std::nullopt;
}
