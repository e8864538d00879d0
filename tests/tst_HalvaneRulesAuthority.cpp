#include "HalvaneRulesAuthority.h"
#include "HalvaneScheduler.h"
#include "LogCapture.h"
#include "TriskVXConstants.h"
#include "TriskVXPropertyListSerialization.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace {
const uid_t kOwner = 4242;
const uid_t kStranger = 4343;

HalvaneCaller callerWith(uid_t uid)
{
    HalvaneCaller caller;
    caller.busName = QStringLiteral(":1.%1").arg(uid);
    caller.uid = uid;
    return caller;
}

bool granted(HalvaneRulesAuthority &authority, uid_t uid, const QString &request)
{
    bool answer = false;
    authority.checkRight(callerWith(uid), request, [&](bool yes, const QString &) {
        answer = yes;
    });
    return answer;
}
} // namespace

class tst_HalvaneRulesAuthority : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ownerOnlyWithoutAFile();
    void rules_data();
    void rules();
    void groupsAndUserNames();
    void malformedRulesFallBackToTheOwner_data();
    void malformedRulesFallBackToTheOwner();
    void editingTheFileChangesRights();
    void rightsRecords();
};

void tst_HalvaneRulesAuthority::ownerOnlyWithoutAFile()
{
    HalvaneRulesAuthority authority(QStringLiteral("/nonexistent/rights.plist"), kOwner);
    for (const QString &request : HalvaneScheduler::requestNames()) {
        QVERIFY(granted(authority, kOwner, request));
        QVERIFY(!granted(authority, kStranger, request));
    }
    HalvaneCaller unknown;
    bool answer = true;
    authority.checkRight(unknown, kVXRPCSchedulerReset, [&](bool yes, const QString &) {
        answer = yes;
    });
    QVERIFY(!answer);
}

void tst_HalvaneRulesAuthority::rules_data()
{
    QTest::addColumn<QVariantMap>("rules");
    QTest::addColumn<uint>("uid");
    QTest::addColumn<QString>("request");
    QTest::addColumn<bool>("granted");
    const QVariantMap everyoneCancels { { kVXRPCSchedulerCancel, QVariantList { QStringLiteral("everyone") } },
                                        { QStringLiteral("*"), QVariantList { QStringLiteral("owner") } } };
    QTest::newRow("everyone may cancel") << everyoneCancels << uint(kStranger) << kVXRPCSchedulerCancel << true;
    QTest::newRow("but not store") << everyoneCancels << uint(kStranger) << kVXRPCEventStoreStore << false;
    QTest::newRow("the owner still stores") << everyoneCancels << uint(kOwner) << kVXRPCEventStoreStore << true;
    const QVariantMap byUid { { QStringLiteral("*"), QVariantList { QStringLiteral("uid:4343") } } };
    QTest::newRow("by uid") << byUid << uint(kStranger) << kVXRPCSchedulerAdjust << true;
    QTest::newRow("the owner left out") << byUid << uint(kOwner) << kVXRPCSchedulerAdjust << false;
    QTest::newRow("nothing for the request")
        << QVariantMap { { kVXRPCSchedulerReset, QVariantList { QStringLiteral("owner") } } } << uint(kOwner)
        << kVXRPCSchedulerAdjust << false;
}

void tst_HalvaneRulesAuthority::rules()
{
    QFETCH(QVariantMap, rules);
    QFETCH(uint, uid);
    QFETCH(QString, request);
    QFETCH(bool, granted);
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("rights.plist"));
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(rules, path));
    HalvaneRulesAuthority authority(path, kOwner);
    QCOMPARE(::granted(authority, uid_t(uid), request), granted);
}

