#include "AssertionOf.h"
#include "HalvanedProcess.h"
#include "ServiceClient.h"
#include "TriskVXConstants.h"
#include "TriskVXInternalInconsistencyException.h"
#include "TriskVXNotifyEnvironment.h"
#include "TriskVXNotifyObject.h"
#include "TriskVXUserDefaults.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

namespace {
// A notifier that records what it is told, as the real ones will react.
class RecordingNotifier : public TriskVXNotifyObject
{
    Q_OBJECT

public:
    QSet<QString> observes() const override { return { kVXObserveSchedulerPending, kVXObserveSchedulerEnabled }; }
    void observedVariableDidBecome(const QString &observed, const QVariant &value) override
    {
        calls.append({ observed, value });
    }
    void didShow() override { order.append(QStringLiteral("didShow")); }
    void didHide() override { order.append(QStringLiteral("didHide")); }
    bool init() override
    {
        initialised = true;
        // A subclass's init runs in full before any property is set.
        initSawObserver = observer() != nullptr;
        return TriskVXNotifyObject::init();
    }
    QList<QPair<QString, QVariant>> calls;
    QStringList order;
    bool initialised = false;
    bool initSawObserver = true;
};

// One that forgets both overrides.
class ForgetfulNotifier : public TriskVXNotifyObject
{
    Q_OBJECT
};

class RefusingNotifier : public RecordingNotifier
{
    Q_OBJECT

public:
    bool init() override { return false; }
};

QStringList namesOf(const QList<QPair<QString, QVariant>> &calls)
{
    QStringList names;
    for (const auto &call : calls)
        names.append(call.first);
    names.sort();
    return names;
}
} // namespace

class tst_TriskVXNotifyObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void createdVisibleAndQuiet();
    void changeWhileHiddenIsNeverDelivered();
    void refreshOnAHiddenNotifierCallsForEveryName();
    void replacingTheObserverMovesTheObservations();
    void nilValuesAreDeliveredAsNil();
    void failedInitGivesNil();
    void assertions();
    void queuedTriggerAccessors_data();
    void queuedTriggerAccessors();
    void loginWindow();
    void classNibAndDefaults();

private:
    bool setEnabled(bool enabled)
    {
        return m_client->request(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, enabled } });
    }

    std::unique_ptr<HalvanedProcess> m_service;
    std::unique_ptr<ServiceClient> m_client;
};

void tst_TriskVXNotifyObject::initTestCase()
{
    m_service = std::make_unique<HalvanedProcess>();
    QVERIFY(m_service->start({ QStringLiteral("--demo") }));
    m_client = std::make_unique<ServiceClient>(m_service->location());
    QVERIFY(m_client->ready());
}

void tst_TriskVXNotifyObject::cleanupTestCase()
{
    m_client.reset();
    m_service.reset();
}

void tst_TriskVXNotifyObject::createdVisibleAndQuiet()
{
    std::unique_ptr<RecordingNotifier> notifier(
        TriskVXNotifyObject::objectWithObserverRequests<RecordingNotifier>(m_client->observer(), nullptr));
    QVERIFY(notifier);
    QVERIFY(notifier->initialised);
    QVERIFY(!notifier->initSawObserver);
    QVERIFY(notifier->isVisible());
    QCOMPARE(notifier->observer(), m_client->observer());
    QVERIFY(notifier->imageAssistant() != nullptr);
    QVERIFY(notifier->calls.isEmpty());
    // A change of an observed variable: one call, with the new value.
    QVERIFY(setEnabled(false));
    QTRY_COMPARE(notifier->calls.size(), 1);
    QCOMPARE(notifier->calls.first(), qMakePair(kVXObserveSchedulerEnabled, QVariant(false)));
    QVERIFY(setEnabled(true));
}

void tst_TriskVXNotifyObject::changeWhileHiddenIsNeverDelivered()
{
    std::unique_ptr<RecordingNotifier> notifier(
        TriskVXNotifyObject::objectWithObserverRequests<RecordingNotifier>(m_client->observer(), nullptr));
    notifier->hide();
    QVERIFY(!notifier->isVisible());
    QCOMPARE(notifier->order, QStringList { QStringLiteral("didHide") });
    QVERIFY(setEnabled(false));
    QVERIFY(m_client->reload());
    QVERIFY(notifier->calls.isEmpty());
    // show: didShow, then the current value of every observed variable.
    notifier->show();
    QCOMPARE(notifier->order, (QStringList { QStringLiteral("didHide"), QStringLiteral("didShow") }));
    QCOMPARE(namesOf(notifier->calls), (QStringList { kVXObserveSchedulerEnabled, kVXObserveSchedulerPending }));
    for (const auto &[name, value] : std::as_const(notifier->calls))
        QCOMPARE(value, m_client->value(name));
    QVERIFY(setEnabled(true));
}

