#include "HalvaneCtl.h"

#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXDistributedNotificationCenter.h"
#include "TriskVXObserver.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXRecords.h"
#include "TriskVXServiceLocation.h"
#include "TriskVXUserDefaults.h"
#include "halvane_backup_interface.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QTextStream>

#include <memory>
#include <optional>

namespace {
enum ExitStatus { kExitOK = 0, kExitRefused = 1, kExitUsage = 2, kExitUnreachable = 3 };

// The list names of "halvanectl list" and the variables they show.
const QList<QPair<QString, QString>> &listNames()
{
    static const QList<QPair<QString, QString>> names {
        { QStringLiteral("pending"), kVXObserveSchedulerPending },
        { QStringLiteral("current"), kVXObserveNotificationsCurrent },
        { QStringLiteral("warnings"), kVXObserveNotificationsWarning },
        { QStringLiteral("active"), kVXObserveSchedulerActive },
        { QStringLiteral("on-demand"), kVXObserveOnDemandAvailable },
        { QStringLiteral("rights"), kVXObserveAuthorisationRights },
    };
    return names;
}

// The action type of each --power word, and the built-in picture such an event shows.
const QHash<QString, QPair<QString, QString>> &powerActions()
{
    static const QHash<QString, QPair<QString, QString>> actions {
        { QStringLiteral("power-off"), { kVXActionType_PowerOff, QStringLiteral("power-off") } },
        { QStringLiteral("reboot"), { kVXActionType_Reboot, QStringLiteral("restart") } },
        { QStringLiteral("suspend"), { kVXActionType_Suspend, QStringLiteral("sleep") } },
        { QStringLiteral("hibernate"), { kVXActionType_Hibernate, QStringLiteral("sleep") } },
    };
    return actions;
}

// Runs the event loop until done() answers true or the time is up.
bool waitUntil(const std::function<bool()> &done, int timeout)
{
    QDeadlineTimer deadline(timeout);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, int(qMax<qint64>(1, deadline.remainingTime())));
    return done();
}

// JSON has no dates or data: dates become ISO 8601 text, data base64.
QJsonValue toJson(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(Qt::ISODateWithMs);
    case QMetaType::QByteArray:
        return QString::fromLatin1(value.toByteArray().toBase64());
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            object.insert(it.key(), toJson(it.value()));
        return object;
    }
    case QMetaType::QVariantList: {
        QJsonArray array;
        const QVariantList list = value.toList();
        for (const QVariant &item : list)
            array.append(toJson(item));
        return array;
    }
    default:
        return QJsonValue::fromVariant(value);
    }
}
} // namespace

HalvaneCtl::HalvaneCtl(QTextStream &out, QTextStream &err, QObject *parent)
    : QObject(parent)
    , m_out(out)
    , m_err(err)
{
}

int HalvaneCtl::usage(const QString &message)
{
    m_err << QStringLiteral("halvanectl: ") << message << Qt::endl;
    m_err << tr("Try 'halvanectl --help'.") << Qt::endl;
    return kExitUsage;
}

