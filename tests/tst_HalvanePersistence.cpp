#include "HalvanePersistence.h"
#include "HalvaneScheduler.h"
#include "HalvaneStateFile.h"
#include "HalvaneStateWriter.h"
#include "LogCapture.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"

#include <QDir>
#include <QFile>
#include <QMutex>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimeZone>

namespace {
const QDateTime kNow(QDate(2030, 6, 1), QTime(12, 0), QTimeZone::utc());

QVariantMap eventWithOnce(const QString &id, const QDateTime &date)
{
    return { { kVXEventUniqueID, id },
             { kVXEventName, id },
             { kVXEventTriggers,
               QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                            { kVXTriggerDate, date },
                                            { kVXTriggerIdentifier, QString(id + QStringLiteral("-t")) } } } } };
}
} // namespace

class tst_HalvanePersistence : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void missingFileStartsEmpty();
    void changesAreSavedOncePerTurnAndSurviveARestart();
    void whenSavedWaitsForTheWrite();
    void writerWritesOnItsThread();
    void unreadableFileIsKeptAside_data();
    void unreadableFileIsKeptAside();

private:
    std::unique_ptr<QTemporaryDir> m_directory;
    TriskVXClock m_clock;
    QString path() const { return m_directory->filePath(QStringLiteral("store.plist")); }
};

void tst_HalvanePersistence::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    m_clock.setNow(kNow);
}

void tst_HalvanePersistence::missingFileStartsEmpty()
{
    HalvaneScheduler scheduler(&m_clock, nullptr);
    HalvanePersistence persistence(&scheduler, path());
    LogCapture log;
    QVERIFY(persistence.load());
    QVERIFY(scheduler.eventStore().events().isEmpty());
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("no state file at")).size(), 1);
}

void tst_HalvanePersistence::changesAreSavedOncePerTurnAndSurviveARestart()
{
    {
        HalvaneScheduler scheduler(&m_clock, nullptr);
        HalvanePersistence persistence(&scheduler, path());
        QVERIFY(persistence.load());
        QVERIFY(scheduler
                    .handle(kVXRPCEventStoreStore,
                            { { kVXRPCParameterEvents,
                                QVariantList { eventWithOnce(QStringLiteral("a"), kNow.addDays(1)) } } })
                    .succeeded());
        QVERIFY(scheduler
                    .handle(kVXRPCSchedulerAdjust,
                            { { kVXRPCParameterTriggerID, QStringLiteral("a-t") },
                              { kVXRPCParameterDate, kNow.addDays(2) } })
                    .succeeded());
        QVERIFY(scheduler.handle(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }).succeeded());
        QVERIFY(persistence.isDirty());
        QVERIFY(!QFile::exists(path()));
        QTRY_VERIFY(!persistence.isDirty());
        QVERIFY(QFile::exists(path()));
    }
    HalvaneScheduler restarted(&m_clock, nullptr);
    HalvanePersistence persistence(&restarted, path());
    QVERIFY(persistence.load());
    QVERIFY(!restarted.isEnabled());
    QCOMPARE(restarted.triggerState(QStringLiteral("a-t")).adjustedDate, kNow.addDays(2));
    const QVariantList pending = restarted.variable(kVXObserveSchedulerPending).toList();
    QCOMPARE(pending.size(), 1);
    QCOMPARE(pending.first().toMap().value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime(),
             kNow.addDays(2));
}

void tst_HalvanePersistence::whenSavedWaitsForTheWrite()
{
    HalvaneScheduler scheduler(&m_clock, nullptr);
    HalvanePersistence persistence(&scheduler, path());
    QVERIFY(persistence.load());
    bool answeredAtOnce = false;
    persistence.whenSaved([&](bool saved) {
        answeredAtOnce = saved;
    });
    QVERIFY(answeredAtOnce);
    QList<bool> answers;
    QVERIFY(scheduler.handle(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }).succeeded());
    persistence.whenSaved([&](bool saved) {
        // The answer goes out only when the file holds the change.
        QVariantMap state;
        QString error;
        HalvaneStateFile::load(path(), &state, &error);
        answers.append(saved && state.value(QStringLiteral("Enabled")) == QVariant(false));
    });
    QVERIFY(scheduler.handle(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, true } }).succeeded());
    persistence.whenSaved([&](bool saved) {
        answers.append(saved);
    });
    QVERIFY(answers.isEmpty());
    QTRY_COMPARE(answers.size(), 2);
    QCOMPARE(answers, (QList<bool> { false, true }));
}