void tst_HalvaneRulesAuthority::groupsAndUserNames()
{
    const passwd *me = ::getpwuid(::getuid());
    const struct group *myGroup = ::getgrgid(::getgid());
    QVERIFY(me && myGroup);
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("rights.plist"));
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { kVXRPCSchedulerReset,
                        QVariantList { QString(QStringLiteral("user:") + QString::fromLocal8Bit(me->pw_name)) } },
                      { kVXRPCSchedulerCancel,
                        QVariantList { QString(QStringLiteral("group:") + QString::fromLocal8Bit(myGroup->gr_name)) } },
                      { kVXRPCSchedulerAdjust, QVariantList { QStringLiteral("group:no-such-group-here") } } },
        path));
    HalvaneRulesAuthority authority(path, kOwner);
    QVERIFY(granted(authority, ::getuid(), kVXRPCSchedulerReset));
    QVERIFY(granted(authority, ::getuid(), kVXRPCSchedulerCancel));
    QVERIFY(!granted(authority, ::getuid(), kVXRPCSchedulerAdjust));
    QVERIFY(!granted(authority, kStranger, kVXRPCSchedulerReset));
}

void tst_HalvaneRulesAuthority::malformedRulesFallBackToTheOwner_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QString>("reason");
    QTest::newRow("not a plist") << QByteArray("everyone may do anything") << QStringLiteral("not a property list");
    QTest::newRow("unknown request") << QByteArray(
        "<?xml version=\"1.0\"?><plist "
        "version=\"1.0\"><dict><key>Explode</key><array><string>everyone</string></array></dict></plist>")
                                     << QStringLiteral("unknown request Explode");
    QTest::newRow("unknown rule") << QByteArray(
        "<?xml version=\"1.0\"?><plist "
        "version=\"1.0\"><dict><key>*</key><array><string>anybody</string></array></dict></plist>")
                                  << QStringLiteral("unknown rule anybody");
    QTest::newRow("rules not an array") << QByteArray(
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>*</key><string>everyone</string></dict></plist>")
                                        << QStringLiteral("not an array");
}

void tst_HalvaneRulesAuthority::malformedRulesFallBackToTheOwner()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, reason);
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("rights.plist"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(contents);
    file.close();
    LogCapture log;
    HalvaneRulesAuthority authority(path, kOwner);
    const QStringList messages = log.messages("halvane.service").filter(QStringLiteral("ignoring the rights rules"));
    QCOMPARE(messages.size(), 1);
    QVERIFY2(messages.first().contains(reason), qPrintable(messages.first()));
    QVERIFY(granted(authority, kOwner, kVXRPCSchedulerCancel));
    QVERIFY(!granted(authority, kStranger, kVXRPCSchedulerCancel));
}

void tst_HalvaneRulesAuthority::editingTheFileChangesRights()
{
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("rights.plist"));
    HalvaneRulesAuthority authority(path, kOwner);
    QSignalSpy changed(&authority, &HalvaneRulesAuthority::rightsChanged);
    QVERIFY(!granted(authority, kStranger, kVXRPCSchedulerCancel));
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { QStringLiteral("*"), QVariantList { QStringLiteral("everyone") } } }, path));
    QVERIFY(changed.wait(5000));
    QVERIFY(granted(authority, kStranger, kVXRPCSchedulerCancel));
}

void tst_HalvaneRulesAuthority::rightsRecords()
{
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("rights.plist"));
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { kVXRPCSchedulerCancel, QVariantList { QStringLiteral("everyone") } },
                      { kVXRPCSchedulerAdjust, QVariantList { QStringLiteral("owner") } } },
        path));
    HalvaneRulesAuthority authority(path, kOwner);
    QVariantList rights;
    authority.rightsOf(callerWith(kOwner), [&](const QVariantList &received) {
        rights = received;
    });
    QCOMPARE(rights,
             (QVariantList { QVariantMap { { kVXAuthorisationRightSignature, kVXRPCSchedulerAdjust },
                                           { kVXAuthorisationRightRule, QStringLiteral("owner") } },
                             QVariantMap { { kVXAuthorisationRightSignature, kVXRPCSchedulerCancel },
                                           { kVXAuthorisationRightRule, kVXAuthorisationRightRule_Universal } } }));
    authority.rightsOf(callerWith(kStranger), [&](const QVariantList &received) {
        rights = received;
    });
    QCOMPARE(rights.size(), 1);
}

QTEST_GUILESS_MAIN(tst_HalvaneRulesAuthority)
#include "tst_HalvaneRulesAuthority.moc"