int HalvaneCtl::run(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        tr("Shows and drives the Halvane scheduler service.\n\n"
           "Commands:\n"
           "  status                         the scheduler's state in short\n"
           "  list [LIST]                    pending, current, warnings, active, on-demand, rights (all when omitted)\n"
           "  get VARIABLE                   one published variable as it is\n"
           "  add NAME [COMMAND...]          add an event: --at, --daily or --weekly with --days; what it does with\n"
           "                                 --log, --power or --command (COMMAND is its argument vector)\n"
           "  store FILE                     add or replace the events of a plist file\n"
           "  adjust TRIGGER DATE            move one firing to DATE (ISO 8601)\n"
           "  delay TRIGGER MINUTES          move one firing MINUTES later\n"
           "  cancel TRIGGER [--until DATE]  skip the next firing, or every firing before DATE\n"
           "  reset [TRIGGER]                undo adjustments and cancellations (of all triggers when omitted)\n"
           "  perform EVENT                  perform an event on demand now\n"
           "  trigger EVENT                  perform it now if its criteria allow\n"
           "  enable | disable               start or stop all firing\n"
           "  set-preference KEY VALUE       set a scheduler preference and tell every notifier\n"
           "  unset-preference KEY           remove a scheduler preference and tell every notifier\n"
           "  export FILE                    save the whole schedule to a property-list file (a backup)\n"
           "  import FILE                    replace the whole schedule with an exported one"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption busOption(QStringLiteral("bus"), tr("The bus: session, system or a D-Bus address."),
                                       QStringLiteral("bus"));
    const QCommandLineOption nameOption(QStringLiteral("name"), tr("The service's bus name."), QStringLiteral("name"));
    const QCommandLineOption plistOption(QStringLiteral("plist"), tr("Print values as an XML property list."));
    const QCommandLineOption jsonOption(QStringLiteral("json"), tr("Print values as JSON (dates as ISO 8601 text)."));
    const QCommandLineOption timeoutOption(QStringLiteral("timeout"), tr("Milliseconds to wait for the service."),
                                           QStringLiteral("ms"), QStringLiteral("5000"));
    const QList<QCommandLineOption> commandOptions {
        { QStringLiteral("until"), tr("With cancel: skip every firing before this date."), QStringLiteral("date") },
        { QStringLiteral("at"), tr("With add: fire once at this date."), QStringLiteral("date") },
        { QStringLiteral("daily"), tr("With add: fire every day at this time (HH:MM)."), QStringLiteral("time") },
        { QStringLiteral("weekly"), tr("With add: fire at this time (HH:MM) on --days."), QStringLiteral("time") },
        { QStringLiteral("days"), tr("With add --weekly: the weekdays, as mon,tue,... or 1-7."),
          QStringLiteral("days") },
        { QStringLiteral("log"), tr("With add: write this line to the log."), QStringLiteral("text") },
        { QStringLiteral("power"), tr("With add: power-off, reboot, suspend or hibernate."), QStringLiteral("action") },
        { QStringLiteral("command"), tr("With add: run the COMMAND given after the name.") },
        { QStringLiteral("command-timeout"), tr("With add --command: seconds the command may run."),
          QStringLiteral("seconds") },
        { QStringLiteral("user"), tr("With add --command: the user to run it as (system service)."),
          QStringLiteral("user") },
        { QStringLiteral("on-demand"), tr("With add: the event may be performed on demand.") },
        { QStringLiteral("notice"), tr("With add: seconds before a firing that notifications begin."),
          QStringLiteral("seconds") },
        { QStringLiteral("warning-lead"), tr("With add: seconds before a firing that the warning shows."),
          QStringLiteral("seconds") },
        { QStringLiteral("id"), tr("With add: the event's unique id (replaces an event with it)."),
          QStringLiteral("id") },
        { QStringLiteral("disabled"), tr("With add: store the event disabled.") },
        { QStringLiteral("string"), tr("With set-preference: keep VALUE as text.") },
    };
    parser.addOptions({ busOption, nameOption, plistOption, jsonOption, timeoutOption });
    parser.addOptions(commandOptions);
    parser.addPositionalArgument(QStringLiteral("command"), tr("What to do (see above)."));
    // The parser would read "-5" as the options -5: say what is wrong with it instead.
    for (const QString &argument : arguments.mid(1)) {
        if (argument == QLatin1String("--"))
            break;
        if (argument.size() > 1 && argument.front() == QLatin1Char('-') && argument.at(1).isDigit())
            return usage(tr("%1: minutes and seconds are positive numbers").arg(argument));
    }
    if (!parser.parse(arguments))
        return usage(parser.errorText());
    if (parser.isSet(QStringLiteral("help"))) {
        m_out << parser.helpText();
        return kExitOK;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        m_out << QCoreApplication::applicationName() << QLatin1Char(' ') << QCoreApplication::applicationVersion()
              << Qt::endl;
        return kExitOK;
    }
    bool timeoutOK = false;
    m_timeout = parser.value(timeoutOption).toInt(&timeoutOK);
    if (!timeoutOK || m_timeout <= 0)
        return usage(tr("--timeout takes a positive number of milliseconds"));
    if (parser.isSet(plistOption) && parser.isSet(jsonOption))
        return usage(tr("--plist and --json do not go together"));
    m_output = parser.isSet(plistOption) ? Output::Plist : parser.isSet(jsonOption) ? Output::Json : Output::Human;
    QStringList operands = parser.positionalArguments();
    if (operands.isEmpty())
        return usage(tr("no command given"));
    const QString command = operands.takeFirst();

    // The whole command line is checked before anything is sent.
    Plan what;
    if (const int status = plan(command, operands, parser, &what); status != kExitOK)
        return status;
    if (what.kind == Plan::Kind::Preference)
        return setPreference(what.key, what.value);

    TriskVXServiceLocation location = TriskVXServiceLocation::fromEnvironment();
    if (parser.isSet(busOption) || parser.isSet(nameOption)) {
        const QString bus = parser.isSet(busOption) ? parser.value(busOption) : location.busDescription();
        const QString name = parser.isSet(nameOption) ? parser.value(nameOption) : location.serviceName();
        const QDBusConnection connection = bus == QLatin1String("session") ? QDBusConnection::sessionBus()
            : bus == QLatin1String("system")                               ? QDBusConnection::systemBus()
                                             : QDBusConnection::connectToBus(bus, QStringLiteral("halvanectl"));
        location = TriskVXServiceLocation(connection, name, bus);
    }
    m_connection = TriskVXConnection::connectionWithLocation(location, this);
    if (!m_connection) {
        m_err << tr("halvanectl: cannot reach the %1 bus").arg(location.busDescription()) << Qt::endl;
        return kExitUnreachable;
    }
    if (!waitForConnection()) {
        m_err << tr("halvanectl: the scheduler service %1 does not answer").arg(location.serviceName()) << Qt::endl;
        return kExitUnreachable;
    }
    switch (what.kind) {
    case Plan::Kind::Status:
        return printStatus();
    case Plan::Kind::Show:
        return printVariables(what.variables);
    case Plan::Kind::Request:
        return sendRequest(what.request);
    case Plan::Kind::Delay:
        return delay(what.trigger, what.minutes);
    case Plan::Kind::Export:
        return exportSchedule(location, what.file);
    case Plan::Kind::Import:
        return importSchedule(location, what.schedule);
    case Plan::Kind::Preference:
        break;
    }
    return kExitOK;
}

int HalvaneCtl::plan(const QString &command, const QStringList &operands, const QCommandLineParser &parser, Plan *plan)
{
    auto expect = [&](int least, int most) {
        return operands.size() >= least && operands.size() <= most;
    };
    const QStringList addOnly { QStringLiteral("at"),      QStringLiteral("daily"),
                                QStringLiteral("weekly"),  QStringLiteral("days"),
                                QStringLiteral("log"),     QStringLiteral("power"),
                                QStringLiteral("command"), QStringLiteral("command-timeout"),
                                QStringLiteral("user"),    QStringLiteral("on-demand"),
                                QStringLiteral("notice"),  QStringLiteral("warning-lead"),
                                QStringLiteral("id"),      QStringLiteral("disabled") };
    for (const QString &option : addOnly) {
        if (parser.isSet(option) && command != QLatin1String("add"))
            return usage(tr("--%1 goes with add").arg(option));
    }
    if (parser.isSet(QStringLiteral("until")) && command != QLatin1String("cancel"))
        return usage(tr("--until goes with cancel"));
    if (parser.isSet(QStringLiteral("string")) && command != QLatin1String("set-preference"))
        return usage(tr("--string goes with set-preference"));

    if (command == QLatin1String("status")) {
        if (!expect(0, 0))
            return usage(tr("status takes no operand"));
        plan->kind = Plan::Kind::Status;
        return kExitOK;
    }
    if (command == QLatin1String("list")) {
        if (!expect(0, 1))
            return usage(tr("list takes at most one list name"));
        plan->kind = Plan::Kind::Show;
        for (const auto &[listName, variable] : listNames()) {
            if (operands.isEmpty() || operands.first() == listName)
                plan->variables.append(variable);
        }
        if (operands.isEmpty())
            plan->variables.prepend(kVXObserveSchedulerEnabled);
        if (plan->variables.isEmpty())
            return usage(tr("unknown list %1").arg(operands.first()));
        return kExitOK;
    }
    if (command == QLatin1String("get")) {
        if (!expect(1, 1) || !TriskVXObserver::observedVariables().contains(operands.first()))
            return usage(
                tr("get takes one of: %1").arg(TriskVXObserver::observedVariables().join(QStringLiteral(", "))));
        plan->kind = Plan::Kind::Show;
        plan->variables = { operands.first() };
        return kExitOK;
    }
    plan->kind = Plan::Kind::Request;
    if (command == QLatin1String("adjust")) {
        if (!expect(2, 2))
            return usage(tr("adjust takes a trigger and a date"));
        const QDateTime date = parseDate(operands.at(1));
        if (!date.isValid())
            return usage(tr("%1 is not an ISO 8601 date").arg(operands.at(1)));
        plan->request
            = TriskVXRequest(kVXRPCSchedulerAdjust,
                             { { kVXRPCParameterTriggerID, operands.at(0) }, { kVXRPCParameterDate, date.toUTC() } });
        return kExitOK;
    }
    if (command == QLatin1String("delay")) {
        bool isNumber = false;
        plan->minutes = operands.value(1).toLongLong(&isNumber);
        if (!expect(2, 2) || !isNumber)
            return usage(tr("delay takes a trigger and a number of minutes"));
        if (plan->minutes <= 0)
            return usage(tr("delay takes a positive number of minutes, not %1").arg(operands.at(1)));
        if (plan->minutes > kHorizonYears * 366 * 24 * 60)
            return usage(tr("delay moves a firing at most %1 years ahead").arg(kHorizonYears));
        plan->kind = Plan::Kind::Delay;
        plan->trigger = operands.at(0);
        return kExitOK;
    }
    if (command == QLatin1String("cancel")) {
        if (!expect(1, 1))
            return usage(tr("cancel takes a trigger"));
        QVariantMap parameters { { kVXRPCParameterTriggerID, operands.at(0) } };
        if (parser.isSet(QStringLiteral("until"))) {
            const QDateTime date = parseDate(parser.value(QStringLiteral("until")));
            if (!date.isValid())
                return usage(tr("%1 is not an ISO 8601 date").arg(parser.value(QStringLiteral("until"))));
            parameters.insert(kVXRPCParameterUntil, date.toUTC());
        }
        plan->request = TriskVXRequest(kVXRPCSchedulerCancel, parameters);
        return kExitOK;
    }
    if (command == QLatin1String("reset")) {
        if (!expect(0, 1))
            return usage(tr("reset takes at most one trigger"));
        plan->request = operands.isEmpty() ? TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset)
                                           : TriskVXRequest::requestWithRequestValueForParameter(
                                               kVXRPCSchedulerReset, operands.first(), kVXRPCParameterTriggerID);
        return kExitOK;
    }
    if (command == QLatin1String("perform") || command == QLatin1String("trigger")) {
        if (!expect(1, 1))
            return usage(tr("%1 takes an event's unique id").arg(command));
        QVariantMap parameters { { kVXRPCParameterUniqueID, operands.first() } };
        if (command == QLatin1String("trigger"))
            parameters.insert(kVXRPCParameterApplyCriteria, true);
        plan->request = TriskVXRequest(kVXRPCOnDemandPerform, parameters);
        return kExitOK;
    }
    if (command == QLatin1String("store")) {
        if (!expect(1, 1))
            return usage(tr("store takes a plist file"));
        QString error;
        const QVariant contents
            = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(operands.first(), &error);
        if (!contents.isValid()) {
            m_err << tr("halvanectl: %1").arg(error) << Qt::endl;
            return kExitRefused;
        }
        const QVariantList events
            = contents.typeId() == QMetaType::QVariantList ? contents.toList() : QVariantList { contents };
        if (events.size() > kEventsPerRequest) {
            m_err << tr("halvanectl: %1 holds %2 events; the service takes at most %3 in one request")
                         .arg(operands.first())
                         .arg(events.size())
                         .arg(kEventsPerRequest)
                  << Qt::endl;
            return kExitRefused;
        }
        plan->request = TriskVXRequest(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events } });
        return kExitOK;
    }
    if (command == QLatin1String("export")) {
        if (!expect(1, 1))
            return usage(tr("export takes the file to write"));
        plan->kind = Plan::Kind::Export;
        plan->file = operands.first();
        return kExitOK;
    }
    if (command == QLatin1String("import")) {
        if (!expect(1, 1))
            return usage(tr("import takes an exported plist file"));
        QString error;
        const QVariant contents
            = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(operands.first(), &error);
        if (contents.typeId() != QMetaType::QVariantMap) {
            m_err << tr("halvanectl: %1")
                         .arg(contents.isValid() ? tr("%1 is not an exported schedule").arg(operands.first()) : error)
                  << Qt::endl;
            return kExitRefused;
        }
        plan->kind = Plan::Kind::Import;
        plan->schedule = contents.toMap();
        return kExitOK;
    }
    if (command == QLatin1String("add"))
        return planAdd(operands, parser, plan);
    if (command == QLatin1String("enable") || command == QLatin1String("disable")) {
        if (!expect(0, 0))
            return usage(tr("%1 takes no operand").arg(command));
        plan->request = TriskVXRequest::requestWithRequestValueForParameter(
            kVXRPCSchedulerSetEnabled, command == QLatin1String("enable"), kVXRPCParameterEnabled);
        return kExitOK;
    }
    if (command == QLatin1String("set-preference") || command == QLatin1String("unset-preference")) {
        const bool set = command == QLatin1String("set-preference");
        if (!expect(set ? 2 : 1, set ? 2 : 1) || operands.first().isEmpty())
            return usage(set ? tr("set-preference takes a key and a value") : tr("unset-preference takes a key"));
        plan->kind = Plan::Kind::Preference;
        plan->key = operands.first();
        if (set)
            plan->value = preferenceValue(operands.at(1), parser.isSet(QStringLiteral("string")));
        return kExitOK;
    }
    return usage(tr("unknown command %1").arg(command));
}

