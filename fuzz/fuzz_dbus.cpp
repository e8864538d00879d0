// The D-Bus property-list decoder on values a peer could send. The bytes choose a tree of values of
// every type QtDBus marshals here (property-list types and others: structs that are no date, maps with
// integer keys, arrays of structs, paths, signatures), which is decoded twice: as it is, and after it
// crossed a peer-to-peer connection in this process, where it arrives as QDBusArgument the way the
// service and the observer receive it. Where both readings accept the value they must agree; then the
// record rules check it as one of the published variables.
#include "FuzzApplication.h"
#include "NotADate.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXObserver.h"
#include "TriskVXRecords.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusServer>
#include <QDBusSignature>
#include <QDBusVariant>
#include <QDBusVirtualObject>

#include <fuzzer/FuzzedDataProvider.h>

namespace {
// Well inside D-Bus's own limit of 32 nested containers per signature.
const int kMaxDepth = 10;
const QString kPath = QStringLiteral("/fuzz");

QString textFrom(FuzzedDataProvider &bytes)
{
    // D-Bus strings hold no U+0000; QtDBus does not check that before libdbus does.
    QString text = QString::fromUtf8(bytes.ConsumeRandomLengthString(24));
    text.remove(QChar(u'\0'));
    return text;
}

QVariant valueFrom(FuzzedDataProvider &bytes, int depth)
{
    const int kinds = depth >= kMaxDepth ? 14 : 22;
    switch (bytes.ConsumeIntegralInRange(0, kinds - 1)) {
    case 0:
        return QVariant(bytes.ConsumeBool());
    case 1:
        return QVariant::fromValue(bytes.ConsumeIntegral<uchar>());
    case 2:
        return QVariant::fromValue(bytes.ConsumeIntegral<short>());
    case 3:
        return QVariant::fromValue(bytes.ConsumeIntegral<ushort>());
    case 4:
        return QVariant::fromValue(bytes.ConsumeIntegral<int>());
    case 5:
        return QVariant::fromValue(bytes.ConsumeIntegral<uint>());
    case 6:
        return QVariant::fromValue(bytes.ConsumeIntegral<qlonglong>());
    case 7:
        return QVariant::fromValue(bytes.ConsumeIntegral<qulonglong>());
    case 8:
        return QVariant(bytes.ConsumeFloatingPoint<double>());
    case 9:
        return QVariant(textFrom(bytes));
    case 10:
        return QVariant(QByteArray::fromStdString(bytes.ConsumeRandomLengthString(24)));
    case 11:
        return QVariant::fromValue(TriskVXDBusDate { bytes.ConsumeIntegral<qint64>() });
    case 12:
        return QVariant::fromValue(QDBusObjectPath(bytes.ConsumeBool() ? QStringLiteral("/") : QStringLiteral("/a/b")));
    case 13:
        return QVariant::fromValue(
            QDBusSignature(bytes.ConsumeBool() ? QStringLiteral("a{sv}") : QStringLiteral("(x)")));
    case 14: {
        QVariantList list;
        for (int count = bytes.ConsumeIntegralInRange(0, 4); count > 0; --count)
            list.append(valueFrom(bytes, depth + 1));
        return QVariant(list);
    }
    case 15: {
        QVariantMap map;
        for (int count = bytes.ConsumeIntegralInRange(0, 4); count > 0; --count)
            map.insert(textFrom(bytes), valueFrom(bytes, depth + 1));
        return QVariant(map);
    }
    case 16: {
        QList<QVariantMap> records;
        for (int count = bytes.ConsumeIntegralInRange(0, 3); count > 0; --count)
            records.append(valueFrom(bytes, depth + 1).toMap());
        return QVariant::fromValue(records);
    }
    case 17:
        return QVariant::fromValue(QDBusVariant(valueFrom(bytes, depth + 1)));
    case 18:
        return QVariant(QStringList { textFrom(bytes), textFrom(bytes) });
    case 19:
        return QVariant::fromValue(NotADate { textFrom(bytes), bytes.ConsumeIntegral<int>() });
    case 20:
        return QVariant::fromValue(QMap<int, QString> { { bytes.ConsumeIntegral<int>(), textFrom(bytes) } });
    default:
        return QVariant::fromValue(QList<TriskVXDBusDate> { { bytes.ConsumeIntegral<qint64>() } });
    }
}

// The far end of the peer connection: keeps the last message that reached /fuzz.
class Receiver : public QDBusVirtualObject
{
public:
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override
    {
        m_message = message;
        m_received = true;
        return true;
    }
    QString introspect(const QString &) const override { return QString(); }

