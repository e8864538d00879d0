// The update checker against a feed served on 127.0.0.1: updates, every failure, the last check kept.
#include "FeedServer.h"
#include "TriskUDFeedFetcherModule.h"
#include "TriskUDReleasesFeed.h"
#include "TriskUDUpdrift.h"
#include "TriskVXClock.h"
#include "WaitFor.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {
const QDateTime kNow(QDate(2030, 6, 1), QTime(8, 0), QTimeZone::utc());

QByteArray feed(const QByteArray &releases)
{
    return "<?xml version=\"1.0\"?>\n<component type=\"desktop-application\"><id>x</id><releases>" + releases
        + "</releases></component>\n";
}

struct Answer
{
    bool done = false;
    QStringList versions;
    QString error;
};
} // namespace

class tst_TriskUDUpdrift : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void ordersVersions_data();
    void ordersVersions();
    void answersEachCheck_data();
    void answersEachCheck();
    void keepsTheModuleAndTheLastCheck();

private:
    Answer check(TriskUDUpdrift &updrift, const QUrl &url, const QString &version = u"1.2.0"_s);

    // The module as the program loads it.
    const TriskUDFeedFetcherFactory m_network = TriskUDFeedFetcherModule::factory();
    TriskVXClock m_clock;
    std::unique_ptr<QTemporaryDir> m_state;
};

void tst_TriskUDUpdrift::init()
{
    m_clock.setNow(kNow);
    m_state = std::make_unique<QTemporaryDir>();
}

Answer tst_TriskUDUpdrift::check(TriskUDUpdrift &updrift, const QUrl &url, const QString &version)
{
    Answer answer;
    int calls = 0;
    updrift.checkForUpdatesWithURLVersionSystemVersionReply(
        url, version, QString(), [&](const QVariantList &updates, const QString &error) {
            ++calls;
            answer.done = true;
            for (const QVariant &update : updates)
                answer.versions.append(update.toMap().value(u"version"_s).toString());
            answer.error = error;
        });
    // The reply never comes before the call returns.
    if (answer.done)
        answer.error = u"answered synchronously"_s;
    waitFor([&] {
        return answer.done;
    });
    if (calls != 1)
        answer.error = u"answered %1 times"_s.arg(calls);
    return answer;
}

void tst_TriskUDUpdrift::ordersVersions_data()
{
    QTest::addColumn<QString>("older");
    QTest::addColumn<QString>("newer");
    QTest::newRow("numeric, not textual") << u"1.9"_s << u"1.10"_s;
    QTest::newRow("leading zeros") << u"1.01"_s << u"1.2"_s;
    QTest::newRow("longer is newer") << u"1.0"_s << u"1.0.1"_s;
    QTest::newRow("tilde before release") << u"1.0~rc1"_s << u"1.0"_s;
    QTest::newRow("tilde orders") << u"1.0~alpha"_s << u"1.0~beta"_s;
    QTest::newRow("caret after release") << u"1.0"_s << u"1.0^git2"_s;
    QTest::newRow("caret before next") << u"1.0^git2"_s << u"1.0.1"_s;
    QTest::newRow("letters before numbers") << u"1.a"_s << u"1.1"_s;
    QTest::newRow("separators only separate") << u"1-2"_s << u"1.3"_s;
}

void tst_TriskUDUpdrift::ordersVersions()
{
    QFETCH(QString, older);
    QFETCH(QString, newer);
    QCOMPARE(TriskUDReleasesFeed::compareVersions(older, newer), -1);
    QCOMPARE(TriskUDReleasesFeed::compareVersions(newer, older), 1);
    QCOMPARE(TriskUDReleasesFeed::compareVersions(newer, newer), 0);
}

