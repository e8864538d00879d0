// The service's store request on a property list read from the bytes: a dictionary is taken as the
// request's parameters, anything else as its list of events. Whatever the scheduler accepts must give
// well-formed published variables and a state that is saved and restored whole; whatever it refuses
// must be refused with a status and a message, leaving the store as it was.
#include "FuzzApplication.h"
#include "HalvaneScheduler.h"
#include "HalvaneStateFile.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXObserver.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXRecords.h"

#include <QTimeZone>

namespace {
QVariantMap parametersOf(const QVariant &value)
{
    if (value.typeId() == QMetaType::QVariantMap)
        return value.toMap();
    return { { kVXRPCParameterEvents, value } };
}

void checkPublished(const HalvaneScheduler &scheduler)
{
    const QStringList names = TriskVXObserver::observedVariables();
    for (const QString &name : names) {
        const QVariant value = scheduler.variable(name);
        QString error;
        if (value.isValid() && !TriskVXRecords::isWellFormedVariable(name, value, &error))
            qFatal("the scheduler published a malformed %s: %s", qPrintable(name), qPrintable(error));
    }
}

// What the state writer and the start of the service do with the state, without the disk.
void checkStateSurvivesASave(const HalvaneScheduler &scheduler, TriskVXClock *clock)
{
    QString error;
    const QByteArray data = TriskVXPropertyListSerialization::dataWithPropertyList(
        HalvaneStateFile::wrapDates(scheduler.toPropertyList()), TriskVXPropertyListSerialization::Format::Binary,
        &error);
    if (data.isEmpty())
        qFatal("a stored state cannot be saved: %s", qPrintable(error));
    const QVariant read = TriskVXPropertyListSerialization::propertyListWithData(data, &error);
    if (!read.isValid())
        qFatal("a saved state cannot be read: %s", qPrintable(error));
    HalvaneScheduler restored(clock, nullptr);
    if (!restored.restore(HalvaneStateFile::unwrapDates(read).toMap(), &error))
        qFatal("a saved state cannot be restored: %s", qPrintable(error));
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    triskFuzzSetUp(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QVariant value = TriskVXPropertyListSerialization::propertyListWithData(
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (!value.isValid())
        return 0;
    // A fixed instant and zone, so that a crash reproduces from its input alone.
    static TriskVXClock *clock = [] {
        auto *manual = new TriskVXClock;
        manual->setNow(QDateTime(QDate(2026, 11, 23), QTime(9, 0), QTimeZone::utc()));
        manual->setTimeZone(QTimeZone(QByteArrayLiteral("Europe/Berlin")));
        return manual;
    }();
    // Without a performer, a trigger that comes due is only logged: nothing the bytes name is run.
    HalvaneScheduler scheduler(clock, nullptr);
    scheduler.start();
    const HalvaneResult result = scheduler.handle(kVXRPCEventStoreStore, parametersOf(value));
    if (!result.succeeded()) {
        if (result.message().isEmpty() || result.status() == kVXStatusOK)
            qFatal("a refused store request has no message or no status");
        if (!scheduler.eventStore().events().isEmpty())
            qFatal("a refused store request changed the store");
        return 0;
    }
    checkPublished(scheduler);
    checkStateSurvivesASave(scheduler, clock);
    return 0;
}
