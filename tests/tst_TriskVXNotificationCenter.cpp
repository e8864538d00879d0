#include "TriskVXNotificationCenter.h"

#include <QTest>
#include <QThread>

#include <atomic>

class tst_TriskVXNotificationCenter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void matching_data();
    void matching();
    void userInfoAndObjectArrive();
    void removeToken();
    void removeByNameAndObject();
    void observerDestroyedStopsDelivery();
    void removalDuringPost();
    void additionDuringPostWaitsForNextPost();
    void queueOnAnotherThread();
    void defaultCenterIsShared();
};

void tst_TriskVXNotificationCenter::matching_data()
{
    QTest::addColumn<QString>("observedName");
    QTest::addColumn<bool>("observeObject");
    QTest::addColumn<QString>("postedName");
    QTest::addColumn<bool>("postFromObject");
    QTest::addColumn<bool>("delivered");
    QTest::newRow("same name, any object") << "A" << false << "A" << false << true;
    QTest::newRow("other name") << "A" << false << "B" << false << false;
    QTest::newRow("any name, that object") << "" << true << "B" << true << true;
    QTest::newRow("any name, other object") << "" << true << "B" << false << false;
    QTest::newRow("name and object") << "A" << true << "A" << true << true;
    QTest::newRow("name right, object wrong") << "A" << true << "A" << false << false;
    QTest::newRow("any name, any object") << "" << false << "Z" << false << true;
}

void tst_TriskVXNotificationCenter::matching()
{
    QFETCH(QString, observedName);
    QFETCH(bool, observeObject);
    QFETCH(QString, postedName);
    QFETCH(bool, postFromObject);
    QFETCH(bool, delivered);
    TriskVXNotificationCenter center;
    QObject sender;
    QObject other;
    int calls = 0;
    center.addObserverForNameObjectQueueUsingBlock(observedName, observeObject ? &sender : nullptr, nullptr,
                                                   [&](const TriskVXNotification &) {
                                                       ++calls;
                                                   });
    center.postNotificationNameObject(postedName, postFromObject ? &sender : &other);
    QCOMPARE(calls, delivered ? 1 : 0);
}

void tst_TriskVXNotificationCenter::userInfoAndObjectArrive()
{
    TriskVXNotificationCenter center;
    QObject sender;
    TriskVXNotification seen;
    center.addObserverForNameObjectQueueUsingBlock(QStringLiteral("N"), nullptr, nullptr,
                                                   [&](const TriskVXNotification &notification) {
                                                       seen = notification;
                                                   });
    center.postNotificationNameObjectUserInfo(QStringLiteral("N"), &sender, { { QStringLiteral("key"), 7 } });
    QCOMPARE(seen.name(), QStringLiteral("N"));
    QCOMPARE(seen.object(), &sender);
    QCOMPARE(seen.userInfo().value(QStringLiteral("key")).toInt(), 7);
}

void tst_TriskVXNotificationCenter::removeToken()
{
    TriskVXNotificationCenter center;
    int calls = 0;
    QObject *token = center.addObserverForNameObjectQueueUsingBlock(QStringLiteral("N"), nullptr, nullptr,
                                                                    [&](const TriskVXNotification &) {
                                                                        ++calls;
                                                                    });
    QCOMPARE(center.observerCount(), 1);
    center.removeObserver(token);
    QCOMPARE(center.observerCount(), 0);
    center.postNotificationNameObject(QStringLiteral("N"), nullptr);
    QCOMPARE(calls, 0);
    center.removeObserver(nullptr);
}