void tst_TriskUDUpdrift::answersEachCheck_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("withLength");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QStringList>("updates");
    QTest::addColumn<QString>("error");

    const QByteArray releases = feed("<release version=\"1.10.0\" date=\"2030-05-01\"/>"
                                     "<release version=\"2.0~beta1\" type=\"development\"/>"
                                     "<release version=\"1.2.1\" timestamp=\"1900000000\"><url>https://x/1.2.1</url>"
                                     "</release><release version=\"1.2.0\"/><release version=\"1.1\"/>");
    const auto answers
        = [](const char *name, const QByteArray &body, const QStringList &updates, bool withLength = true) {
              QTest::newRow(name) << 200 << body << withLength << QString() << updates << QString();
          };
    // Status -1: the server never answers.
    const auto fails
        = [](const char *name, int status, const QByteArray &body, const QString &error, bool withLength = true) {
              QTest::newRow(name) << status << body << withLength << QString() << QStringList() << error;
          };
    // Another address than the test's server, which would serve the releases.
    const auto elsewhere = [&](const char *name, const QString &address, const QString &error) {
        QTest::newRow(name) << 200 << releases << true << address << QStringList() << error;
    };
    answers("newer stable releases, newest first", releases, { u"1.10.0"_s, u"1.2.1"_s });
    answers("bare releases file", "<releases><release version=\"1.3\"/></releases>", { u"1.3"_s }, false);
    fails("not XML", 200, "<html><body>", u"is not a releases list"_s);
    fails("no releases", 200, "<component/>", u"no <releases> element"_s);
    fails("release without version", 200, feed("<release date=\"2030-01-01\"/>"), u"a release without a version"_s);
    fails("oversized, announced", 200, QByteArray(5000, ' '), u"larger than 1000 bytes"_s);
    fails("oversized, unannounced", 200, QByteArray(5000, ' '), u"larger than 1000 bytes"_s, false);
    fails("silent server", -1, QByteArray(), u"did not answer within 300 ms"_s);
    const QString plain = u"is not an https address"_s;
    elsewhere("plain http elsewhere", u"http://example.org/releases.xml"_s, plain);
    elsewhere("plain http, loopback in name only", u"http://127.0.0.1.example.org/releases.xml"_s, plain);
    elsewhere("plain http, past the loopback net", u"http://128.0.0.1/releases.xml"_s, plain);
    elsewhere("not an address", u"releases.xml"_s, plain);
    elsewhere("nothing listens", u"https://127.0.0.1:1/releases.xml"_s, u"cannot read the update feed"_s);
}

void tst_TriskUDUpdrift::answersEachCheck()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, withLength);
    QFETCH(QString, address);
    QFETCH(QStringList, updates);
    QFETCH(QString, error);

    FeedServer server;
    if (status < 0)
        server.replyNever();
    else
        server.reply(status, body, withLength);
    TriskUDUpdrift updrift(m_network, &m_clock);
    updrift.setStateFile(m_state->filePath(u"state.plist"_s));
    updrift.setMaximumBytes(status == 200 && body.startsWith(' ') ? 1000 : 1024 * 1024);
    updrift.setTimeoutMSecs(300);

    const Answer answer = check(updrift, address.isEmpty() ? server.url() : QUrl(address));
    QVERIFY2(error.isEmpty() ? answer.error.isEmpty() : answer.error.contains(error), qPrintable(answer.error));
    QCOMPARE(answer.versions, updates);
    QVERIFY(!updrift.isChecking());
    // Only a check that read the feed counts as done.
    QCOMPARE(updrift.lastCheck(), error.isEmpty() ? kNow : QDateTime());
}

// The network module is loaded at the first check and once only; the last check is kept across runs.
void tst_TriskUDUpdrift::keepsTheModuleAndTheLastCheck()
{
    FeedServer server;
    server.reply(200, feed("<release version=\"1.3\"/>"));
    const QString state = m_state->filePath(u"config/state.plist"_s);
    {
        int made = 0;
        TriskUDUpdrift first(
            [this, &made](QString *error) {
                ++made;
                return m_network(error);
            },
            &m_clock);
        first.setStateFile(state);
        QCOMPARE(made, 0);
        QVERIFY(!first.lastCheck().isValid());
        for (int i = 0; i < 2; ++i) {
            const Answer answer = check(first, server.url());
            QVERIFY2(answer.error.isEmpty(), qPrintable(answer.error));
            QCOMPARE(answer.versions, QStringList { u"1.3"_s });
        }
        QCOMPARE(made, 1);
        // A second check while one runs is refused, the running one is not disturbed.
        first.checkForUpdatesWithURLVersionSystemVersionReply(server.url(), u"1.0"_s, {}, [](auto, auto) {});
        QVERIFY(check(first, server.url()).error.contains(u"running already"_s));
    }
    m_clock.setNow(kNow.addDays(3));
    TriskUDUpdrift second(m_network, &m_clock);
    second.setStateFile(state);
    QCOMPARE(second.lastCheck(), kNow);

    // A broken state file means no known check, and a message.
    QFile broken(state);
    QVERIFY(broken.open(QIODevice::WriteOnly) && broken.write("not a plist") > 0);
    broken.close();
    second.setStateFile(state);
    QVERIFY(!second.lastCheck().isValid());

    // A module that cannot be loaded fails the check with the reason, and nothing else.
    TriskUDUpdrift missing(TriskUDFeedFetcherModule::factory(m_state->filePath(u"none.so"_s)), &m_clock);
    missing.setStateFile(m_state->filePath(u"state2.plist"_s));
    const Answer answer = check(missing, server.url());
    QVERIFY2(answer.error.contains(u"cannot load the network module"_s), qPrintable(answer.error));
    QVERIFY(!missing.isChecking() && !missing.lastCheck().isValid());
}

QTEST_GUILESS_MAIN(tst_TriskUDUpdrift)
#include "tst_TriskUDUpdrift.moc"