int HalvaneCtl::planAdd(const QStringList &operands, const QCommandLineParser &parser, Plan *plan)
{
    if (operands.isEmpty() || operands.first().isEmpty())
        return usage(tr("add takes the event's name"));
    QVariantMap event { { kVXEventName, operands.first() },
                        { kVXEventEnabled, !parser.isSet(QStringLiteral("disabled")) } };
    if (parser.isSet(QStringLiteral("id")))
        event.insert(kVXEventUniqueID, parser.value(QStringLiteral("id")));

    const int whens = int(parser.isSet(QStringLiteral("at"))) + int(parser.isSet(QStringLiteral("daily")))
        + int(parser.isSet(QStringLiteral("weekly")));
    if (whens > 1)
        return usage(tr("add takes one of --at, --daily and --weekly"));
    QVariantList triggers;
    if (parser.isSet(QStringLiteral("at"))) {
        const QDateTime date = parseDate(parser.value(QStringLiteral("at")));
        if (!date.isValid())
            return usage(tr("%1 is not an ISO 8601 date").arg(parser.value(QStringLiteral("at"))));
        triggers.append(QVariantMap { { kVXTriggerType, kVXTriggerType_Once }, { kVXTriggerDate, date.toUTC() } });
    } else if (parser.isSet(QStringLiteral("daily")) || parser.isSet(QStringLiteral("weekly"))) {
        const bool weekly = parser.isSet(QStringLiteral("weekly"));
        const QString time = parser.value(weekly ? QStringLiteral("weekly") : QStringLiteral("daily"));
        QVariantMap trigger { { kVXTriggerType, weekly ? kVXTriggerType_Weekly : kVXTriggerType_Daily },
                              { kVXTriggerTime, time } };
        if (weekly) {
            static const QStringList names { QStringLiteral("mon"), QStringLiteral("tue"), QStringLiteral("wed"),
                                             QStringLiteral("thu"), QStringLiteral("fri"), QStringLiteral("sat"),
                                             QStringLiteral("sun") };
            QVariantList days;
            const QStringList given = parser.value(QStringLiteral("days")).split(QLatin1Char(','), Qt::SkipEmptyParts);
            for (const QString &day : given) {
                bool number = false;
                const int value = day.toInt(&number);
                const int index = number ? value : int(names.indexOf(day.trimmed().toLower().left(3))) + 1;
                if (index < 1 || index > 7)
                    return usage(tr("%1 is not a weekday").arg(day));
                days.append(qint64(index));
            }
            if (days.isEmpty())
                return usage(tr("add --weekly takes --days"));
            trigger.insert(kVXTriggerWeekdays, days);
        } else if (parser.isSet(QStringLiteral("days"))) {
            return usage(tr("--days goes with --weekly"));
        }
        triggers.append(trigger);
    }
    event.insert(kVXEventTriggers, triggers);

    QVariantList actions;
    if (parser.isSet(QStringLiteral("log")))
        actions.append(QVariantMap { { kVXActionType, kVXActionType_Log },
                                     { kVXActionMessage, parser.value(QStringLiteral("log")) } });
    if (parser.isSet(QStringLiteral("command"))) {
        if (operands.size() < 2)
            return usage(tr("add --command takes the command after the event's name"));
        QVariantList arguments;
        for (const QString &argument : operands.mid(1))
            arguments.append(argument);
        QVariantMap action { { kVXActionType, kVXActionType_Command }, { kVXActionArguments, arguments } };
        if (parser.isSet(QStringLiteral("command-timeout"))) {
            bool number = false;
            const double seconds = parser.value(QStringLiteral("command-timeout")).toDouble(&number);
            if (!number || seconds <= 0)
                return usage(tr("--command-timeout takes a positive number of seconds"));
            action.insert(kVXActionTimeout, seconds);
        }
        if (parser.isSet(QStringLiteral("user")))
            action.insert(kVXActionUser, parser.value(QStringLiteral("user")));
        actions.append(action);
    } else if (operands.size() > 1) {
        return usage(tr("add takes one name; a command goes with --command"));
    } else if (parser.isSet(QStringLiteral("command-timeout")) || parser.isSet(QStringLiteral("user"))) {
        return usage(tr("--command-timeout and --user go with --command"));
    }
    if (parser.isSet(QStringLiteral("power"))) {
        const auto [power, image] = powerActions().value(parser.value(QStringLiteral("power")));
        if (power.isEmpty())
            return usage(tr("--power takes power-off, reboot, suspend or hibernate"));
        actions.append(QVariantMap { { kVXActionType, power } });
        event.insert(kVXEventImage, image);
    }
    if (!actions.isEmpty())
        event.insert(kVXEventActions, actions);
    if (parser.isSet(QStringLiteral("on-demand")))
        event.insert(kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand });
    for (const auto &[option, key] : { qMakePair(QStringLiteral("notice"), kVXEventNoticePeriod),
                                       qMakePair(QStringLiteral("warning-lead"), kVXEventWarningLead) }) {
        if (!parser.isSet(option))
            continue;
        bool number = false;
        const qint64 seconds = parser.value(option).toLongLong(&number);
        if (!number || seconds < 0)
            return usage(tr("--%1 takes a number of seconds").arg(option));
        event.insert(key, seconds);
    }
    plan->request = TriskVXRequest(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { event } } });
    return kExitOK;
}

