// The notifier at the login screen ("-login YES"): an Xvfb of its own, halvaned on the system bus, no session bus.
#include "HalvanedProcess.h"
#include "ProgramRun.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXLoginNotificationController.h"
#include "TriskVXNotificationsController.h"
#include "TriskVXNotifyController.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXStatusMenuController.h"
#include "TriskVXWarningController.h"
#include "TriskVXWorkspace.h"

#include <QApplication>
#include <QDir>
#include <QProcess>
#include <QScreen>
#include <QStandardPaths>
#include <QTest>
#include <QTimeZone>

#include <xcb/xcb.h>

using namespace Qt::StringLiterals;

namespace {
const int kWait = 10000;
const QDateTime kNow(QDate(2030, 6, 1), QTime(8, 0), QTimeZone("Europe/Berlin"));
const QString kLogin = u"TriskVXLoginNotificationController"_s;

QString at(qint64 seconds)
{
    return kNow.addSecs(seconds).toString(Qt::ISODateWithMs);
}

// Bottom to top, as the X server stacks them.
QList<xcb_window_t> viewableStacking()
{
    xcb_connection_t *connection = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    QList<xcb_window_t> viewable;
    xcb_query_tree_reply_t *tree = xcb_query_tree_reply(connection, xcb_query_tree(connection, root), nullptr);
    const xcb_window_t *children = tree ? xcb_query_tree_children(tree) : nullptr;
    for (int i = 0; tree && i < xcb_query_tree_children_length(tree); ++i) {
        xcb_get_window_attributes_reply_t *attributes
            = xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, children[i]), nullptr);
        if (attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE)
            viewable.append(children[i]);
        free(attributes);
    }
    free(tree);
    return viewable;
}
} // namespace

class tst_LoginPanel : public QObject
{
    Q_OBJECT

public:
    static bool s_onXvfb;

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void windowStandsWhereThePreferenceSays_data();
    void windowStandsWhereThePreferenceSays();
    void countDownFollowsTheServiceAtTheLoginScreen();
    void programLeavesQuietlyWithoutBusOrDisplay_data();
    void programLeavesQuietlyWithoutBusOrDisplay();

private:
    void start();
    void moveTo(qint64 seconds)
    {
        QVERIFY(m_service->setTestNow(kNow.addSecs(seconds)));
        m_clock.setNow(kNow.addSecs(seconds));
    }
    TriskVXLoginNotificationController *login() const
    {
        return qobject_cast<TriskVXLoginNotificationController *>(m_controller->notifiers().value(kLogin));
    }
    QWidget *window() const { return login()->notificationWindow(); }
    bool cancelFirst() const
    {
        const QVariantList current = m_controller->observer()->valueForKeyPath(kVXObserveNotificationsCurrent).toList();
        return !current.isEmpty()
            && m_service->control({ u"cancel"_s, current.first().toMap().value(kVXQueuedTriggerTriggerID).toString() });
    }
    QStringList visibleWindows() const;

    TriskVXClock m_clock;
    std::unique_ptr<HalvanedProcess> m_service;
    std::unique_ptr<TriskVXNotifyController> m_controller;
};

bool tst_LoginPanel::s_onXvfb = false;

void tst_LoginPanel::initTestCase()
{
    if (!s_onXvfb)
        QSKIP("Xvfb is not installed");
    QVERIFY(TriskVXBundle::mainBundle() && TriskVXBundle::mainBundle()->installTranslations());
    m_clock.setTimeZone(kNow.timeZone());
    TriskVXStatusMenuController::registerClass();
    TriskVXNotificationsController::registerClass(&m_clock);
    TriskVXWarningController::registerClass();
    TriskVXLoginNotificationController::registerClass(&m_clock);
}

void tst_LoginPanel::cleanup()
{
    m_controller.reset();
    m_service.reset();
    QFile::remove(TriskVXWorkspace::workspace()->preferencesFile());
}

void tst_LoginPanel::start()
{
    m_clock.setNow(kNow);
    m_service = std::make_unique<HalvanedProcess>();
    m_service->setBus(u"system"_s);
    QVERIFY(m_service->startAt(kNow, { u"--rights"_s, u"rules"_s }));
    // Only the service's name is told; the bus is the login instance's own choice.
    qputenv("HALVANE_SERVICE", m_service->serviceName().toUtf8());
    m_controller = std::make_unique<TriskVXNotifyController>();
    QVERIFY(m_controller->init());
    m_controller->awakeFromNib();
    QCOMPARE(m_controller->connection()->location().busDescription(), u"system"_s);
    QVERIFY(login());
}

