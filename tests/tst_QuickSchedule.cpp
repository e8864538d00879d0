// The Quick Schedule panel against the real halvaned on its test clock, and broken templates.
#include "AssertionOf.h"
#include "BusMonitor.h"
#include "HalvanedProcess.h"
#include "NotifierLender.h"
#include "NotifierResources.h"
#include "ServiceClient.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXNotificationCenter.h"
#include "TriskVXQuickScheduleController.h"
#include "TriskVXRequestsController.h"
#include "TriskVXWorkspace.h"
#include "WaitFor.h"

#include <QApplication>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDir>
#include <QPushButton>
#include <QScopeGuard>
#include <QStandardItemModel>
#include <QTest>
#include <QTimeZone>
#include <QToolButton>
#include <QTranslator>

using namespace Qt::StringLiterals;

namespace {
const QDateTime kNow(QDate(2030, 6, 1), QTime(8, 0), QTimeZone("Europe/Berlin"));
const QString kTemplatesFile = u"quickScheduleTemplates.plist"_s;

QString localized(const QString &key)
{
    return TriskVXBundle::mainBundle()->localizedStringForKey(key, QString());
}
} // namespace

class tst_QuickSchedule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void everyTemplateBecomesAnEventInThePersonsLanguage();
    void postponeCancelsEachPendingTriggerInOrder();
    void choicesFollowTheStateAndTheClock();
    void brokenTemplatesStopTheStart_data();
    void brokenTemplatesStopTheStart();

private:
    bool makePanel(TriskVXObserver *observer);
    bool apply(qint64 choice);
    bool settled()
    {
        return waitFor([this] {
                   return m_requests->pending() == 0;
               })
            && m_client->reload();
    }
    QString list() const;
    QStringList choosable() const;

    TriskVXClock m_clock;
    std::unique_ptr<HalvanedProcess> m_service;
    std::unique_ptr<ServiceClient> m_client;
    std::unique_ptr<TriskVXRequestsController> m_requests;
    NotifierLender m_lender;
    std::unique_ptr<TriskVXQuickScheduleController> m_panel;
};

void tst_QuickSchedule::initTestCase()
{
    QVERIFY(TriskVXBundle::mainBundle() && TriskVXBundle::mainBundle()->installTranslations());
    m_clock.setTimeZone(kNow.timeZone());
}

void tst_QuickSchedule::init()
{
    m_clock.setNow(kNow);
    m_service = std::make_unique<HalvanedProcess>();
    QVERIFY(m_service->startAt(kNow));
    m_client = std::make_unique<ServiceClient>(m_service->location());
    QVERIFY(m_client->ready());
    m_requests.reset(TriskVXRequestsController::requestsControllerWithConnection(m_client->connection()));
    QVERIFY(makePanel(m_client->observer()));
}

void tst_QuickSchedule::cleanup()
{
    m_panel.reset();
    m_requests.reset();
    m_client.reset();
    m_service.reset();
}

bool tst_QuickSchedule::makePanel(TriskVXObserver *observer)
{
    m_lender.observer = observer;
    m_lender.requests = m_requests.get();
    m_panel
        = TriskVXQuickScheduleController::controllerWithNotifier(&m_lender, &m_clock, TriskVXWorkspace::workspace());
    return m_panel != nullptr;
}

bool tst_QuickSchedule::apply(qint64 choice)
{
    TriskVXWorkspace::workspace()->quickScheduleWithConnection(nullptr);
    if (!m_panel->panel()->isVisible())
        return false;
    m_panel->quickPopUp()->setCurrentIndex(int(choice));
    if (!m_panel->applyButton()->isEnabled())
        return false;
    m_panel->applyButton()->click();
    return !m_panel->panel()->isVisible();
}

QString tst_QuickSchedule::list() const
{
    QProcess control;
    control.start(QStringLiteral(HALVANECTL_PATH), { u"--name"_s, m_service->serviceName(), u"list"_s, u"pending"_s });
    return control.waitForFinished() ? QString::fromUtf8(control.readAllStandardOutput()) : QString();
}