QVariant HalvaneCtl::preferenceValue(const QString &text, bool asString)
{
    if (asString)
        return text;
    const QString lower = text.toLower();
    if (lower == QLatin1String("true") || lower == QLatin1String("yes"))
        return true;
    if (lower == QLatin1String("false") || lower == QLatin1String("no"))
        return false;
    bool number = false;
    const qint64 integer = text.toLongLong(&number);
    if (number)
        return integer;
    const double real = text.toDouble(&number);
    if (number)
        return real;
    return text;
}

int HalvaneCtl::setPreference(const QString &key, const QVariant &value)
{
    // The scheduler's domain lives with every other preference domain, where the notifier reads it.
    const QString path
        = TriskVXUserDefaults::fileOfDomainInFolder(TriskVXUserDefaults::defaultFolder(), kVXPreferencesDomain);
    if (path.isEmpty()) {
        m_err << tr("halvanectl: there is no configuration folder for the preferences") << Qt::endl;
        return kExitRefused;
    }
    QVariantMap domain;
    if (QFileInfo::exists(path)) {
        QString error;
        const QVariant contents = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(path, &error);
        if (contents.typeId() != QMetaType::QVariantMap) {
            // An unreadable domain is left for a person to mend, never overwritten.
            m_err << tr("halvanectl: the preferences in %1 cannot be read (%2); nothing was changed")
                         .arg(path, error.isEmpty() ? tr("not a dictionary") : error)
                  << Qt::endl;
            return kExitRefused;
        }
        domain = contents.toMap();
    }
    if (value.isValid())
        domain.insert(key, value);
    else
        domain.remove(key);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QString error;
    if (!TriskVXPropertyListSerialization::writePropertyListToFile(
            domain, path, TriskVXPropertyListSerialization::Format::Xml, &error)) {
        m_err << tr("halvanectl: %1").arg(error) << Qt::endl;
        return kExitRefused;
    }
    QDBusConnection bus = QDBusConnection::sessionBus();
    TriskVXDistributedNotificationCenter center(bus);
    if (!center.postNotificationNameObjectUserInfo(kVXPreferencesNotificationSynchronise, kVXPreferencesDomain)) {
        m_err << tr("halvanectl: saved, but the notifiers could not be told: no session bus") << Qt::endl;
        return kExitOK;
    }
    // The signal is queued; a round trip to the bus, which answers in order, sees it out before exit.
    bus.interface()->isServiceRegistered(kVXDBusServiceName);
    return kExitOK;
}

