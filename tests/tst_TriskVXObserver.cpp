// What the client reads from the service: the published variables and their change notices, property-list
// values as they cross the bus, and the interface the client and the running service agree on.
#include "FakeScheduler.h"
#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "NotADate.h"
#include "TriskVXAdjustDialog.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXObserver.h"
#include "TriskVXRecords.h"
#include "TriskVXWorkspace.h"

#include <QDBusInterface>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QFile>
#include <QLabel>
#include <QSet>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>
#include <QXmlStreamReader>

namespace {
const int kWait = 10000;
const QString kEchoPath = QStringLiteral("/echo");

// Answers every call with its own arguments, from a connection of its own, so that values really cross
// the bus daemon both ways.
class Echo : public QDBusVirtualObject
{
public:
    QString introspect(const QString &) const override { return QString(); }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        return connection.send(message.createReply(message.arguments()));
    }
};

QStringList namesOf(const QSignalSpy &spy)
{
    QStringList names;
    for (const QList<QVariant> &arguments : spy)
        names.append(arguments.first().toString());
    names.sort();
    return names;
}

// The methods and properties of the scheduler interface in an introspection document.
QSet<QString> membersOf(const QString &xml)
{
    QSet<QString> members;
    QXmlStreamReader reader(xml);
    bool inInterface = false;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement() && reader.name() == QLatin1String("interface"))
            inInterface = reader.attributes().value(QLatin1String("name")) == kVXDBusInterface;
        else if (inInterface && reader.isStartElement()
                 && (reader.name() == QLatin1String("method") || reader.name() == QLatin1String("property")))
            members.insert(reader.name() + QLatin1Char(' ') + reader.attributes().value(QLatin1String("name")));
        else if (reader.isEndElement() && reader.name() == QLatin1String("interface"))
            inInterface = false;
    }
    return members;
}
} // namespace

class tst_TriskVXObserver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void followsTheService();
    void malformedPublishedValuesAreNotDelivered();
    void wireValues_data();
    void wireValues();
    void interfaceMatchesTheConstants();

private:
    Echo m_echo;
    QString m_echoName;
};

void tst_TriskVXObserver::initTestCase()
{
    TriskVXDBusPropertyList::registerTypes();
    qDBusRegisterMetaType<NotADate>();
    qDBusRegisterMetaType<QMap<int, QString>>();
    QDBusConnection echoBus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("echo"));
    QVERIFY(echoBus.registerVirtualObject(kEchoPath, &m_echo));
    m_echoName = echoBus.baseService();
}

void tst_TriskVXObserver::followsTheService()
{
    HalvanedProcess service;
    QVERIFY(service.start({ QStringLiteral("--demo") }));
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    connection->setAutoReconnect(true);
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    // An observer gone while its read is on the way: the answer must find nothing to write to.
    service.pause();
    delete new TriskVXObserver(connection.get());
    service.resume();

    TriskVXObserver observer(connection.get());
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
    for (const QString &name : TriskVXObserver::observedVariables())
        QVERIFY2(observer.valueForKeyPath(name).isValid(), qPrintable(name));
    // The quick schedule panel reads the enabled state under the request's name.
    QCOMPARE(observer.valueForKeyPath(kVXRPCSchedulerEnabled), QVariant(true));
    QCOMPARE(observer.schedulerPending().toList().size(), 3);
    const QString firstID = kVXObserveSchedulerPending + QStringLiteral(".0.") + kVXQueuedTriggerTriggerID;
    const QString firstDate = kVXObserveSchedulerPending + QStringLiteral(".0.") + kVXQueuedTriggerTrigger
        + QLatin1Char('.') + kVXTriggerDate;
    QCOMPARE(observer.valueForKeyPath(firstDate).typeId(), int(QMetaType::QDateTime));

    // The adjust dialog finds the trigger by itself and moves it out of the current ones: one notice for each
    // variable that changed.
    QSignalSpy changes(&observer, &TriskVXObserver::didChangeValueForKeyPath);
    const QString triggerID = observer.valueForKeyPath(firstID).toString();
    TriskVXWorkspace workspace;
    workspace.adjustQueuedTriggerWithConnection(triggerID, connection.get());
    QPointer<TriskVXAdjustDialog> dialog = workspace.adjustDialogForTrigger(triggerID);
    QVERIFY(dialog && dialog->isVisible());
    QTRY_COMPARE_WITH_TIMEOUT(dialog->findChild<QLabel *>(QStringLiteral("label"))->text(),
                              QStringLiteral("Choose when “Evening shut down (demo)” fires:"), kWait);
    QCOMPARE(dialog->date(), observer.valueForKeyPath(firstDate).toDateTime());
    const QDateTime later = QDateTime::currentDateTimeUtc().addDays(4);
    dialog->setDate(later);
    dialog->accept();
    QTRY_COMPARE_WITH_TIMEOUT(namesOf(changes),
                              (QStringList { kVXObserveNotificationsCurrent, kVXObserveSchedulerPending }), kWait);
    const QVariantList pending = observer.schedulerPending().toList();
    QVERIFY(std::any_of(pending.cbegin(), pending.cend(), [&](const QVariant &record) {
        return record.toMap().value(kVXQueuedTriggerTriggerID) == triggerID
            && TriskVXRecords::triggerDateOfQueuedTrigger(record.toMap()) == later;
    }));

    // The last values stay readable while the service is away; it comes back with an empty store.
    QVERIFY(service.stop());
    QTRY_VERIFY_WITH_TIMEOUT(!connection->isValid(), kWait);
    QCOMPARE(observer.schedulerPending().toList().size(), 3);
    changes.clear();
    QVERIFY(QFile::remove(service.stateFile()));
    QVERIFY(service.start());
    QVERIFY(reloaded.wait(kWait));
    QCOMPARE(namesOf(changes), (QStringList { kVXObserveOnDemandAvailable, kVXObserveSchedulerPending }));
    QCOMPARE(observer.schedulerPending(), QVariant(QVariantList()));
}

