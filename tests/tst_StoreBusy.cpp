// A store held by another process (another halvaned on the same folder) is in use, not broken: halvaned
// refuses to start and leaves it exactly as it is, and serves it once the other one lets go.
#include "HalvanedProcess.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace {
QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

class tst_StoreBusy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void busyStoreIsLeftAlone();
};

void tst_StoreBusy::busyStoreIsLeftAlone()
{
    HalvanedProcess service;
    QVERIFY(service.start({ u"--dry-run"_s }));
    QVERIFY(service.control(
        { u"add"_s, u"Note"_s, u"--at"_s, u"%1-01-02T03:04:05Z"_s.arg(QDate::currentDate().year() + 1) }));
    QTemporaryDir exports;
    QVERIFY(service.control({ u"export"_s, exports.filePath(u"before.plist"_s) }));
    QVERIFY(service.stop());
    const QByteArray store = contents(service.stateFile());

    // Held the way a second service would hold it. Reading the file in this process would drop the lock.
    sqlite3 *holder = nullptr;
    QCOMPARE(sqlite3_open(QFile::encodeName(service.stateFile()).constData(), &holder), SQLITE_OK);
    QCOMPARE(sqlite3_exec(holder, "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; COMMIT;", nullptr, nullptr, nullptr),
             SQLITE_OK);
    const QDir folder(service.stateDirectory());
    const QStringList files = folder.entryList(QDir::Files);
    QVERIFY(!service.start({ u"--dry-run"_s }));
    const QString output = service.output();
    QVERIFY2(output.contains(u"another halvaned (or another program) uses %1"_s.arg(service.stateFile())),
             qPrintable(output));
    QCOMPARE(folder.entryList(QDir::Files), files);
    sqlite3_close(holder);
    QCOMPARE(contents(service.stateFile()), store);

    QVERIFY(service.start({ u"--dry-run"_s }));
    QVERIFY(service.control({ u"export"_s, exports.filePath(u"after.plist"_s) }));
    QCOMPARE(contents(exports.filePath(u"after.plist"_s)), contents(exports.filePath(u"before.plist"_s)));
}

QTEST_GUILESS_MAIN(tst_StoreBusy)
#include "tst_StoreBusy.moc"