void tst_TriskVXNotifyObject::refreshOnAHiddenNotifierCallsForEveryName()
{
    std::unique_ptr<RecordingNotifier> notifier(
        TriskVXNotifyObject::objectWithObserverRequests<RecordingNotifier>(m_client->observer(), nullptr));
    notifier->hide();
    notifier->refresh();
    QCOMPARE(namesOf(notifier->calls), (QStringList { kVXObserveSchedulerEnabled, kVXObserveSchedulerPending }));
    QVERIFY(!notifier->isVisible());
}

void tst_TriskVXNotifyObject::replacingTheObserverMovesTheObservations()
{
    HalvanedProcess other;
    QVERIFY(other.start());
    ServiceClient otherClient(other.location());
    QVERIFY(otherClient.ready());
    std::unique_ptr<RecordingNotifier> notifier(
        TriskVXNotifyObject::objectWithObserverRequests<RecordingNotifier>(m_client->observer(), nullptr));
    notifier->setObserver(otherClient.observer());
    // The old observer's changes no longer arrive; the new one's do.
    QVERIFY(setEnabled(false));
    QVERIFY(m_client->reload());
    QVERIFY(notifier->calls.isEmpty());
    QVERIFY(otherClient.request(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }));
    QTRY_COMPARE(notifier->calls.size(), 1);
    // nil: no observation at all.
    notifier->setObserver(nullptr);
    QVERIFY(otherClient.request(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, true } }));
    QVERIFY(setEnabled(true));
    QVERIFY(m_client->reload());
    QCOMPARE(notifier->calls.size(), 1);
}

void tst_TriskVXNotifyObject::nilValuesAreDeliveredAsNil()
{
    // An observer of a service that is not there has published nothing.
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(
        TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), HalvanedProcess::uniqueServiceName())));
    TriskVXObserver empty(connection.get());
    std::unique_ptr<RecordingNotifier> notifier(
        TriskVXNotifyObject::objectWithObserverRequests<RecordingNotifier>(&empty, nullptr));
    notifier->refresh();
    QCOMPARE(notifier->calls.size(), 2);
    for (const auto &call : std::as_const(notifier->calls))
        QVERIFY(!call.second.isValid());
}

void tst_TriskVXNotifyObject::failedInitGivesNil()
{
    QCOMPARE(TriskVXNotifyObject::objectWithObserverRequests<RefusingNotifier>(m_client->observer(), nullptr), nullptr);
}

void tst_TriskVXNotifyObject::assertions()
{
    ForgetfulNotifier forgetful;
    QCOMPARE(assertionOf([&] {
                 forgetful.observes();
             }),
             QStringLiteral("TriskVXNotifyObject|ForgetfulNotifier must override +observes"));
    QCOMPARE(assertionOf([&] {
                 forgetful.observedVariableDidBecome(QString(), QVariant());
             }),
             QStringLiteral("TriskVXNotifyObject|Invalid parameter not satisfying: observed != nil"));
    QCOMPARE(assertionOf([&] {
                 forgetful.observedVariableDidBecome(kVXObserveSchedulerPending, QVariant());
             }),
             QStringLiteral("TriskVXNotifyObject|ForgetfulNotifier missing method -observedVariable:didBecome:"));
    QCOMPARE(assertionOf([&] {
                 forgetful.imageForQueuedTriggerScaleToFitVariation(QVariant(), QSizeF(16, 16), kVXElementImage_None);
             }),
             QStringLiteral("TriskVXNotifyObject|Invalid parameter not satisfying: aQueuedTrigger != nil"));
    for (const auto &accessor :
         { &TriskVXNotifyObject::identifierOfQueuedTrigger, &TriskVXNotifyObject::eventNameOfQueuedTrigger,
           &TriskVXNotifyObject::triggerDateOfQueuedTrigger })
        QCOMPARE(
            assertionOf([&] {
                accessor(QVariant());
            }),
            QStringLiteral("TriskVXNotifyObjectAdditions|Invalid parameter not satisfying: aQueuedTrigger != nil"));
}