void tst_TriskVXObserver::malformedPublishedValuesAreNotDelivered()
{
    FakeScheduler fake;
    const QVariantMap right { { kVXAuthorisationRightSignature, kVXRPCSchedulerAdjust },
                              { kVXAuthorisationRightRule, kVXAuthorisationRightRule_Universal } };
    fake.published = {
        { kVXObserveSchedulerEnabled, QStringLiteral("yes") },
        { kVXObserveSchedulerPending, QVariant(QStringList { QStringLiteral("a") }) },
        { kVXObserveNotificationsWarning, QVariant::fromValue(NotADate()) },
        { kVXObserveAuthorisationRights, QVariant::fromValue(QList<QVariantMap> { right }) },
        { QStringLiteral("SomethingElse"), qint64(3) },
    };
    QVERIFY(fake.start());
    LogCapture log;
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(fake.location()));
    TriskVXObserver observer(connection.get());
    QSignalSpy changes(&observer, &TriskVXObserver::didChangeValueForKeyPath);
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
    QCOMPARE(namesOf(changes), QStringList { kVXObserveAuthorisationRights });
    QCOMPARE(log.messages("trisk.halvane").filter(QStringLiteral("ignoring the published")).size(), 3);
    for (const QString &name : { kVXObserveSchedulerEnabled, kVXObserveSchedulerPending, kVXObserveNotificationsWarning,
                                 QStringLiteral("SomethingElse") })
        QVERIFY2(!observer.valueForKeyPath(name).isValid(), qPrintable(name));
    QCOMPARE(observer.valueForKeyPath(QStringLiteral("AuthorisationRights.0.Signature")),
             QVariant(kVXRPCSchedulerAdjust));
    for (const QString &path :
         { QStringLiteral("AuthorisationRights.1.Signature"), QStringLiteral("AuthorisationRights.x"),
           QStringLiteral("AuthorisationRights.0.Signature.x") })
        QVERIFY2(!observer.valueForKeyPath(path).isValid(), qPrintable(path));

    // A malformed change keeps the last good value; a good one, changed or re-read when invalidated, arrives.
    changes.clear();
    fake.publish({ { kVXObserveAuthorisationRights, qint64(12) }, { kVXObserveSchedulerEnabled, false } });
    fake.published.insert(kVXObserveSchedulerPending, QVariant(QVariantList()));
    fake.publish({}, { kVXObserveSchedulerPending });
    QTRY_COMPARE_WITH_TIMEOUT(namesOf(changes),
                              (QStringList { kVXObserveSchedulerEnabled, kVXObserveSchedulerPending }), kWait);
    QCOMPARE(observer.schedulerEnabled(), QVariant(false));
    QCOMPARE(observer.authorisationRights(), QVariant(QVariantList { right }));
}