QStringList tst_QuickSchedule::choosable() const
{
    QStringList entries;
    const auto *model = qobject_cast<QStandardItemModel *>(m_panel->quickPopUp()->model());
    for (int row = 0; row < model->rowCount(); ++row) {
        if (model->item(row)->isEnabled())
            entries.append(model->item(row)->text());
    }
    return entries;
}

void tst_QuickSchedule::everyTemplateBecomesAnEventInThePersonsLanguage()
{
    const QVariantList templates = m_panel->eventTemplates();
    QVERIFY(templates.size() >= 5);
    QCOMPARE(m_panel->actionsPopUp()->count(), templates.size());
    for (int i = 0; i < templates.size(); ++i) {
        const QString name = templates.at(i).toMap().value(kVXEventName).toString();
        QCOMPARE(m_panel->actionsPopUp()->itemText(i), name);
        const QDateTime when = kNow.addSecs(3600 * (i + 1));
        m_panel->actionsPopUp()->setCurrentIndex(i);
        m_panel->actionsDate()->setDateTime(when);
        QVERIFY(apply(TriskVXQuickChoiceAdd));
        // The panel does not wait for the service to answer.
        QCOMPARE(m_requests->pending(), quint64(1));
        QVERIFY(settled());
        const QString line = u"%1  %2"_s.arg(when.toLocalTime().toString(Qt::ISODate), name);
        QVERIFY2(list().contains(line), qPrintable(list() + u" lacks "_s + line));
    }

    // A date that passed while the panel stood open: the refusal is told though the panel is gone.
    QStringList refused;
    QObject *token = TriskVXNotificationCenter::defaultCenter()->addObserverForNameObjectQueueUsingBlock(
        TriskVXRequestsControllerNotificationRequestError, nullptr, nullptr,
        [&refused](const TriskVXNotification &notification) {
            refused.append(notification.userInfo().value(u"summary"_s).toString());
        });
    m_panel->actionsDate()->setDateTime(kNow.addSecs(600));
    QVERIFY(m_service->setTestNow(kNow.addSecs(1200)));
    QVERIFY(apply(TriskVXQuickChoiceAdd));
    QTRY_VERIFY_WITH_TIMEOUT(!refused.isEmpty(), 10000);
    TriskVXNotificationCenter::defaultCenter()->removeObserver(token);
    QCOMPARE(refused, QStringList { u"Quick Schedule"_s });

    QTranslator german;
    QVERIFY(german.load(u"trisk_de"_s, QDir(qEnvironmentVariable("TRISK_RESOURCES")).filePath(u"translations"_s)));
    QCoreApplication::installTranslator(&german);
    const auto restore = qScopeGuard([&german] {
        QCoreApplication::removeTranslator(&german);
    });

    QVERIFY(makePanel(m_client->observer()));
    const QVariantList translated = m_panel->eventTemplates();
    QCOMPARE(translated.size(), templates.size());
    for (int i = 0; i < templates.size(); ++i) {
        const QVariantMap shown = translated.at(i).toMap();
        const QVariantMap written = templates.at(i).toMap();
        for (const QString &key : { kVXEventName, kVXEventNotes })
            QVERIFY2(shown.value(key) != written.value(key), qPrintable(written.value(key).toString()));
        QCOMPARE(m_panel->actionsPopUp()->itemText(i), shown.value(kVXEventName).toString());
    }
}

