// The Quick Schedule panel's figures, against the real halvaned: from pressing Apply to the service's
// change arriving back at the observer (starting and stopping the scheduler, adding an event from a
// template), and opening the panel until its window is exposed: the first time, and again.
// Usage: bench_quickschedule [RUNS]   (on a private session bus, on a display or offscreen)
#include "BenchStatistics.h"
#include "HalvanedProcess.h"
#include "NotifierLender.h"
#include "NotifierResources.h"
#include "ServiceClient.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXQuickScheduleController.h"
#include "TriskVXRequestsController.h"
#include "TriskVXWorkspace.h"
#include "WaitFor.h"

#include <QApplication>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QElapsedTimer>
#include <QPushButton>
#include <QTimeZone>
#include <QWindow>

namespace {
const QDateTime kStart(QDate(2030, 6, 1), QTime(8, 0), QTimeZone::utc());
const int kAdditions = 30;

// When the window was last exposed, on the bench's clock.
class Exposure : public QObject
{
public:
    QElapsedTimer clock;
    qint64 at = -1;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *window = qobject_cast<QWindow *>(watched);
        if (event->type() == QEvent::Expose && window && window->isExposed())
            at = clock.nsecsElapsed();
        return QObject::eventFilter(watched, event);
    }
};

// Nanoseconds from the workspace's request to the panel exposed; -1 when it never shows.
qint64 open(TriskVXQuickScheduleController &panel, Exposure &exposure)
{
    exposure.at = -1;
    const qint64 asked = exposure.clock.nsecsElapsed();
    TriskVXWorkspace::workspace()->quickScheduleWithConnection(nullptr);
    if (!waitFor([&panel, &exposure] {
            return exposure.at >= 0 && panel.panel()->isVisible();
        }))
        return -1;
    return exposure.at - asked;
}

// Nanoseconds from Apply to the observer's report of the variable; -1 when it never comes.
qint64 applyUntilReported(TriskVXQuickScheduleController &panel, TriskVXObserver *observer, const QString &variable)
{
    bool reported = false;
    const QMetaObject::Connection connection = QObject::connect(observer, &TriskVXObserver::didChangeValueForKeyPath,
                                                                [&reported, &variable](const QString &keyPath) {
                                                                    reported |= keyPath == variable;
                                                                });
    QElapsedTimer timer;
    timer.start();
    panel.ok(panel.applyButton());
    const bool arrived = waitFor([&reported] {
        return reported;
    });
    const qint64 elapsed = timer.nsecsElapsed();
    QObject::disconnect(connection);
    return arrived ? elapsed : -1;
}
} // namespace

int main(int argc, char *argv[])
{
    NotifierResources resources({ QStringLiteral("Info.plist"), QStringLiteral("TriskVXQuickScheduleController.ui"),
                                  QStringLiteral("quickScheduleTemplates.plist") });
    resources.use();
    QApplication application(argc, argv);
    const int runs = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 200;
    QTextStream out(stdout);

    HalvanedProcess service;
    if (!service.start({ QStringLiteral("--test-clock"), QStringLiteral("--dry-run"), QStringLiteral("--no-state") })
        || !service.setTestNow(kStart)) {
        out << "halvaned did not start" << Qt::endl;
        return 1;
    }
    ServiceClient client(service.location());
    if (!client.ready())
        return 1;
    std::unique_ptr<TriskVXRequestsController> requests(
        TriskVXRequestsController::requestsControllerWithConnection(client.connection()));
    NotifierLender lender;
    lender.observer = client.observer();
    lender.requests = requests.get();
    TriskVXClock clock;
    clock.setNow(kStart);

    QElapsedTimer making;
    making.start();
    auto panel = TriskVXQuickScheduleController::controllerWithNotifier(&lender, &clock, TriskVXWorkspace::workspace());
    out << QStringLiteral("making the panel's controller (templates and interface file): %1 ms")
               .arg(making.nsecsElapsed() / 1e6, 0, 'f', 1)
        << Qt::endl;

    Exposure exposure;
    exposure.clock.start();
    qApp->installEventFilter(&exposure);
    const qint64 first = open(*panel, exposure);
    if (first < 0) {
        out << "the panel never showed" << Qt::endl;
        return 1;
    }
    out << QStringLiteral("opening the panel the first time: %1 ms").arg(first / 1e6, 0, 'f', 1) << Qt::endl;
    QList<qint64> again;
    for (int i = 0; i < runs; ++i) {
        panel->cancel(nullptr);
        QCoreApplication::processEvents();
        const qint64 opening = open(*panel, exposure);
        if (opening < 0)
            return 1;
        again.append(opening);
    }
    BenchStatistics::report(out, QStringLiteral("opening the panel again"), again);
    panel->cancel(nullptr);

    QList<qint64> toggles;
    panel->setQuickChoice(TriskVXQuickChoiceToggleScheduler);
    for (int i = 0; i < runs; ++i) {
        const qint64 elapsed = applyUntilReported(*panel, client.observer(), kVXObserveSchedulerEnabled);
        if (elapsed < 0)
            return 1;
        toggles.append(elapsed);
    }
    BenchStatistics::report(out, QStringLiteral("Apply (start/stop) to the observer's report"), toggles);

    // Each addition stays, and the service publishes its whole pending list every time, so the figure is
    // taken over the first additions only: a person's schedule of a few dozen events.
    QList<qint64> additions;
    panel->setQuickChoice(TriskVXQuickChoiceAdd);
    for (int i = 0; i < qMin(runs, kAdditions); ++i) {
        panel->actionsDate()->setDateTime(kStart.addSecs(3600 + 60 * i));
        const qint64 elapsed = applyUntilReported(*panel, client.observer(), kVXObserveSchedulerPending);
        if (elapsed < 0)
            return 1;
        additions.append(elapsed);
    }
    BenchStatistics::report(
        out, QStringLiteral("Apply (add from a template, 0 to %1 pending) to the observer's report").arg(kAdditions),
        additions);
    return 0;
}