    QDBusMessage m_message;
    bool m_received = false;
};

Receiver *g_receiver = nullptr;
QDBusConnection *g_client = nullptr;

void connectPeers()
{
    auto *server = new QDBusServer(QStringLiteral("unix:tmpdir=/tmp"));
    g_receiver = new Receiver;
    bool accepted = false;
    QObject::connect(server, &QDBusServer::newConnection, [&accepted](const QDBusConnection &connection) {
        QDBusConnection(connection).registerVirtualObject(kPath, g_receiver);
        accepted = true;
    });
    g_client = new QDBusConnection(QDBusConnection::connectToPeer(server->address(), QStringLiteral("fuzz")));
    while (!accepted && g_client->isConnected())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (!accepted)
        qFatal("cannot connect the fuzzer's peers: %s", qPrintable(g_client->lastError().message()));
}

// The value's arguments as the far end received them; empty when QtDBus could not marshal them.
QVariantList acrossTheBus(const QVariant &value)
{
    QDBusMessage call
        = QDBusMessage::createMethodCall(QString(), kPath, QStringLiteral("org.halvane.Fuzz"), QStringLiteral("Take"));
    call << QVariant::fromValue(QDBusVariant(value));
    if (value.typeId() == QMetaType::QVariantMap)
        call << value;
    g_receiver->m_received = false;
    if (!g_client->send(call))
        return {};
    while (!g_receiver->m_received && g_client->isConnected())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (!g_receiver->m_received)
        qFatal("the peer connection closed: %s", qPrintable(g_client->lastError().message()));
    return g_receiver->m_message.arguments();
}

void checkRecords(const QVariant &decoded, FuzzedDataProvider &bytes)
{
    const QStringList names = TriskVXObserver::observedVariables();
    const QString name = names.at(bytes.ConsumeIntegralInRange<qsizetype>(0, names.size() - 1));
    QString error;
    if (!TriskVXRecords::isWellFormedVariable(name, decoded, &error) && error.isEmpty())
        qFatal("a malformed %s has no message", qPrintable(name));
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    triskFuzzSetUp(argc, argv);
    TriskVXDBusPropertyList::registerTypes();
    qDBusRegisterMetaType<NotADate>();
    qDBusRegisterMetaType<QMap<int, QString>>();
    qDBusRegisterMetaType<QList<TriskVXDBusDate>>();
    connectPeers();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider bytes(data, size);
    const QVariant value = valueFrom(bytes, 0);
    QString error;
    const QVariant direct = TriskVXDBusPropertyList::decode(value, &error);
    if (!direct.isValid() && error.isEmpty())
        qFatal("a refused value has no message");
    const QVariantList arguments = acrossTheBus(value);
    for (const QVariant &argument : arguments) {
        error.clear();
        const QVariant received = TriskVXDBusPropertyList::decode(argument, &error);
        if (!received.isValid()) {
            if (error.isEmpty())
                qFatal("a refused value from the bus has no message");
            continue;
        }
        // What QtDBus delivers as is and what it delivers through QDBusArgument read the same.
        if (direct.isValid() && received != direct)
            qFatal("a value reads differently after crossing the bus");
        checkRecords(received, bytes);
    }
    if (direct.isValid())
        checkRecords(direct, bytes);
    return 0;
}
