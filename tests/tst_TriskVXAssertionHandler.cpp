#include "LogCapture.h"
#include "TriskVXAssertionHandler.h"
#include "TriskVXInternalInconsistencyException.h"
#include "TriskVXNil.h"

#include <QObject>
#include <QTest>

namespace {
// Stands in for a class with checks, as the spec's classes have them.
class Checked : public QObject
{
public:
    void requireNamed(const QString &aName) { TRISK_PARAMETER_ASSERT(aName != nil); }
    void requirePositive(int value)
    {
        TRISK_ASSERT(value > 0, QStringLiteral("%1 must be positive").arg(QStringLiteral("Checked")));
    }
    static void classRequire(const QVariant &aValue) { TRISK_CPARAMETER_ASSERT(aValue != nil); }
};
} // namespace

class tst_TriskVXAssertionHandler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parameterAssertion_data();
    void parameterAssertion();
    void assertionLogsAndThrows();
    void staticAssertion();
    void nilComparisons();
    void sourceNameOfFile_data();
    void sourceNameOfFile();
};

void tst_TriskVXAssertionHandler::parameterAssertion_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("raises");
    QTest::newRow("null string is nil") << QString() << true;
    QTest::newRow("empty string is not nil") << QStringLiteral("") << false;
    QTest::newRow("text") << QStringLiteral("x") << false;
}

void tst_TriskVXAssertionHandler::parameterAssertion()
{
    QFETCH(QString, name);
    QFETCH(bool, raises);
    Checked checked;
    try {
        checked.requireNamed(name);
        QVERIFY(!raises);
    } catch (const TriskVXInternalInconsistencyException &exception) {
        QVERIFY(raises);
        QCOMPARE(exception.description(), QStringLiteral("Invalid parameter not satisfying: aName != nil"));
        QCOMPARE(exception.file(), QStringLiteral("tst_TriskVXAssertionHandler"));
        QCOMPARE(exception.method(), QStringLiteral("requireNamed"));
        QVERIFY(exception.line() > 0);
    }
}

void tst_TriskVXAssertionHandler::assertionLogsAndThrows()
{
    LogCapture log;
    Checked checked;
    checked.requirePositive(1);
    QVERIFY(log.messages("trisk.platform").isEmpty());
    int line = 0;
    try {
        checked.requirePositive(0);
        QFAIL("no exception");
    } catch (const TriskVXInternalInconsistencyException &exception) {
        QCOMPARE(exception.description(), QStringLiteral("Checked must be positive"));
        QCOMPARE(QString::fromUtf8(exception.what()), exception.description());
        line = exception.line();
    }
    const QStringList messages = log.messages("trisk.platform");
    QCOMPARE(messages.size(), 2);
    QCOMPARE(messages.at(0),
             QStringLiteral("*** Assertion failure in requirePositive, tst_TriskVXAssertionHandler:%1").arg(line));
    QCOMPARE(messages.at(1), QStringLiteral("Checked must be positive"));
}

void tst_TriskVXAssertionHandler::staticAssertion()
{
    Checked::classRequire(QVariant(0));
    QVERIFY_THROWS_EXCEPTION(TriskVXInternalInconsistencyException, Checked::classRequire(QVariant()));
}

void tst_TriskVXAssertionHandler::nilComparisons()
{
    const QObject *none = nullptr;
    QObject object;
    QVERIFY(none == nil);
    QVERIFY(&object != nil);
    QVERIFY(QDateTime() == nil);
    QVERIFY(QDateTime::currentDateTimeUtc() != nil);
    QVERIFY(QVariant() == nil);
    QVERIFY(QVariant(false) != nil);
    QVERIFY(std::shared_ptr<int>() == nil);
    QVERIFY(std::make_shared<int>(1) != nil);
}

void tst_TriskVXAssertionHandler::sourceNameOfFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");
    QTest::newRow("class") << QStringLiteral("/src/notifier/core/TriskVXRequestsController.cpp")
                           << QStringLiteral("TriskVXRequestsController");
    QTest::newRow("category") << QStringLiteral("core/TriskVXRequestsControllerAdditions.cpp")
                              << QStringLiteral("TriskVXRequestsControllerAdditions");
    QTest::newRow("header") << QStringLiteral("TriskVXNotifyObject.h") << QStringLiteral("TriskVXNotifyObject");
}

void tst_TriskVXAssertionHandler::sourceNameOfFile()
{
    QFETCH(QString, path);
    QFETCH(QString, name);
    QCOMPARE(TriskVXAssertionHandler::sourceNameOfFile(path.toUtf8().constData()), name);
}

QTEST_GUILESS_MAIN(tst_TriskVXAssertionHandler)
#include "tst_TriskVXAssertionHandler.moc"