void tst_TriskVXNotifyObject::queuedTriggerAccessors_data()
{
    QTest::addColumn<QVariantMap>("record");
    QTest::addColumn<QVariant>("identifier");
    QTest::addColumn<QVariant>("name");
    QTest::addColumn<QVariant>("date");
    const QDateTime date(QDate(2030, 1, 1), QTime(0, 0), QTimeZone::utc());
    QTest::newRow("whole") << QVariantMap { { kVXQueuedTriggerTriggerID, QStringLiteral("t") },
                                            { kVXQueuedTriggerEvent,
                                              QVariantMap { { kVXEventName, QStringLiteral("E") } } },
                                            { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, date } } } }
                           << QVariant(QStringLiteral("t")) << QVariant(QStringLiteral("E")) << QVariant(date);
    QTest::newRow("without event: nil name, never a failure")
        << QVariantMap { { kVXQueuedTriggerTriggerID, QStringLiteral("t") } } << QVariant(QStringLiteral("t"))
        << QVariant() << QVariant();
}

void tst_TriskVXNotifyObject::queuedTriggerAccessors()
{
    QFETCH(QVariantMap, record);
    QFETCH(QVariant, identifier);
    QFETCH(QVariant, name);
    QFETCH(QVariant, date);
    QCOMPARE(TriskVXNotifyObject::identifierOfQueuedTrigger(record), identifier);
    QCOMPARE(TriskVXNotifyObject::eventNameOfQueuedTrigger(record), name);
    QCOMPARE(TriskVXNotifyObject::triggerDateOfQueuedTrigger(record), date);
    RecordingNotifier notifier;
    QVERIFY(notifier.initWithObserverRequests(nullptr, nullptr));
    QVERIFY(!notifier.imageForQueuedTriggerScaleToFitVariation(record, QSizeF(16, 16), kVXElementImage_None).isNull()
            == name.isValid());
}

void tst_TriskVXNotifyObject::loginWindow()
{
    // The process's own command line has no -login: not in the login window.
    QVERIFY(!TriskVXNotifyEnvironment::runningWithinLoginWindow());
    TriskVXUserDefaults::standardUserDefaults()->registerDefaults(
        { { QStringLiteral("login"), QStringLiteral("YES") } });
    QVERIFY(TriskVXNotifyEnvironment::runningWithinLoginWindow());
}

void tst_TriskVXNotifyObject::classNibAndDefaults()
{
    // The resource folder of this test (TRISK_RESOURCES, set in main): RecordingNotifier has an
    // interface and class defaults, ForgetfulNotifier neither.
    RecordingNotifier recording;
    QVERIFY(recording.loadClassNib());
    QVERIFY(recording.outlet(QStringLiteral("cancelButton")));
    QVERIFY(!recording.outlet(QStringLiteral("missingOutlet")));
    recording.registerClassDefaults();
    QCOMPARE(TriskVXUserDefaults::standardUserDefaults()->integerForKey(QStringLiteral("emphasize icon")), 2);
    QCOMPARE(
        recording.requiredOutlet(QStringLiteral("cancelButton"), QStringLiteral("%@'s cancelButton is not connected")),
        recording.outlet(QStringLiteral("cancelButton")));
    QCOMPARE(assertionOf([&] {
                 recording.requiredOutlet(QStringLiteral("panel2"), QStringLiteral("%@'s panel is not connected"));
             }),
             QStringLiteral("TriskVXNotifyObject|RecordingNotifier's panel is not connected"));
    ForgetfulNotifier forgetful;
    QVERIFY(!forgetful.loadClassNib());
    QVERIFY(!forgetful.nib());
    QCOMPARE(assertionOf([&] {
                 forgetful.requiredOutlet(QStringLiteral("warningPanel"),
                                          QStringLiteral("%@'s warningPanel must be connected"));
             }),
             QStringLiteral("TriskVXNotifyObject|ForgetfulNotifier's warningPanel must be connected"));
}

int main(int argc, char *argv[])
{
    QTemporaryDir resources;
    QFile info(resources.filePath(QStringLiteral("Info.plist")));
    info.open(QIODevice::WriteOnly);
    info.write("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>");
    info.close();
    QFile ui(resources.filePath(QStringLiteral("RecordingNotifier.ui")));
    ui.open(QIODevice::WriteOnly);
    ui.write("<?xml version=\"1.0\"?><ui version=\"4.0\"><widget class=\"QWidget\" name=\"panel\"><widget "
             "class=\"QPushButton\" "
             "name=\"cancelButton\"/></widget></ui>");
    ui.close();
    QFile defaults(resources.filePath(QStringLiteral("RecordingNotifier.plist")));
    defaults.open(QIODevice::WriteOnly);
    defaults.write("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>emphasize "
                   "icon</key><integer>2</integer></dict></plist>");
    defaults.close();
    qputenv("TRISK_RESOURCES", resources.path().toUtf8());
    QApplication application(argc, argv);
    tst_TriskVXNotifyObject test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_TriskVXNotifyObject.moc"