void tst_QuickSchedule::postponeCancelsEachPendingTriggerInOrder()
{
    BusMonitor monitor(kVXDBusInterface);
    QVERIFY(monitor.start());
    // An empty pending list is a list: postponing can be chosen.
    QCOMPARE(choosable().size(), 4);
    QVERIFY(apply(TriskVXQuickChoicePostpone));
    QVERIFY(settled());

    for (const QString &name : { u"Backup"_s, u"Nap"_s, u"Shut down"_s }) {
        const QString time = name == u"Backup"_s ? u"09:00"_s : name == u"Nap"_s ? u"13:30"_s : u"22:00"_s;
        QVERIFY(m_service->control({ u"add"_s, name, u"--daily"_s, time, u"--log"_s, name }));
    }
    QTRY_VERIFY_WITH_TIMEOUT(m_client->reload() && m_client->pendingIDs().size() == 3, 10000);
    const QStringList pending = m_client->pendingIDs();
    const QDateTime until = kNow.addDays(3);
    m_panel->untilDate()->setDateTime(until);
    QVERIFY(apply(TriskVXQuickChoicePostpone));
    QVERIFY(settled());

    const QList<QVariantMap> cancels = monitor.parametersOf(kVXRPCSchedulerCancel);
    QStringList cancelled;
    for (const QVariantMap &parameters : cancels) {
        QCOMPARE(parameters.value(kVXRPCParameterUntil).toDateTime(), until);
        cancelled.append(parameters.value(kVXRPCParameterTriggerID).toString());
    }
    QCOMPARE(cancelled, pending);
}

void tst_QuickSchedule::choicesFollowTheStateAndTheClock()
{
    // Before the service has published anything the start/stop entry reads as its buttons do.
    std::unique_ptr<TriskVXConnection> nowhere(TriskVXConnection::connectionWithLocation(
        TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), u"org.halvane.None"_s)));
    TriskVXObserver silent(nowhere.get());
    QVERIFY(makePanel(&silent));
    QCOMPARE(choosable(), QStringList { m_panel->quickPopUp()->itemText(TriskVXQuickChoiceAdd) });
    QCOMPARE(m_panel->quickPopUp()->itemText(TriskVXQuickChoiceToggleScheduler),
             localized(u"QUICKSCHEDULE_SCHEDULER_OFF"_s));
    QVERIFY(m_panel->applyButton()->isEnabled());
    m_panel->setQuickChoice(TriskVXQuickChoiceReset);
    QVERIFY(!m_panel->applyButton()->isEnabled());
    QCOMPARE(m_panel->applyButton()->text(), localized(u"QUICKSCHEDULE_APPLY_RESET"_s));

    QVERIFY(makePanel(m_client->observer()));
    QCOMPARE(choosable().size(), 4);
    QCOMPARE(m_panel->quickPopUp()->itemText(TriskVXQuickChoiceToggleScheduler),
             localized(u"QUICKSCHEDULE_SCHEDULER_ON"_s));
    m_panel->quickPopUp()->setCurrentIndex(TriskVXQuickChoicePostpone);
    QCOMPARE(m_panel->applyButton()->text(), localized(u"QUICKSCHEDULE_APPLY_POSTPONE"_s));

    QVERIFY(apply(TriskVXQuickChoiceToggleScheduler));
    QTRY_VERIFY_WITH_TIMEOUT(m_client->value(kVXObserveSchedulerEnabled) == QVariant(false), 10000);
    QVERIFY(!m_panel->isSchedulerEnabled());
    QCOMPARE(m_panel->quickPopUp()->itemText(TriskVXQuickChoiceToggleScheduler),
             localized(u"QUICKSCHEDULE_SCHEDULER_OFF"_s));
    QCOMPARE(m_panel->applyButton()->text(), localized(u"QUICKSCHEDULE_APPLY_START"_s));
    QVERIFY(apply(TriskVXQuickChoiceToggleScheduler));
    QTRY_VERIFY_WITH_TIMEOUT(m_client->value(kVXObserveSchedulerEnabled) == QVariant(true), 10000);
    QCOMPARE(m_panel->applyButton()->text(), localized(u"QUICKSCHEDULE_APPLY_STOP"_s));

    QVERIFY(m_service->add(u"Backup"_s, { u"--daily"_s, u"09:00"_s, u"--log"_s, u"Backup"_s }));
    QTRY_VERIFY_WITH_TIMEOUT(m_client->reload() && m_client->pendingIDs().size() == 1, 10000);
    const QString trigger = m_client->pendingIDs().constFirst();
    const QDateTime next = m_client->pendingDate(trigger);
    QVERIFY(m_service->control({ u"cancel"_s, trigger }));
    QVERIFY(m_client->reload() && m_client->pendingDate(trigger) > next);
    QVERIFY(apply(TriskVXQuickChoiceReset));
    QVERIFY(settled());
    QCOMPARE(m_client->pendingDate(trigger), next);

    QWidget *panel = m_panel->panel();
    TriskVXWorkspace::workspace()->quickScheduleWithConnection(nullptr);
    QVERIFY(panel->isVisible() && m_panel->dateTimer());
    QCOMPARE(m_panel->actionsDate()->minimumDateTime(), kNow.addSecs(120));

    m_clock.setNow(kNow.addSecs(7200));
    for (const QDateTimeEdit *picker : { m_panel->actionsDate(), m_panel->untilDate() }) {
        QCOMPARE(picker->minimumDateTime(), kNow.addSecs(7320));
        QCOMPARE(picker->dateTime(), kNow.addSecs(7320));
    }
    m_panel->untilDate()->setDateTime(kNow);
    QCOMPARE(m_panel->untilDate()->dateTime(), kNow.addSecs(7320));

    const QList<QToolButton *> shortcuts = panel->findChildren<QToolButton *>();
    QVERIFY(shortcuts.size() >= 3);
    for (QToolButton *shortcut : shortcuts) {
        shortcut->click();
        QCOMPARE(m_panel->actionsDate()->dateTime(), kNow.addSecs(7200 + shortcut->property("tag").toInt()));
    }

    // A closed panel's limit rests: no timer wakes for it.
    m_panel->doNotApplyButton()->click();
    QVERIFY(!panel->isVisible() && !m_panel->dateTimer());
    m_clock.setNow(kNow.addSecs(9000));
    QCOMPARE(m_panel->untilDate()->minimumDateTime(), kNow.addSecs(7320));
    TriskVXWorkspace::workspace()->quickScheduleWithConnection(nullptr);
    QCOMPARE(m_panel->untilDate()->minimumDateTime(), kNow.addSecs(9120));
}

