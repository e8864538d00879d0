#include "HalvaneCtl.h"

#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXObserver.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXRecords.h"
#include "TriskVXRequest.h"
#include "TriskVXServiceLocation.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QEventLoop>
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

// Runs the event loop until done() answers true or the time is up.
bool waitUntil(const std::function<bool()> &done, int timeout)
{
    QDeadlineTimer deadline(timeout);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, int(qMax<qint64>(1, deadline.remainingTime())));
    return done();
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
           "  status                       the scheduler's state in short\n"
           "  list [LIST]                  pending, current, warnings, active, on-demand, rights (all when omitted)\n"
           "  get VARIABLE                 one published variable as it is\n"
           "  adjust TRIGGER DATE          move one firing to DATE (ISO 8601)\n"
           "  delay TRIGGER MINUTES        move one firing MINUTES later\n"
           "  cancel TRIGGER [--until DATE] skip the next firing, or every firing before DATE\n"
           "  reset [TRIGGER]              undo adjustments and cancellations (of all triggers when omitted)\n"
           "  perform EVENT                perform an event on demand now\n"
           "  trigger EVENT                perform it now if its criteria allow\n"
           "  store FILE                   add or replace the events of a plist file\n"
           "  enable | disable             start or stop all firing"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption busOption(QStringLiteral("bus"), tr("The bus: session, system or a D-Bus address."),
                                       QStringLiteral("bus"));
    const QCommandLineOption nameOption(QStringLiteral("name"), tr("The service's bus name."), QStringLiteral("name"));
    const QCommandLineOption plistOption(QStringLiteral("plist"), tr("Print values as an XML property list."));
    const QCommandLineOption untilOption(
        QStringLiteral("until"), tr("With cancel: skip every firing before this date."), QStringLiteral("date"));
    const QCommandLineOption timeoutOption(QStringLiteral("timeout"), tr("Milliseconds to wait for the service."),
                                           QStringLiteral("ms"), QStringLiteral("5000"));
    parser.addOptions({ busOption, nameOption, plistOption, untilOption, timeoutOption });
    parser.addPositionalArgument(QStringLiteral("command"), tr("What to do (see above)."));
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
    m_output = parser.isSet(plistOption) ? Output::Plist : Output::Human;
    QStringList operands = parser.positionalArguments();
    if (operands.isEmpty())
        return usage(tr("no command given"));
    const QString command = operands.takeFirst();
    if (parser.isSet(untilOption)) {
        if (command != QLatin1String("cancel"))
            return usage(tr("--until goes with cancel"));
        operands.append(QStringLiteral("--until=") + parser.value(untilOption));
    }

    // The whole command line is checked before anything is sent.
    if (const int status = execute(command, operands, true); status != kExitOK)
        return status;

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
    return execute(command, operands, false);
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
    if (m_output == Output::Plist) {
        QVariantMap values;
        for (const QString &name : names)
            values.insert(name, m_observer->valueForKeyPath(name));
        const QVariant value = names.size() == 1 ? values.first() : QVariant(values);
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

int HalvaneCtl::execute(const QString &command, const QStringList &operands, bool onlyCheck)
{
    auto expect = [&](int least, int most) {
        return operands.size() >= least && operands.size() <= most;
    };
    if (command == QLatin1String("status")) {
        if (!expect(0, 0))
            return usage(tr("status takes no operand"));
        return onlyCheck ? kExitOK : printStatus();
    }
    if (command == QLatin1String("list")) {
        if (!expect(0, 1))
            return usage(tr("list takes at most one list name"));
        QStringList names;
        for (const auto &[listName, variable] : listNames()) {
            if (operands.isEmpty() || operands.first() == listName)
                names.append(variable);
        }
        if (operands.isEmpty())
            names.prepend(kVXObserveSchedulerEnabled);
        if (names.isEmpty())
            return usage(tr("unknown list %1").arg(operands.first()));
        return onlyCheck ? kExitOK : printVariables(names);
    }
    if (command == QLatin1String("get")) {
        if (!expect(1, 1) || !TriskVXObserver::observedVariables().contains(operands.first()))
            return usage(
                tr("get takes one of: %1").arg(TriskVXObserver::observedVariables().join(QStringLiteral(", "))));
        return onlyCheck ? kExitOK : printVariables({ operands.first() });
    }
    if (command == QLatin1String("adjust")) {
        if (!expect(2, 2))
            return usage(tr("adjust takes a trigger and a date"));
        const QDateTime date = parseDate(operands.at(1));
        if (!date.isValid())
            return usage(tr("%1 is not an ISO 8601 date").arg(operands.at(1)));
        if (onlyCheck)
            return kExitOK;
        return sendRequest(
            TriskVXRequest(kVXRPCSchedulerAdjust,
                           { { kVXRPCParameterTriggerID, operands.at(0) }, { kVXRPCParameterDate, date.toUTC() } }));
    }
    if (command == QLatin1String("delay")) {
        bool isNumber = false;
        const qint64 minutes = operands.value(1).toLongLong(&isNumber);
        if (!expect(2, 2) || !isNumber)
            return usage(tr("delay takes a trigger and a number of minutes"));
        if (onlyCheck)
            return kExitOK;
        if (!waitForVariables())
            return kExitUnreachable;
        const QVariantList pending = m_observer->valueForKeyPath(kVXObserveSchedulerPending).toList();
        for (const QVariant &entry : pending) {
            const QVariantMap record = entry.toMap();
            if (record.value(kVXQueuedTriggerTriggerID).toString() != operands.at(0))
                continue;
            const QDateTime date = TriskVXRecords::triggerDateOfQueuedTrigger(record).toDateTime();
            return sendRequest(TriskVXRequest(
                kVXRPCSchedulerAdjust,
                { { kVXRPCParameterTriggerID, operands.at(0) }, { kVXRPCParameterDate, date.addSecs(minutes * 60) } }));
        }
        m_err << tr("halvanectl: no pending trigger %1").arg(operands.at(0)) << Qt::endl;
        return kExitRefused;
    }
    if (command == QLatin1String("cancel")) {
        if (!expect(1, 2))
            return usage(tr("cancel takes a trigger"));
        QVariantMap parameters { { kVXRPCParameterTriggerID, operands.at(0) } };
        if (operands.size() == 2) {
            const QString until = operands.at(1).mid(int(qstrlen("--until=")));
            const QDateTime date = parseDate(until);
            if (!operands.at(1).startsWith(QLatin1String("--until=")) || !date.isValid())
                return usage(tr("%1 is not an ISO 8601 date").arg(until));
            parameters.insert(kVXRPCParameterUntil, date.toUTC());
        }
        if (onlyCheck)
            return kExitOK;
        return sendRequest(TriskVXRequest(kVXRPCSchedulerCancel, parameters));
    }
    if (command == QLatin1String("reset")) {
        if (!expect(0, 1))
            return usage(tr("reset takes at most one trigger"));
        if (onlyCheck)
            return kExitOK;
        return sendRequest(operands.isEmpty() ? TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset)
                                              : TriskVXRequest::requestWithRequestValueForParameter(
                                                  kVXRPCSchedulerReset, operands.first(), kVXRPCParameterTriggerID));
    }
    if (command == QLatin1String("perform") || command == QLatin1String("trigger")) {
        if (!expect(1, 1))
            return usage(tr("%1 takes an event's unique id").arg(command));
        QVariantMap parameters { { kVXRPCParameterUniqueID, operands.first() } };
        if (command == QLatin1String("trigger"))
            parameters.insert(kVXRPCParameterApplyCriteria, true);
        if (onlyCheck)
            return kExitOK;
        return sendRequest(TriskVXRequest(kVXRPCOnDemandPerform, parameters));
    }
    if (command == QLatin1String("store")) {
        if (!expect(1, 1))
            return usage(tr("store takes a plist file"));
        if (onlyCheck)
            return kExitOK;
        QString error;
        const QVariant contents
            = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(operands.first(), &error);
        if (!contents.isValid()) {
            m_err << tr("halvanectl: %1").arg(error) << Qt::endl;
            return kExitRefused;
        }
        const QVariantList events
            = contents.typeId() == QMetaType::QVariantList ? contents.toList() : QVariantList { contents };
        return sendRequest(TriskVXRequest(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events } }));
    }
    if (command == QLatin1String("enable") || command == QLatin1String("disable")) {
        if (!expect(0, 0))
            return usage(tr("%1 takes no operand").arg(command));
        if (onlyCheck)
            return kExitOK;
        return sendRequest(TriskVXRequest::requestWithRequestValueForParameter(
            kVXRPCSchedulerSetEnabled, command == QLatin1String("enable"), kVXRPCParameterEnabled));
    }
    return usage(tr("unknown command %1").arg(command));
}
