// The status menu's figures (issue 5): one full rebuild with 1,000 pending triggers, 50 on-demand and
// 10 active events; and the timer wake-ups per minute while idle and while a count-down runs.
// Usage: bench_statusmenu [REBUILDS] [SECONDS]
#include "BenchProcess.h"
#include "NotifierResources.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusMenuController.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QMenu>
#include <QTimeZone>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace {
QVariantMap eventRecord(int i, bool onDemand)
{
    QVariantList behaviours;
    if (onDemand)
        behaviours.append(kVXElementBehaviour_CanPerformOnDemand);
    static const QStringList images { QStringLiteral("power-off"), QStringLiteral("restart"), QStringLiteral("sleep"),
                                      QStringLiteral("log-out"), QString() };
    return { { kVXEventName, QStringLiteral("Event number %1 of the benchmark").arg(i) },
             { kVXEventUniqueID, QStringLiteral("E%1").arg(i) },
             { kVXEventEnabled, true },
             { kVXEventImage, images.at(i % images.size()) },
             { kVXEventBehaviours, behaviours } };
}

QVariantMap queued(int i, const QDateTime &date, bool onDemand)
{
    return { { kVXQueuedTriggerTriggerID, QStringLiteral("T%1").arg(i) },
             { kVXQueuedTriggerEvent, eventRecord(i, onDemand) },
             { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, date }, { kVXTriggerIdentifier, i } } } };
}

double percentile(std::vector<double> values, double p)
{
    std::sort(values.begin(), values.end());
    const auto index = static_cast<size_t>(p * double(values.size() - 1) + 0.5);
    return values.at(std::min(index, values.size() - 1));
}

// Counts the timer events the process receives: every wake-up a timer causes.
class WakeUps : public QObject
{
public:
    int count = 0;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Timer)
            ++count;
        return QObject::eventFilter(watched, event);
    }
};

int countWakeUps(int seconds)
{
    WakeUps wakeUps;
    QCoreApplication::instance()->installEventFilter(&wakeUps);
    QEventLoop loop;
    QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    loop.exec();
    QCoreApplication::instance()->removeEventFilter(&wakeUps);
    // The single shot that ends the loop is the bench's own.
    return wakeUps.count - 1;
}

} // namespace