void tst_HalvanePersistence::writerWritesOnItsThread()
{
    QThread thread;
    auto *writer = new HalvaneStateWriter;
    writer->moveToThread(&thread);
    connect(&thread, &QThread::finished, writer, &QObject::deleteLater);
    thread.start();
    struct Written
    {
        quint64 generation;
        bool saved;
        QString error;
        QThread *thread;
    };
    // Filled on the writer's thread, read here: under a lock.
    QMutex lock;
    QList<Written> results;
    connect(
        writer, &HalvaneStateWriter::written, writer,
        [&results, &lock](quint64 generation, bool saved, const QString &error) {
            QMutexLocker locker(&lock);
            results.append({ generation, saved, error, QThread::currentThread() });
        },
        Qt::DirectConnection);
    auto count = [&] {
        QMutexLocker locker(&lock);
        return results.size();
    };
    QMetaObject::invokeMethod(writer, "write", Qt::QueuedConnection, Q_ARG(QString, path()),
                              Q_ARG(QVariantMap, (QVariantMap { { QStringLiteral("v"), qint64(7) } })),
                              Q_ARG(quint64, quint64(3)));
    QTRY_COMPARE(count(), 1);
    QCOMPARE(results.first().generation, quint64(3));
    QVERIFY(results.first().saved);
    QCOMPARE(results.first().thread, &thread);
    QVariantMap state;
    QString error;
    QCOMPARE(HalvaneStateFile::load(path(), &state, &error), HalvaneStateFile::Outcome::Loaded);
    QCOMPARE(state.value(QStringLiteral("v")).toLongLong(), 7);
    // A folder it cannot write to is reported, not hidden.
    QMetaObject::invokeMethod(writer, "write", Qt::QueuedConnection,
                              Q_ARG(QString, QStringLiteral("/proc/x/store.plist")), Q_ARG(QVariantMap, QVariantMap()),
                              Q_ARG(quint64, quint64(4)));
    QTRY_COMPARE(count(), 2);
    QVERIFY(!results.last().saved);
    QVERIFY(!results.last().error.isEmpty());
    thread.quit();
    thread.wait();
}

void tst_HalvanePersistence::unreadableFileIsKeptAside_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("garbage") << QByteArray("\x00\x01garbage", 9);
    QTest::newRow("a plist of another shape") << QByteArray(
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Version</key><integer>9</integer></dict></plist>");
}

void tst_HalvanePersistence::unreadableFileIsKeptAside()
{
    QFETCH(QByteArray, contents);
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(contents);
    file.close();
    HalvaneScheduler scheduler(&m_clock, nullptr);
    HalvanePersistence persistence(&scheduler, path());
    LogCapture log;
    QVERIFY(persistence.load());
    QVERIFY(scheduler.eventStore().events().isEmpty());
    const QStringList kept = QDir(m_directory->path()).entryList({ QStringLiteral("store.plist.corrupt-*") });
    QCOMPARE(kept.size(), 1);
    QFile aside(m_directory->filePath(kept.first()));
    QVERIFY(aside.open(QIODevice::ReadOnly));
    QCOMPARE(aside.readAll(), contents);
    const QStringList messages
        = log.messages("halvane.service").filter(QStringLiteral("the state file cannot be read"));
    QCOMPARE(messages.size(), 1);
    QVERIFY(messages.first().contains(kept.first()));
    // Starting empty never wrote over the old file.
    QVERIFY(scheduler.handle(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }).succeeded());
    persistence.saveNow();
    QVERIFY(aside.seek(0));
    QCOMPARE(aside.readAll(), contents);
}

QTEST_GUILESS_MAIN(tst_HalvanePersistence)
#include "tst_HalvanePersistence.moc"