void tst_TriskVXObserver::wireValues_data()
{
    QTest::addColumn<QVariant>("wire");
    QTest::addColumn<QVariant>("expected");
    QTest::addColumn<QString>("error");
    auto roundTrip = [](const char *name, const QVariant &value) {
        QTest::newRow(name) << TriskVXDBusPropertyList::encode(value) << value << QString();
    };
    const QDateTime before1970(QDate(1969, 7, 20), QTime(20, 17, 40, 125), QTimeZone::utc());
    const QDateTime after2038(QDate(2106, 2, 7), QTime(6, 28, 16), QTimeZone::utc());
    roundTrip("every scalar type",
              QVariantList { true, false, qint64(9007199254740993LL), quint64(18446744073709551615ULL), 1.0, -0.125,
                             QStringLiteral("Grüße “x” 😀"), QStringLiteral(""), QByteArray("\x00\xff\x10", 3),
                             before1970, after2038 });
    roundTrip("nested and empty containers",
              QVariantMap { { QStringLiteral("list"),
                              QVariantList { QVariantList(),
                                             QVariantMap { { QStringLiteral("deep"), QVariantList { after2038 } } } } },
                            { QStringLiteral("empty"), QVariantMap() } });
    const QVariantList records { QVariantMap { { QStringLiteral("Date"), after2038 } }, QVariantMap() };
    QTest::newRow("record list") << QVariant::fromValue(TriskVXDBusPropertyList::encodeRecordList(records))
                                 << QVariant(records) << QString();
    // nil has no wire form: a dictionary leaves the key out.
    QTest::newRow("nil in a dictionary") << QVariant(
        TriskVXDBusPropertyList::encodeMap({ { QStringLiteral("a"), QVariant() }, { QStringLiteral("b"), 1 } }))
                                         << QVariant(QVariantMap { { QStringLiteral("b"), qint64(1) } }) << QString();
    QTest::newRow("narrower integers become 64-bit")
        << QVariant(QVariantList { int(-5), uint(5), QVariant::fromValue(short(-5)), QVariant::fromValue(uchar(5)) })
        << QVariant(QVariantList { qint64(-5), qint64(5), qint64(-5), qint64(5) }) << QString();
    QTest::newRow("struct that is not a date")
        << QVariant::fromValue(NotADate { QStringLiteral("a"), 1 }) << QVariant() << QStringLiteral("(si)");
    QTest::newRow("dictionary with integer keys")
        << QVariant::fromValue(QMap<int, QString> { { 1, QStringLiteral("x") } }) << QVariant()
        << QStringLiteral("key");
    QTest::newRow("not a date deep inside") << QVariant(QVariantMap {
        { QStringLiteral("ok"), 1 }, { QStringLiteral("bad"), QVariantList { QVariant::fromValue(NotADate()) } } })
                                            << QVariant() << QStringLiteral("(si)");
}

void tst_TriskVXObserver::wireValues()
{
    QFETCH(QVariant, wire);
    QFETCH(QVariant, expected);
    QFETCH(QString, error);
    QDBusMessage call = QDBusMessage::createMethodCall(m_echoName, kEchoPath, QStringLiteral("org.halvane.Test.Echo"),
                                                       QStringLiteral("Echo"));
    call << QVariant::fromValue(QDBusVariant(wire));
    QDBusPendingCallWatcher watcher(QDBusConnection::sessionBus().asyncCall(call));
    QSignalSpy finished(&watcher, &QDBusPendingCallWatcher::finished);
    QVERIFY(finished.wait(kWait));
    QVERIFY2(!watcher.isError(), qPrintable(watcher.error().message()));
    QString reason;
    const QVariant back = TriskVXDBusPropertyList::decode(watcher.reply().arguments().value(0), &reason);
    QCOMPARE(back, expected);
    QCOMPARE(back.typeId(), expected.typeId());
    QVERIFY2(reason.contains(error), qPrintable(reason));
}

// The interface file the client is generated from, the running service and the constants name the same
// members; the rights differ per caller and so are a method, not a property.
void tst_TriskVXObserver::interfaceMatchesTheConstants()
{
    QSet<QString> expected { QStringLiteral("method ") + kVXDBusMethodAuthenticate };
    for (const QString &request : { kVXRPCSchedulerAdjust, kVXRPCSchedulerCancel, kVXRPCSchedulerReset,
                                    kVXRPCOnDemandPerform, kVXRPCEventStoreStore, kVXRPCSchedulerSetEnabled })
        expected.insert(QStringLiteral("method ") + request);
    for (const QString &variable : TriskVXObserver::observedVariables())
        expected.insert(
            (variable == kVXObserveAuthorisationRights ? QStringLiteral("method ") : QStringLiteral("property "))
            + variable);
    QFile file(QStringLiteral(TRISK_SOURCE_DIR "/frameworks/halvane/org.halvane.Scheduler1.xml"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(membersOf(QString::fromUtf8(file.readAll())), expected);

    HalvanedProcess service;
    QVERIFY(service.start());
    QDBusInterface introspectable(service.serviceName(), kVXDBusObjectPath,
                                  QStringLiteral("org.freedesktop.DBus.Introspectable"), QDBusConnection::sessionBus());
    const QDBusReply<QString> xml = introspectable.call(QStringLiteral("Introspect"));
    QVERIFY2(xml.isValid(), qPrintable(xml.error().message()));
    const QSet<QString> running = membersOf(xml.value());
    QVERIFY(running.contains(expected));
}

QTEST_MAIN(tst_TriskVXObserver)
#include "tst_TriskVXObserver.moc"