int main(int argc, char *argv[])
{
    // The build's resources with its own Quick Schedule templates, as the installed notifier has them.
    NotifierResources resources({ QStringLiteral("Info.plist"), QStringLiteral("TriskVXStatusMenuController.plist"),
                                  QStringLiteral("TriskVXStatusMenuController.ui"),
                                  QStringLiteral("Quick Schedule/1 Shut down.halvaneevent"),
                                  QStringLiteral("Quick Schedule/2 Restart.halvaneevent"),
                                  QStringLiteral("Quick Schedule/3 Sleep.halvaneevent"),
                                  QStringLiteral("Quick Schedule/4 Log out.halvaneevent") });
    resources.use();
    QApplication application(argc, argv);
    const int rebuilds = argc > 1 ? QByteArray(argv[1]).toInt() : 200;
    const int seconds = argc > 2 ? QByteArray(argv[2]).toInt() : 20;
    TriskVXBundle::mainBundle()->installTranslations();
    // As in the notifier, whose controller watches the system's zone instead of asking at each date.
    TriskVXClock::systemClock()->watchSystemTimeZone();

    TriskVXStatusBar bar;
    TriskVXStatusMenuController controller;
    controller.setStatusBar(&bar);
    if (!controller.initWithObserverRequests(nullptr, nullptr)) {
        std::fprintf(stderr, "the status menu did not start\n");
        return 1;
    }

    // 1,000 pending triggers over two weeks, one in four on demand; 50 on-demand and 10 active events.
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QVariantList pending;
    for (int i = 0; i < 1000; ++i)
        pending.append(queued(i, now.addSecs(3600 + qint64(i) * 1200), i % 4 == 0));
    QVariantList onDemand;
    for (int i = 0; i < 50; ++i)
        onDemand.append(eventRecord(2000 + i, true));
    QVariantList active;
    for (int i = 0; i < 10; ++i)
        active.append(QVariantMap { { kVXActiveEventEvent, eventRecord(3000 + i, false) } });
    controller.observedVariableDidBecome(kVXObserveOnDemandAvailable, onDemand);
    controller.observedVariableDidBecome(kVXObserveSchedulerActive, active);
    controller.setPendingEvents(pending);

    std::vector<double> rebuild;
    std::vector<double> withTeardown;
    for (int i = 0; i < rebuilds + 5; ++i) {
        QElapsedTimer timer;
        timer.start();
        controller.updateWithPending(pending);
        const double built = double(timer.nsecsElapsed()) / 1e6;
        // The previous menu goes when control is back in the event loop, which first delivers what was
        // posted before: part of what a report costs.
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const double total = double(timer.nsecsElapsed()) / 1e6;
        if (i >= 5) {
            rebuild.push_back(built);
            withTeardown.push_back(total);
        }
    }
    std::printf("status menu rebuild, 1,000 pending + 50 on-demand + 10 active, %d rebuilds:\n", rebuilds);
    std::printf("  updateWithPending: median %.2f ms, p99 %.2f ms\n", percentile(rebuild, 0.5),
                percentile(rebuild, 0.99));
    std::printf("  with the previous menu deleted: median %.2f ms, p99 %.2f ms\n", percentile(withTeardown, 0.5),
                percentile(withTeardown, 0.99));
    std::printf("  resident memory after the rebuilds: %ld KiB\n", BenchProcess::residentKiB());

    // What opening costs instead: the status menu gives its trigger items their submenus, and a
    // trigger's submenu copies its items.
    std::vector<double> openMenu;
    std::vector<double> openSubmenu;
    for (int i = 0; i < std::max(rebuilds / 4, 5); ++i) {
        controller.updateWithPending(pending);
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QMenu *menu = controller.statusMenu();
        QElapsedTimer timer;
        timer.start();
        Q_EMIT menu->aboutToShow();
        openMenu.push_back(double(timer.nsecsElapsed()) / 1e6);
        QMenu *submenu = nullptr;
        const QList<QAction *> items = menu->actions();
        for (const QAction *item : items) {
            if (item->menu() && item->menu() != controller.quickMenu()) {
                submenu = item->menu();
                break;
            }
        }
        timer.restart();
        if (submenu)
            Q_EMIT submenu->aboutToShow();
        openSubmenu.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::printf("  opening the status menu (1,000 submenus attached): median %.2f ms; a trigger's submenu: median "
                "%.3f ms\n",
                percentile(openMenu, 0.5), percentile(openSubmenu, 0.5));

    // Wake-ups: the status menu's timers on a real event loop, measured over real seconds.
    controller.observedVariableDidBecome(kVXObserveSchedulerActive, QVariantList());
    controller.observedVariableDidBecome(kVXObserveOnDemandAvailable, QVariantList());
    controller.observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList());
    countWakeUps(2); // the width animation of the last title change settles
    const int idle = countWakeUps(seconds);
    std::printf("wake-ups while idle, nothing pending: %.1f per minute (count-down timer %s)\n", idle * 60.0 / seconds,
                controller.countDownTimer() ? "running" : "none");
    const QVariantMap next = queued(1, QDateTime::currentDateTimeUtc().addSecs(3 * 60 + 30), false);
    controller.observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList { next });
    controller.observedVariableDidBecome(kVXObserveNotificationsCurrent, QVariantList { next });
    countWakeUps(2);
    const int counting = countWakeUps(seconds);
    std::printf("wake-ups while a count-down runs: %.1f per minute (%.2f a second)\n", counting * 60.0 / seconds,
                double(counting) / seconds);
    return 0;
}