void tst_TriskVXNotificationCenter::removeByNameAndObject()
{
    TriskVXNotificationCenter center;
    QObject observer;
    QObject sender;
    int a = 0;
    int b = 0;
    center.addObserverSelectorNameObject(
        &observer,
        [&](const TriskVXNotification &) {
            ++a;
        },
        QStringLiteral("A"), &sender);
    center.addObserverSelectorNameObject(
        &observer,
        [&](const TriskVXNotification &) {
            ++b;
        },
        QStringLiteral("B"), &sender);
    center.removeObserverNameObject(&observer, QStringLiteral("A"), &sender);
    center.postNotificationNameObject(QStringLiteral("A"), &sender);
    center.postNotificationNameObject(QStringLiteral("B"), &sender);
    QCOMPARE(a, 0);
    QCOMPARE(b, 1);
}

void tst_TriskVXNotificationCenter::observerDestroyedStopsDelivery()
{
    TriskVXNotificationCenter center;
    int calls = 0;
    {
        QObject observer;
        center.addObserverSelectorNameObject(
            &observer,
            [&](const TriskVXNotification &) {
                ++calls;
            },
            QString(), nullptr);
        center.postNotificationNameObject(QStringLiteral("N"), nullptr);
    }
    center.postNotificationNameObject(QStringLiteral("N"), nullptr);
    QCOMPARE(calls, 1);
    QCOMPARE(center.observerCount(), 0);
}

void tst_TriskVXNotificationCenter::removalDuringPost()
{
    TriskVXNotificationCenter center;
    int second = 0;
    QObject *secondToken = nullptr;
    QObject *firstToken = nullptr;
    firstToken = center.addObserverForNameObjectQueueUsingBlock(QStringLiteral("N"), nullptr, nullptr,
                                                                [&](const TriskVXNotification &) {
                                                                    // Removes itself and the next one mid-post.
                                                                    center.removeObserver(secondToken);
                                                                    center.removeObserver(firstToken);
                                                                });
    secondToken = center.addObserverForNameObjectQueueUsingBlock(QStringLiteral("N"), nullptr, nullptr,
                                                                 [&](const TriskVXNotification &) {
                                                                     ++second;
                                                                 });
    center.postNotificationNameObject(QStringLiteral("N"), nullptr);
    QCOMPARE(second, 0);
    QCOMPARE(center.observerCount(), 0);
}

void tst_TriskVXNotificationCenter::additionDuringPostWaitsForNextPost()
{
    TriskVXNotificationCenter center;
    int added = 0;
    bool registered = false;
    center.addObserverForNameObjectQueueUsingBlock(
        QStringLiteral("N"), nullptr, nullptr, [&](const TriskVXNotification &) {
            if (registered)
                return;
            registered = true;
            center.addObserverForNameObjectQueueUsingBlock(QStringLiteral("N"), nullptr, nullptr,
                                                           [&](const TriskVXNotification &) {
                                                               ++added;
                                                           });
        });
    center.postNotificationNameObject(QStringLiteral("N"), nullptr);
    QCOMPARE(added, 0);
    center.postNotificationNameObject(QStringLiteral("N"), nullptr);
    QCOMPARE(added, 1);
}

void tst_TriskVXNotificationCenter::queueOnAnotherThread()
{
    TriskVXNotificationCenter center;
    QThread thread;
    QObject queue;
    queue.moveToThread(&thread);
    thread.start();
    std::atomic<QThread *> deliveredOn { nullptr };
    center.addObserverForNameObjectQueueUsingBlock(QStringLiteral("N"), nullptr, &queue,
                                                   [&](const TriskVXNotification &) {
                                                       deliveredOn = QThread::currentThread();
                                                   });
    center.postNotificationNameObject(QStringLiteral("N"), nullptr);
    QTRY_COMPARE(deliveredOn.load(), &thread);
    thread.quit();
    thread.wait();
}

void tst_TriskVXNotificationCenter::defaultCenterIsShared()
{
    QCOMPARE(TriskVXNotificationCenter::defaultCenter(), TriskVXNotificationCenter::defaultCenter());
    QVERIFY(TriskVXNotificationCenter::defaultCenter() != nullptr);
}

QTEST_GUILESS_MAIN(tst_TriskVXNotificationCenter)
#include "tst_TriskVXNotificationCenter.moc"