bool HalvaneCtl::waitForConnection()
{
    bool failed = false;
    connect(m_connection, &TriskVXConnection::connectionAttemptFailed, this, [&failed] {
        failed = true;
    });
    waitUntil(
        [&] {
            return m_connection->isValid() || failed;
        },
        m_timeout);
    disconnect(m_connection, &TriskVXConnection::connectionAttemptFailed, this, nullptr);
    return m_connection->isValid();
}

bool HalvaneCtl::waitForVariables()
{
    if (m_observer)
        return true;
    m_observer = new TriskVXObserver(m_connection, this);
    bool loaded = false;
    connect(m_observer, &TriskVXObserver::reloaded, this, [&loaded] {
        loaded = true;
    });
    waitUntil(
        [&] {
            return loaded;
        },
        m_timeout);
    disconnect(m_observer, &TriskVXObserver::reloaded, this, nullptr);
    if (!loaded)
        m_err << tr("halvanectl: the scheduler service did not publish its variables") << Qt::endl;
    return loaded;
}

int HalvaneCtl::sendRequest(const TriskVXRequest &request)
{
    // Shared with the handler, which may outlive this call when the answer comes after the timeout.
    auto answer = std::make_shared<std::optional<TriskVXResponse>>();
    if (!m_connection->send(&request, [answer](const TriskVXResponse &received) {
            *answer = received;
        })) {
        m_err << tr("halvanectl: the request could not be sent") << Qt::endl;
        return kExitUnreachable;
    }
    if (!waitUntil(
            [&] {
                return answer->has_value();
            },
            m_timeout)) {
        m_err << tr("halvanectl: no answer from the scheduler service") << Qt::endl;
        return kExitUnreachable;
    }
    const TriskVXResponse &response = answer->value();
    if (!response.succeeded()) {
        m_err << tr("halvanectl: %1 failed with status %2: %3")
                     .arg(request.request())
                     .arg(response.status())
                     .arg(response.message())
              << Qt::endl;
        return kExitRefused;
    }
    return kExitOK;
}

