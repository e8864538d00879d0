// How long halvaned takes to refuse hostile calls (a million parameter keys, a 60 MB trigger id), how
// long it stays deaf to others meanwhile, and how long it takes to start on a state at its limit of
// 10,000 events. Run under dbus-run-session (bench/run).
#include "HalvanedProcess.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "WaitFor.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>

#include <unistd.h>

namespace {
// The service's processor time so far, all threads, in milliseconds: what its refusal cost it, apart from
// what the client and the bus spend on a large message.
qint64 cpuMSecsOf(uint pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    const qint64 ticks = fields.value(11).toLongLong() + fields.value(12).toLongLong();
    return ticks * 1000 / ::sysconf(_SC_CLK_TCK);
}

QDBusMessage callOf(const HalvanedProcess &service, const QString &method, const QVariantMap &parameters)
{
    QDBusMessage call
        = QDBusMessage::createMethodCall(service.serviceName(), kVXDBusObjectPath, kVXDBusInterface, method);
    call << QVariant::fromValue(TriskVXDBusPropertyList::encodeMap(parameters));
    return call;
}

// The time to the hostile call's answer, and to the answer of a property read sent right behind it: how
// long any other client waits.
void measure(QTextStream &out, const HalvanedProcess &service, const QString &what, const QDBusMessage &call)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QDBusMessage ping = QDBusMessage::createMethodCall(
        service.serviceName(), kVXDBusObjectPath, QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping"));
    const uint pid = bus.interface()->servicePid(service.serviceName()).value();
    const qint64 cpuBefore = cpuMSecsOf(pid);
    qint64 answered = -1;
    qint64 pinged = -1;
    QString reply;
    QElapsedTimer timer;
    timer.start();
    QDBusPendingCallWatcher hostile(bus.asyncCall(call, 120000));
    // Encoding the call is the client's work: counted apart.
    const qint64 sent = timer.elapsed();
    QObject::connect(&hostile, &QDBusPendingCallWatcher::finished, [&] {
        answered = timer.elapsed();
        const QDBusMessage message = hostile.reply();
        reply = message.type() == QDBusMessage::ReplyMessage
            ? QStringLiteral("status %1").arg(message.arguments().value(1).toLongLong())
            : message.errorName();
    });
    QDBusPendingCallWatcher other(bus.asyncCall(ping, 120000));
    QObject::connect(&other, &QDBusPendingCallWatcher::finished, [&] {
        pinged = timer.elapsed();
    });
    waitFor(
        [&] {
            return answered >= 0 && pinged >= 0;
        },
        120000);
    out << what << ": encoded by the client in " << sent << " ms, refused " << answered - sent << " ms later ("
        << reply << "); a property read sent behind it answered " << pinged - sent
        << " ms after the send; halvaned's processor time " << cpuMSecsOf(pid) - cpuBefore << " ms" << Qt::endl;
}
} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("trisk.*.info=false\nhalvane.*.info=false"));
    QTextStream out(stdout);
    HalvanedProcess service;
    if (!service.start()) {
        out << "cannot start halvaned" << Qt::endl;
        return 1;
    }
    QElapsedTimer timer;
    timer.start();
    QVariantMap keys;
    for (int i = 0; i < 1000000; ++i)
        keys.insert(QStringLiteral("Key%1").arg(i), true);
    measure(out, service, QStringLiteral("1,000,000 keys"), callOf(service, kVXRPCSchedulerReset, keys));
    measure(out, service, QStringLiteral("a 60 MB trigger id"),
            callOf(service, kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QString(60000000, u'x') } }));

    for (int batch = 0; batch < 5; ++batch) {
        QVariantList events;
        for (int i = 0; i < 2000; ++i)
            events.append(QVariantMap { { kVXEventName, QStringLiteral("Event %1-%2").arg(batch).arg(i) },
                                        { kVXEventUniqueID, QStringLiteral("e%1-%2").arg(batch).arg(i) },
                                        { kVXEventNotes, QString(200, u'n') } });
        const QDBusMessage reply = QDBusConnection::sessionBus().call(
            callOf(service, kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events } }), QDBus::Block, 120000);
        if (!reply.arguments().value(0).toBool()) {
            out << "cannot store 10,000 events: " << reply.arguments().value(2).toString() << Qt::endl;
            return 1;
        }
    }
    service.stop();
    timer.start();
    if (!service.start()) {
        out << "cannot restart halvaned" << Qt::endl;
        return 1;
    }
    out << "start on a state of 10,000 events: " << timer.elapsed() << " ms" << Qt::endl;
    return 0;
}