QStringList tst_LoginPanel::visibleWindows() const
{
    QStringList names;
    for (const QWidget *widget : QApplication::topLevelWidgets()) {
        if (widget->isVisible())
            names.append(widget->objectName());
    }
    names.sort();
    return names;
}

void tst_LoginPanel::windowStandsWhereThePreferenceSays_data()
{
    QTest::addColumn<QVariant>("preference");
    QTest::addColumn<double>("twelfths");
    QTest::newRow("absent") << QVariant() << 2.5;
    QTest::newRow("middle") << QVariant(6.0) << 6.0;
    QTest::newRow("zero") << QVariant(0) << 1.0;
    QTest::newRow("above the top") << QVariant(12) << 11.5;
    QTest::newRow("text of a number") << QVariant(u"6"_s) << 6.0;
    QTest::newRow("text of no number") << QVariant(u"top"_s) << 2.5;
}

void tst_LoginPanel::windowStandsWhereThePreferenceSays()
{
    QFETCH(QVariant, preference);
    QFETCH(double, twelfths);
    if (preference.isValid()) {
        QVERIFY(QDir().mkpath(TriskVXWorkspace::workspace()->preferencesDirectory()));
        const QVariantMap domain { { u"notifier.login.position-vertical"_s, preference } };
        QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
            domain, TriskVXWorkspace::workspace()->preferencesFile()));
    }
    start();
    QVERIFY(m_service->add(u"Restart"_s, { u"--at"_s, at(420), u"--notice"_s, u"600"_s }));
    QTRY_VERIFY_WITH_TIMEOUT(window()->isVisible(), kWait);
    const QSize screen = QGuiApplication::primaryScreen()->size();
    const QRect frame = window()->geometry();
    QVERIFY2(qAbs(frame.center().x() - screen.width() / 2) <= 1, qPrintable(QDebug::toString(frame)));
    const double centreFromBottom = screen.height() - (frame.top() + frame.height() / 2.0);
    QVERIFY2(qAbs(centreFromBottom - screen.height() * twelfths / 12) <= 1, qPrintable(QDebug::toString(frame)));
}