namespace {
// Waits for an asynchronous call's answer; false when none came in time.
bool waitForReply(const QDBusPendingCall &call, int timeout)
{
    QDBusPendingCallWatcher watcher(call);
    bool finished = watcher.isFinished();
    QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &watcher, [&finished] {
        finished = true;
    });
    return waitUntil(
        [&finished] {
            return finished;
        },
        timeout);
}
} // namespace

int HalvaneCtl::exportSchedule(const TriskVXServiceLocation &location, const QString &file)
{
    SchedulerBackupProxy backup(location.serviceName(), kVXDBusObjectPath, location.bus());
    backup.setTimeout(m_timeout);
    const QDBusPendingReply<QVariantMap> reply = backup.Export();
    if (!waitForReply(reply, m_timeout)) {
        m_err << tr("halvanectl: no answer from the scheduler service") << Qt::endl;
        return kExitUnreachable;
    }
    if (reply.isError()) {
        m_err << tr("halvanectl: export failed: %1").arg(reply.error().message()) << Qt::endl;
        return kExitRefused;
    }
    QString error;
    const QVariant schedule = TriskVXDBusPropertyList::decode(QVariant(reply.value()), &error);
    // Binary: it keeps the milliseconds of every date, where XML would round them to the second.
    if (!schedule.isValid()
        || !TriskVXPropertyListSerialization::writePropertyListToFile(
            schedule, file, TriskVXPropertyListSerialization::Format::Binary, &error)) {
        m_err << tr("halvanectl: cannot write %1: %2").arg(file, error) << Qt::endl;
        return kExitRefused;
    }
    return kExitOK;
}

