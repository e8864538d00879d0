#include "NotADate.h"
#include "TriskVXDBusPropertyList.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDateTime>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

namespace {
const QString kEchoPath = QStringLiteral("/echo");
const QString kEchoInterface = QStringLiteral("org.halvane.Test.Echo");

// Answers every call with its own arguments, from a connection of its own, so that values really
// cross the bus daemon both ways.
class Echo : public QDBusVirtualObject
{
public:
    QString introspect(const QString &) const override { return QString(); }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        return connection.send(message.createReply(message.arguments()));
    }
};

} // namespace

class tst_TriskVXDBusPropertyList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void roundTrip_data();
    void roundTrip();
    void recordListRoundTrip();
    void nilValuesDoNotTravel();
    void malformedValues_data();
    void malformedValues();
    void otherIntegerWidthsBecome64Bit();

private:
    QVariant echo(const QVariant &wireValue, QString *error);

    Echo m_echo;
    QString m_echoName;
};

void tst_TriskVXDBusPropertyList::initTestCase()
{
    TriskVXDBusPropertyList::registerTypes();
    qDBusRegisterMetaType<NotADate>();
    QDBusConnection echoBus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("echo"));
    QVERIFY(echoBus.isConnected());
    QVERIFY(echoBus.registerVirtualObject(kEchoPath, &m_echo));
    m_echoName = echoBus.baseService();
}

void tst_TriskVXDBusPropertyList::cleanupTestCase()
{
    QDBusConnection::disconnectFromBus(QStringLiteral("echo"));
}

QVariant tst_TriskVXDBusPropertyList::echo(const QVariant &wireValue, QString *error)
{
    QDBusMessage call = QDBusMessage::createMethodCall(m_echoName, kEchoPath, kEchoInterface, QStringLiteral("Echo"));
    call << QVariant::fromValue(QDBusVariant(wireValue));
    // Asynchronous: the echo answers from this thread's event loop.
    QDBusPendingCallWatcher watcher(QDBusConnection::sessionBus().asyncCall(call));
    QSignalSpy finished(&watcher, &QDBusPendingCallWatcher::finished);
    if (!watcher.isFinished() && !finished.wait(10000)) {
        *error = QStringLiteral("no answer");
        return QVariant();
    }
    const QDBusMessage reply = watcher.reply();
    if (reply.type() != QDBusMessage::ReplyMessage) {
        *error = reply.errorMessage();
        return QVariant();
    }
    return TriskVXDBusPropertyList::decode(reply.arguments().value(0), error);
}

void tst_TriskVXDBusPropertyList::roundTrip_data()
{
    QTest::addColumn<QVariant>("value");
    const QDateTime before1970(QDate(1969, 7, 20), QTime(20, 17, 40, 125), QTimeZone::utc());
    const QDateTime after2038(QDate(2106, 2, 7), QTime(6, 28, 16), QTimeZone::utc());
    QTest::newRow("true") << QVariant(true);
    QTest::newRow("false") << QVariant(false);
    QTest::newRow("integer") << QVariant(qint64(-42));
    QTest::newRow("integer above 2^53") << QVariant(qint64(9007199254740993LL));
    QTest::newRow("largest signed") << QVariant(std::numeric_limits<qint64>::max());
    QTest::newRow("unsigned above the signed range") << QVariant(quint64(18446744073709551615ULL));
    QTest::newRow("whole real stays real") << QVariant(1.0);
    QTest::newRow("real") << QVariant(-0.125);
    QTest::newRow("string") << QVariant(QStringLiteral("Grüße “x” 😀"));
    QTest::newRow("empty string") << QVariant(QStringLiteral(""));
    QTest::newRow("data") << QVariant(QByteArray("\x00\xff\x10", 3));
    QTest::newRow("date before 1970") << QVariant(before1970);
    QTest::newRow("date after 2038") << QVariant(after2038);
    QTest::newRow("empty array") << QVariant(QVariantList());
    QTest::newRow("empty dictionary") << QVariant(QVariantMap());
    QTest::newRow("nested") << QVariant(QVariantMap {
        { QStringLiteral("list"),
          QVariantList { true, qint64(1), 1.5, QStringLiteral("s"), before1970, QVariantList(),
                         QVariantMap { { QStringLiteral("deep"), QVariantList { after2038 } } } } },
        { QStringLiteral("empty"), QVariantMap() },
        { QStringLiteral("data"), QByteArray("x") },
    });
}

void tst_TriskVXDBusPropertyList::roundTrip()
{
    QFETCH(QVariant, value);
    QString error;
    const QVariant back = echo(TriskVXDBusPropertyList::encode(value), &error);
    QVERIFY2(back.isValid(), qPrintable(error));
    QCOMPARE(back.typeId(), value.typeId());
    QCOMPARE(back, value);
}

void tst_TriskVXDBusPropertyList::recordListRoundTrip()
{
    const QVariantList records { QVariantMap { { QStringLiteral("Date"),
                                                 QDateTime(QDate(2040, 1, 1), QTime(0, 0), QTimeZone::utc()) } },
                                 QVariantMap() };
    const QList<QVariantMap> wire = TriskVXDBusPropertyList::encodeRecordList(records);
    QString error;
    const QVariant back = echo(QVariant::fromValue(wire), &error);
    QVERIFY2(back.isValid(), qPrintable(error));
    QCOMPARE(back, QVariant(records));
}

void tst_TriskVXDBusPropertyList::nilValuesDoNotTravel()
{
    QVERIFY(!TriskVXDBusPropertyList::encode(QVariant()).isValid());
    const QVariantMap encoded
        = TriskVXDBusPropertyList::encodeMap({ { QStringLiteral("a"), QVariant() }, { QStringLiteral("b"), 1 } });
    QCOMPARE(encoded.keys(), QStringList { QStringLiteral("b") });
}

void tst_TriskVXDBusPropertyList::malformedValues_data()
{
    QTest::addColumn<QVariant>("wireValue");
    QTest::addColumn<QString>("reason");
    QTest::newRow("struct that is not a date")
        << QVariant::fromValue(NotADate { QStringLiteral("a"), 1 }) << QStringLiteral("(si)");
    QTest::newRow("dictionary with integer keys")
        << QVariant::fromValue(QMap<int, QString> { { 1, QStringLiteral("x") } }) << QStringLiteral("key");
    QTest::newRow("not a date inside a dictionary") << QVariant(
        QVariantMap { { QStringLiteral("ok"), 1 }, { QStringLiteral("bad"), QVariant::fromValue(NotADate()) } })
                                                    << QStringLiteral("(si)");
}

void tst_TriskVXDBusPropertyList::malformedValues()
{
    QFETCH(QVariant, wireValue);
    QFETCH(QString, reason);
    qDBusRegisterMetaType<QMap<int, QString>>();
    QString error;
    QVERIFY(!echo(wireValue, &error).isValid());
    QVERIFY2(error.contains(reason), qPrintable(error));
}

void tst_TriskVXDBusPropertyList::otherIntegerWidthsBecome64Bit()
{
    for (const QVariant &wire : { QVariant(int(-5)), QVariant(uint(5)), QVariant::fromValue(short(-5)),
                                  QVariant::fromValue(uchar(5)), QVariant::fromValue(ushort(5)) }) {
        QString error;
        const QVariant back = echo(wire, &error);
        QCOMPARE(back.typeId(), int(QMetaType::LongLong));
        QCOMPARE(back.toLongLong(), wire.toLongLong());
    }
}

QTEST_GUILESS_MAIN(tst_TriskVXDBusPropertyList)
#include "tst_TriskVXDBusPropertyList.moc"