void tst_LoginPanel::countDownFollowsTheServiceAtTheLoginScreen()
{
    start();
    QVERIFY(!window()->isVisible());

    // Backup fires first but enters its notice period later.
    QVERIFY(m_service->add(u"Restart"_s, { u"--at"_s, at(600), u"--notice"_s, u"900"_s }));
    QVERIFY(m_service->add(u"Backup"_s, { u"--at"_s, at(400), u"--notice"_s, u"100"_s }));
    QTRY_VERIFY_WITH_TIMEOUT(window()->isVisible(), kWait);
    QCOMPARE(login()->messageField()->text(), u"“Restart” will be performed at 08:10:00.\n10 min 0 s left."_s);
    QVERIFY(window()->windowTitle().startsWith(u"Restart at "_s));
    QVERIFY(!login()->eventIconView()->pixmap().isNull());
    QVERIFY(window()->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus));
    // A greeter that maps its full-screen window afterwards does not cover it, though no window manager
    // stacks windows on this X server, as on a login screen's.
    const QString xmessage = QStandardPaths::findExecutable(u"xmessage"_s);
    if (!xmessage.isEmpty()) {
        const QList<xcb_window_t> before = viewableStacking();
        QProcess greeter;
        greeter.start(xmessage, { u"-geometry"_s, u"1280x800+0+0"_s, u"greeter"_s });
        QTRY_VERIFY_WITH_TIMEOUT(viewableStacking().size() > before.size(), kWait);
        QTRY_COMPARE_WITH_TIMEOUT(viewableStacking().constLast(), xcb_window_t(window()->winId()), kWait);
        greeter.kill();
        greeter.waitForFinished();
    }
    m_clock.advance(61500);
    QCOMPARE(login()->messageField()->text(), u"“Restart” will be performed at 08:10:00.\n8 min 58 s left."_s);

    // A drag moves the window; the next update puts it back. Backup now comes first and is shown.
    const QRect placed = window()->geometry();
    QTest::mousePress(window(), Qt::LeftButton, {}, QPoint(5, 5));
    QTest::mouseMove(window(), QPoint(85, 45));
    QTest::mouseRelease(window(), Qt::LeftButton, {}, QPoint(85, 45));
    QTRY_COMPARE_WITH_TIMEOUT(window()->pos(), placed.topLeft() + QPoint(80, 40), kWait);
    moveTo(330);
    QTRY_VERIFY_WITH_TIMEOUT(login()->messageField()->text().startsWith(u"“Backup”"_s), kWait);
    QCOMPARE(login()->messageField()->text(), u"“Backup” will be performed at 08:06:40.\n1 min 10 s left."_s);
    QCOMPARE(window()->geometry(), placed);

    QVERIFY(cancelFirst());
    QTRY_VERIFY_WITH_TIMEOUT(login()->eventName() == u"Restart"_s, kWait);
    QVERIFY(cancelFirst());
    QTRY_VERIFY_WITH_TIMEOUT(!window()->isVisible(), kWait);
    QVERIFY(!login()->countDownTimer());
    QVERIFY(m_service->add(u"Nap"_s, { u"--at"_s, at(500), u"--notice"_s, u"600"_s }));
    QTRY_VERIFY_WITH_TIMEOUT(window()->isVisible(), kWait);
    QCOMPARE(window()->geometry().topLeft(), placed.topLeft());
    QVERIFY(login()->countDownTimer() && login()->countDownTimer()->isActive());

    // No count-down panel and no status item at a login screen.
    QVERIFY(
        m_service->add(u"Lights out"_s, { u"--at"_s, at(400), u"--notice"_s, u"600"_s, u"--warning-lead"_s, u"60"_s }));
    moveTo(345);
    QTRY_COMPARE_WITH_TIMEOUT(visibleWindows(), (QStringList { u"notificationWindow"_s, u"warningPanel"_s }), kWait);
    QCOMPARE(login()->eventName(), u"Lights out"_s);
}

void tst_LoginPanel::programLeavesQuietlyWithoutBusOrDisplay_data()
{
    QTest::addColumn<QStringList>("environment");
    QTest::addColumn<QString>("complaint");
    QTest::newRow("no system bus") << QStringList { u"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/bus"_s }
                                   << u"cannot reach the system bus"_s;
    QTest::newRow("no display") << QStringList { u"DISPLAY="_s, u"WAYLAND_DISPLAY="_s, u"QT_QPA_PLATFORM="_s }
                                << u"cannot show windows"_s;
}

void tst_LoginPanel::programLeavesQuietlyWithoutBusOrDisplay()
{
    QFETCH(QStringList, environment);
    QFETCH(QString, complaint);
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    for (const QString &variable : std::as_const(environment))
        variables.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
    const ProgramRun run = runProgram(QStringLiteral(TRISK_NOTIFIER_PATH), { u"-login"_s, u"YES"_s }, variables, kWait);
    QCOMPARE(run.exitCode, 69);
    QVERIFY2(run.err.contains(complaint), qPrintable(run.err));
}

// The test owns its display and its buses before the application connects to either: an X server of its
// own, the test's bus as the system bus, and no session bus, as at a login screen.
int main(int argc, char *argv[])
{
    QProcess xvfb;
    xvfb.start(u"Xvfb"_s,
               { u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, u"1280x800x24"_s, u"-nolisten"_s, u"tcp"_s });
    if (xvfb.waitForStarted() && xvfb.waitForReadyRead(kWait)) {
        qputenv("DISPLAY", ':' + xvfb.readLine().trimmed());
        qputenv("QT_QPA_PLATFORM", "xcb");
        tst_LoginPanel::s_onXvfb = true;
    }
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/session-bus");
    // The application sees the login screen's command line; QtTest sees the test's.
    QList<char *> arguments { argv[0], const_cast<char *>("-login"), const_cast<char *>("YES") };
    int count = int(arguments.size());
    QApplication application(count, arguments.data());
    tst_LoginPanel test;
    const int status = QTest::qExec(&test, argc, argv);
    xvfb.terminate();
    xvfb.waitForFinished();
    return status;
}

#include "tst_LoginPanel.moc"