int HalvaneCtl::importSchedule(const TriskVXServiceLocation &location, const QVariantMap &schedule)
{
    SchedulerBackupProxy backup(location.serviceName(), kVXDBusObjectPath, location.bus());
    backup.setTimeout(m_timeout);
    const QDBusPendingReply<bool, qlonglong, QString> reply
        = backup.Import(TriskVXDBusPropertyList::encodeMap(schedule));
    if (!waitForReply(reply, m_timeout)) {
        m_err << tr("halvanectl: no answer from the scheduler service") << Qt::endl;
        return kExitUnreachable;
    }
    if (reply.isError() || !reply.argumentAt<0>()) {
        m_err << tr("halvanectl: import failed: %1")
                     .arg(reply.isError()
                              ? reply.error().message()
                              : QStringLiteral("%1 (status %2)").arg(reply.argumentAt<2>()).arg(reply.argumentAt<1>()))
              << Qt::endl;
        return kExitRefused;
    }
    return kExitOK;
}

int HalvaneCtl::delay(const QString &trigger, qint64 minutes)
{
    if (!waitForVariables())
        return kExitUnreachable;
    const QVariantList pending = m_observer->valueForKeyPath(kVXObserveSchedulerPending).toList();
    for (const QVariant &entry : pending) {
        const QVariantMap record = entry.toMap();
        if (record.value(kVXQueuedTriggerTriggerID).toString() != trigger)
            continue;
        const QDateTime date = TriskVXRecords::triggerDateOfQueuedTrigger(record).toDateTime();
        return sendRequest(TriskVXRequest(
            kVXRPCSchedulerAdjust,
            { { kVXRPCParameterTriggerID, trigger }, { kVXRPCParameterDate, date.addSecs(minutes * 60) } }));
    }
    m_err << tr("halvanectl: no pending trigger %1").arg(trigger) << Qt::endl;
    return kExitRefused;
}

QDateTime HalvaneCtl::parseDate(const QString &text)
{
    QDateTime date = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!date.isValid())
        date = QDateTime::fromString(text, Qt::ISODate);
    return date;
}

QString HalvaneCtl::dateText(const QVariant &date) const
{
    if (date.typeId() != QMetaType::QDateTime)
        return tr("(no date)");
    return date.toDateTime().toLocalTime().toString(Qt::ISODate);
}