void tst_QuickSchedule::brokenTemplatesStopTheStart_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QString>("failure");
    const QByteArray head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">";
    QTest::newRow("missing") << QByteArray() << u"TriskVXQuickScheduleController's eventTemplates are missing"_s;
    QTest::newRow("not a property list") << QByteArray("Shut down at ten")
                                         << u"TriskVXQuickScheduleController's eventTemplates are malformed"_s;
    QTest::newRow("nameless") << head + "<array><dict><key>Notes</key><string>x</string></dict></array></plist>"
                              << u"TriskVXQuickScheduleController's eventTemplate name is missing"_s;
}

void tst_QuickSchedule::brokenTemplatesStopTheStart()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, failure);
    const QString path = QDir(qEnvironmentVariable("TRISK_RESOURCES")).filePath(kTemplatesFile);
    const QString kept = path + u".kept"_s;
    QVERIFY(QFile::rename(path, kept));
    if (!contents.isEmpty()) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size());
    }
    const QString raised = assertionOf([this] {
        TriskVXQuickScheduleController::controllerWithNotifier(&m_lender, &m_clock, nullptr);
    });
    QFile::remove(path);
    QVERIFY(QFile::rename(kept, path));
    QCOMPARE(raised, u"TriskVXQuickScheduleController|"_s + failure);
}

int main(int argc, char *argv[])
{
    NotifierResources resources({ u"Info.plist"_s, u"TriskVXQuickScheduleController.ui"_s, kTemplatesFile });
    resources.use();
    QApplication application(argc, argv);
    tst_QuickSchedule test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_QuickSchedule.moc"
