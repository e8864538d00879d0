#include "TriskVXConstants.h"
#include "TriskVXRequest.h"
#include "TriskVXResponse.h"

#include <QTest>

class tst_TriskVXRequest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void constructors_data();
    void constructors();
    void response();
};

void tst_TriskVXRequest::constructors_data()
{
    QTest::addColumn<int>("constructor");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("parameters");
    QTest::newRow("initWithRequest:parameterDictionary:")
        << 0 << kVXRPCSchedulerAdjust
        << QVariantMap { { kVXRPCParameterTriggerID, QStringLiteral("t") }, { kVXRPCParameterDate, 1 } };
    QTest::newRow("requestWithRequest:value:forParameter:")
        << 1 << kVXRPCSchedulerCancel << QVariantMap { { kVXRPCParameterTriggerID, QStringLiteral("t") } };
    QTest::newRow("requestWithRequest:") << 2 << kVXRPCSchedulerReset << QVariantMap();
}

void tst_TriskVXRequest::constructors()
{
    QFETCH(int, constructor);
    QFETCH(QString, name);
    QFETCH(QVariantMap, parameters);
    TriskVXRequest request;
    switch (constructor) {
    case 0:
        request = TriskVXRequest(name, parameters);
        break;
    case 1:
        request = TriskVXRequest::requestWithRequestValueForParameter(name, parameters.first(), parameters.firstKey());
        break;
    default:
        request = TriskVXRequest::requestWithRequest(name);
        break;
    }
    QCOMPARE(request.request(), name);
    QCOMPARE(request.parameterDictionary(), parameters);
}

void tst_TriskVXRequest::response()
{
    const TriskVXResponse failed(false, 0x100000005LL, QStringLiteral("why"));
    QVERIFY(!failed.succeeded());
    QCOMPARE(failed.status(), 0x100000005LL);
    QCOMPARE(failed.message(), QStringLiteral("why"));
    QVERIFY(!TriskVXResponse().succeeded());
    QVERIFY(TriskVXResponse(true, kVXStatusOK).succeeded());
}

QTEST_GUILESS_MAIN(tst_TriskVXRequest)
#include "tst_TriskVXRequest.moc"
