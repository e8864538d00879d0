// The floating panels' figures: from the service making a trigger current to its panel on screen; the
// resident memory each open panel adds; processor time and context switches while one and 20 panels
// count down, against one and 20 bare windows whose labels change once a second, in the same run.
// Usage: bench_panels [LATENCY_RUNS] [SECONDS_PER_PHASE]   (on a private session bus)
#include "BenchProcess.h"
#include "BenchService.h"
#include "BenchStatistics.h"
#include "HalvanedProcess.h"
#include "NotifierResources.h"
#include "ServiceClient.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXNotificationController.h"
#include "TriskVXNotificationsController.h"
#include "TriskVXRequestsController.h"
#include "WaitFor.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QLabel>
#include <QTimeZone>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {
const QDateTime kStart(QDate(2030, 6, 1), QTime(8, 0), QTimeZone::utc());
const qint64 kSpacing = 1000;
const qint64 kNotice = 300;

QVariantMap queued(int i, const QDateTime &date)
{
    return { { kVXQueuedTriggerTriggerID, QStringLiteral("T%1").arg(i) },
             { kVXQueuedTriggerEvent,
               QVariantMap { { kVXEventName, QStringLiteral("Event %1 of the bench").arg(i) },
                             { kVXEventImage, QStringLiteral("power-off") } } },
             { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, date } } } };
}

// When each window was first exposed: on screen, as far as the window system tells.
class Exposures : public QObject
{
public:
    QHash<QObject *, qint64> at;
    QElapsedTimer clock;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Expose) {
            auto *window = qobject_cast<QWindow *>(watched);
            if (window && window->isExposed() && !at.contains(window))
                at.insert(window, clock.nsecsElapsed());
        }
        return QObject::eventFilter(watched, event);
    }
};

// Processor milliseconds and context switches per minute while the event loop runs for seconds.
BenchProcess::Usage perMinute(int seconds)
{
    const BenchProcess::Usage before = BenchProcess::usage();
    QEventLoop loop;
    QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    loop.exec();
    const BenchProcess::Usage after = BenchProcess::usage();
    const double scale = 60.0 / seconds;
    return { (after.cpuMSecs - before.cpuMSecs) * scale,
             long(double(after.contextSwitches - before.contextSwitches) * scale) };
}

// Publication to panel, with the real service on its test clock: each step moves the service's clock so
// that the next event enters its notice period.
bool measureLatency(int runs)
{
    HalvanedProcess service;
    if (!startWithSpacedEvents(service, runs, kStart, kSpacing, kNotice)) {
        std::fprintf(stderr, "halvaned did not start\n");
        return false;
    }
    ServiceClient client(service.location());
    if (!client.ready())
        return false;
    std::unique_ptr<TriskVXRequestsController> requests(
        TriskVXRequestsController::requestsControllerWithConnection(client.connection()));
    TriskVXClock clock;
    clock.setNow(kStart);
    TriskVXNotificationsController notifications(&clock);
    notifications.initWithObserverRequests(client.observer(), requests.get());
    notifications.refresh();

    Exposures exposures;
    exposures.clock.start();
    qApp->installEventFilter(&exposures);
    std::vector<double> latencies;
    for (int i = 0; i < runs; ++i) {
        const QDateTime now = kStart.addSecs((i + 1) * kSpacing - kNotice + 1);
        clock.setNow(now);
        const qint64 sent = exposures.clock.nsecsElapsed();
        service.setTestNow(now);
        const QString id = QStringLiteral("Event %1").arg(i);
        TriskVXNotificationController *panel = nullptr;
        waitFor([&] {
            for (TriskVXNotificationController *candidate : notifications.notifications()) {
                if (candidate->eventName() == id)
                    panel = candidate;
            }
            return panel && panel->notificationWindow()->windowHandle()
                && exposures.at.contains(panel->notificationWindow()->windowHandle());
        });
        if (!panel) {
            std::fprintf(stderr, "no panel for %s\n", qPrintable(id));
            return false;
        }
        latencies.push_back(double(exposures.at.value(panel->notificationWindow()->windowHandle()) - sent) / 1e6);
    }
    qApp->removeEventFilter(&exposures);
    std::printf("service clock moved to panel exposed (%d runs): median %.1f ms, min %.1f ms, max %.1f ms\n", runs,
                BenchStatistics::median(latencies), *std::min_element(latencies.begin(), latencies.end()),
                *std::max_element(latencies.begin(), latencies.end()));
    return true;
}
} // namespace