void HalvaneCtl::printRecords(const QString &variable, const QVariantList &records)
{
    if (records.isEmpty()) {
        m_out << QStringLiteral("  ") << tr("(none)") << Qt::endl;
        return;
    }
    for (const QVariant &entry : records) {
        const QVariantMap record = entry.toMap();
        QString line;
        if (variable == kVXObserveSchedulerPending || variable == kVXObserveNotificationsCurrent) {
            line = QStringLiteral("%1  %2  %3")
                       .arg(record.value(kVXQueuedTriggerTriggerID).toString(),
                            dateText(TriskVXRecords::triggerDateOfQueuedTrigger(record)),
                            TriskVXRecords::eventNameOfQueuedTrigger(record).toString());
        } else if (variable == kVXObserveNotificationsWarning) {
            line = QStringLiteral("%1  %2  %3: %4")
                       .arg(record.value(kVXQueuedWarningActionID).toString(),
                            dateText(record.value(kVXQueuedWarningDate)),
                            record.value(kVXQueuedWarningEvent).toMap().value(kVXEventName).toString(),
                            record.value(kVXQueuedWarningMessage).toString());
        } else if (variable == kVXObserveSchedulerActive) {
            const QVariantMap event = record.value(kVXActiveEventEvent).toMap();
            line = QStringLiteral("%1  %2").arg(event.value(kVXEventUniqueID).toString(),
                                                event.value(kVXEventName).toString());
        } else if (variable == kVXObserveOnDemandAvailable) {
            line = QStringLiteral("%1  %2").arg(record.value(kVXEventUniqueID).toString(),
                                                record.value(kVXEventName).toString());
        } else {
            line = QStringLiteral("%1  %2").arg(record.value(kVXAuthorisationRightSignature).toString(),
                                                record.value(kVXAuthorisationRightRule).toString());
        }
        m_out << QStringLiteral("  ") << line << Qt::endl;
    }
}

int HalvaneCtl::printVariables(const QStringList &names)
{
    if (!waitForVariables())
        return kExitUnreachable;
    if (m_output != Output::Human) {
        QVariantMap values;
        for (const QString &name : names)
            values.insert(name, m_observer->valueForKeyPath(name));
        const QVariant value = names.size() == 1 ? values.first() : QVariant(values);
        if (m_output == Output::Json) {
            const QJsonValue json = toJson(value);
            const QJsonDocument document = json.isArray() ? QJsonDocument(json.toArray())
                : json.isObject()                         ? QJsonDocument(json.toObject())
                                                          : QJsonDocument(QJsonArray { json });
            m_out << QString::fromUtf8(document.toJson(QJsonDocument::Indented));
            m_out.flush();
            return kExitOK;
        }
        QString error;
        const QByteArray data = TriskVXPropertyListSerialization::dataWithPropertyList(
            value, TriskVXPropertyListSerialization::Format::Xml, &error);
        if (data.isEmpty()) {
            m_err << tr("halvanectl: cannot print the value: %1").arg(error) << Qt::endl;
            return kExitRefused;
        }
        m_out << QString::fromUtf8(data);
        m_out.flush();
        return kExitOK;
    }
    for (const QString &name : names) {
        const QVariant value = m_observer->valueForKeyPath(name);
        if (name == kVXObserveSchedulerEnabled) {
            m_out << name << QStringLiteral(": ") << (value.toBool() ? tr("yes") : tr("no")) << Qt::endl;
            continue;
        }
        m_out << name << QStringLiteral(":") << Qt::endl;
        printRecords(name, value.toList());
    }
    return kExitOK;
}

int HalvaneCtl::printStatus()
{
    if (!waitForVariables())
        return kExitUnreachable;
    const QVariantList pending = m_observer->valueForKeyPath(kVXObserveSchedulerPending).toList();
    if (m_output != Output::Human)
        return printVariables(TriskVXObserver::observedVariables());
    m_out << tr("Scheduler: %1")
                 .arg(m_observer->valueForKeyPath(kVXObserveSchedulerEnabled).toBool() ? tr("enabled") : tr("disabled"))
          << Qt::endl;
    if (pending.isEmpty()) {
        m_out << tr("Next: nothing pending") << Qt::endl;
    } else {
        const QVariantMap next = pending.first().toMap();
        m_out << tr("Next: %1 at %2")
                     .arg(TriskVXRecords::eventNameOfQueuedTrigger(next).toString(),
                          dateText(TriskVXRecords::triggerDateOfQueuedTrigger(next)))
              << Qt::endl;
    }
    m_out << tr("Pending: %1, current: %2, warnings: %3, active: %4, on demand: %5")
                 .arg(pending.size())
                 .arg(m_observer->valueForKeyPath(kVXObserveNotificationsCurrent).toList().size())
                 .arg(m_observer->valueForKeyPath(kVXObserveNotificationsWarning).toList().size())
                 .arg(m_observer->valueForKeyPath(kVXObserveSchedulerActive).toList().size())
                 .arg(m_observer->valueForKeyPath(kVXObserveOnDemandAvailable).toList().size())
          << Qt::endl;
    return kExitOK;
}