int main(int argc, char *argv[])
{
    NotifierResources resources({ QStringLiteral("Info.plist"), QStringLiteral("TriskVXNotificationController.ui") });
    resources.use();
    QApplication application(argc, argv);
    const int runs = argc > 1 ? QByteArray(argv[1]).toInt() : 30;
    const int seconds = argc > 2 ? QByteArray(argv[2]).toInt() : 30;
    TriskVXBundle::mainBundle()->installTranslations();
    std::printf("platform: %s\n", qPrintable(QGuiApplication::platformName()));

    if (!measureLatency(runs))
        return 1;

    // Memory: one panel made and closed first, so that the interface loader, fonts and pictures count once.
    TriskVXClock *clock = TriskVXClock::systemClock();
    TriskVXNotificationsController notifications(clock);
    notifications.initWithObserverRequests(nullptr, nullptr);
    const QDateTime later = QDateTime::currentDateTimeUtc().addSecs(3600);
    notifications.updateWithCurrent(QVariantList { queued(1000, later) });
    waitFor(
        [] {
            return false;
        },
        500);
    notifications.updateWithCurrent(QVariantList());
    waitFor(
        [] {
            return false;
        },
        500);
    const long before = BenchProcess::residentKiB();
    QVariantList twenty;
    for (int i = 0; i < 20; ++i)
        twenty.append(queued(i, later.addSecs(i * 60)));
    notifications.updateWithCurrent(twenty);
    waitFor(
        [] {
            return false;
        },
        1500);
    const long after = BenchProcess::residentKiB();
    std::printf("resident memory: %ld KiB before, %ld KiB with 20 panels open: %.0f KiB a panel\n", before, after,
                double(after - before) / 20.0);
    notifications.updateWithCurrent(QVariantList());
    waitFor(
        [] {
            return false;
        },
        500);

    // Processor time and context switches per minute, three phases of the same length.
    // The bare windows: labels that change once a second from one timer, one window and then twenty, to
    // tell what the panels cost from what any window costs its window system per repaint.
    const auto bareWindows = [seconds](int count) {
        std::vector<std::unique_ptr<QWidget>> windows;
        QList<QLabel *> labels;
        for (int i = 0; i < count; ++i) {
            windows.push_back(std::make_unique<QWidget>());
            auto *label = new QLabel(QTime::currentTime().toString(), windows.back().get());
            (new QVBoxLayout(windows.back().get()))->addWidget(label);
            windows.back()->setAttribute(Qt::WA_ShowWithoutActivating);
            windows.back()->move(40 + (i % 5) * 300, 40 + (i / 5) * 200);
            windows.back()->show();
            labels.append(label);
        }
        QTimer tick;
        QObject::connect(&tick, &QTimer::timeout, [&labels] {
            for (QLabel *label : std::as_const(labels))
                label->setText(QTime::currentTime().toString());
        });
        tick.start(1000);
        waitFor(
            [] {
                return false;
            },
            1000);
        return perMinute(seconds);
    };
    const BenchProcess::Usage bare = bareWindows(1);
    const BenchProcess::Usage bareTwenty = bareWindows(20);
    notifications.updateWithCurrent(QVariantList { twenty.first() });
    waitFor(
        [] {
            return false;
        },
        1000);
    const BenchProcess::Usage one = perMinute(seconds);
    notifications.updateWithCurrent(twenty);
    waitFor(
        [] {
            return false;
        },
        1000);
    const BenchProcess::Usage many = perMinute(seconds);
    std::printf("per minute over %d s: a bare window %.0f ms CPU, %ld switches; 20 bare windows %.0f ms, %ld; one "
                "panel %.0f ms, %ld; 20 panels %.0f ms, %ld\n",
                seconds, bare.cpuMSecs, bare.contextSwitches, bareTwenty.cpuMSecs, bareTwenty.contextSwitches,
                one.cpuMSecs, one.contextSwitches, many.cpuMSecs, many.contextSwitches);
    std::printf("  one panel / a bare window: CPU %.2f, switches %.2f (goal <= 1.1)\n", one.cpuMSecs / bare.cpuMSecs,
                double(one.contextSwitches) / double(bare.contextSwitches));
    std::printf("  20 panels / one panel: CPU %.2f, switches %.2f (goal <= 1.5)\n", many.cpuMSecs / one.cpuMSecs,
                double(many.contextSwitches) / double(one.contextSwitches));
    std::printf("  20 panels / 20 bare windows: CPU %.2f, switches %.2f\n", many.cpuMSecs / bareTwenty.cpuMSecs,
                double(many.contextSwitches) / double(bareTwenty.contextSwitches));
    return 0;
}
