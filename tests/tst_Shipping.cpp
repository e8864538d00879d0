// What a person installing the programs meets first: their command lines (--help, --version, a wrong
// option) and the Debian packages, built with CPack, checked by lintian and unpacked into a throw-away root.
#include "ProgramRun.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
QString programPath(const QString &name)
{
    return name == u"halvaned"_s  ? QStringLiteral(HALVANED_PATH)
        : name == u"halvanectl"_s ? QStringLiteral(HALVANECTL_PATH)
                                  : QStringLiteral(TRISK_NOTIFIER_PATH);
}
} // namespace

class tst_Shipping : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandLine_data();
    void commandLine();
    void packages();
};

void tst_Shipping::commandLine_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("out");
    QTest::addColumn<QString>("err");
    for (const QString &program : { u"halvaned"_s, u"halvanectl"_s, u"trisk-notifier"_s })
        QTest::newRow(QByteArray(program.toUtf8() + " unknown option").constData())
            << program << QStringList { u"--frobnicate"_s } << 2 << QString()
            << program + u": Unknown option 'frobnicate'."_s;
    QTest::newRow("halvanectl --version")
        << u"halvanectl"_s << QStringList { u"--version"_s } << 0 << u"halvanectl " TRISK_VERSION "\n"_s << QString();
    for (const QString &program : { u"halvanectl"_s, u"trisk-notifier"_s })
        QTest::newRow(QByteArray(program.toUtf8() + " --help").constData())
            << program << QStringList { u"--help"_s } << 0 << u"Usage: "_s << QString();
    QTest::newRow("halvaned: a stray argument")
        << u"halvaned"_s << QStringList { u"now"_s } << 2 << QString() << u"halvaned: unexpected argument now"_s;
    QTest::newRow("halvaned: catch-up not a number")
        << u"halvaned"_s << QStringList { u"--catch-up"_s, u"soon"_s } << 2 << QString()
        << u"halvaned: --catch-up takes a number of seconds"_s;
    QTest::newRow("trisk-notifier: a stray argument")
        << u"trisk-notifier"_s << QStringList { u"now"_s } << 2 << QString()
        << u"trisk-notifier: unexpected argument now\nTry 'trisk-notifier --help'."_s;
    QTest::newRow("trisk-notifier: Qt's options pass")
        << u"trisk-notifier"_s << QStringList { u"-platform"_s, u"offscreen"_s, u"-v"_s } << 0
        << u"trisk-notifier " TRISK_VERSION "\n"_s << QString();
    // A wrong option among help's: still a bad command line, not help.
    QTest::newRow("trisk-notifier --help --frobnicate")
        << u"trisk-notifier"_s << QStringList { u"--help"_s, u"--frobnicate"_s } << 2 << QString()
        << u"Unknown option 'frobnicate'"_s;
}

void tst_Shipping::commandLine()
{
    QFETCH(QString, program);
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, out);
    QFETCH(QString, err);
    // No display at all: the answers come on a console too, before the notifier would need one.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(u"DISPLAY"_s);
    environment.remove(u"WAYLAND_DISPLAY"_s);
    environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
    const ProgramRun result = runProgram(programPath(program), arguments, environment);
    QCOMPARE(result.exitCode, exitCode);
    QVERIFY2(result.out.startsWith(out), qPrintable(result.out));
    QVERIFY2(result.err.contains(err), qPrintable(result.err));
}

void tst_Shipping::packages()
{
    for (const char *tool : { "cpack", "dpkg-deb", "dpkg-shlibdeps", "lintian" }) {
        if (QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty())
            QSKIP(qPrintable(u"%1 is not installed (scripts/setup.sh installs it)"_s.arg(QLatin1String(tool))));
    }
    QTemporaryDir work;
    QVERIFY(work.isValid());
    const ProgramRun cpack
        = runProgram(u"cpack"_s, { u"--config"_s, u"" TRISK_BINARY_DIR "/CPackConfig.cmake"_s, u"-B"_s, work.path() },
                     QProcessEnvironment::systemEnvironment(), 240000);
    QVERIFY2(cpack.exitCode == 0, qPrintable(cpack.out + cpack.err));

    struct Package
    {
        QString name;
        QStringList dependsOn; // among the dependencies found in the binaries
        QStringList files; // a few of each kind the package must hold
    };
    const QList<Package> packages {
        { u"halvaned"_s,
          { u"libqt6dbus6"_s, u"libplist"_s },
          { u"usr/bin/halvaned"_s, u"usr/bin/halvanectl"_s, u"usr/lib/systemd/system/halvaned-system.service"_s,
            u"usr/lib/systemd/user/halvaned.service"_s, u"usr/share/dbus-1/services/org.halvane.Scheduler.service"_s,
            u"usr/share/dbus-1/system.d/org.halvane.Scheduler.conf"_s,
            u"usr/share/polkit-1/actions/org.halvane.scheduler.policy"_s,
            u"usr/share/bash-completion/completions/halvanectl"_s, u"usr/share/man/man1/halvanectl.1.gz"_s } },
        { u"trisk-notifier"_s,
          { u"libqt6widgets6"_s, u"qt6-qpa-plugins"_s, u"libqt6network6"_s },
          { u"usr/bin/trisk-notifier"_s, u"usr/libexec/trisk-notifier/trisk-notifier-login"_s,
            u"usr/" TRISK_MODULE_DIR "/libtrisk-updrift-network.so"_s, u"usr/share/trisk-notifier/Info.plist"_s,
            u"usr/share/trisk-notifier/translations/trisk_de.qm"_s,
            u"usr/share/applications/org.halvane.TriskNotifier.desktop"_s,
            u"etc/xdg/autostart/org.halvane.TriskNotifier.desktop"_s,
            u"usr/share/metainfo/org.halvane.TriskNotifier.metainfo.xml"_s,
            u"usr/share/icons/hicolor/scalable/apps/trisk-notifier.svg"_s,
            u"usr/share/man/man1/trisk-notifier.1.gz"_s } },
    };
    for (const Package &package : packages) {
        const QString deb = work.filePath(package.name + u"_" TRISK_VERSION "_amd64.deb"_s);
        QVERIFY2(QFile::exists(deb), qPrintable(QDir(work.path()).entryList().join(u' ')));
        const QString depends = runProgram(u"dpkg-deb"_s, { u"--field"_s, deb, u"Depends"_s }).out;
        for (const QString &dependency : package.dependsOn)
            QVERIFY2(depends.contains(dependency), qPrintable(package.name + u": "_s + depends));

        const ProgramRun lintian = runProgram(u"lintian"_s, { u"--no-tag-display-limit"_s, deb },
                                              QProcessEnvironment::systemEnvironment(), 240000);
        QVERIFY2(!lintian.out.contains(u"E: "_s) && lintian.exitCode != -1, qPrintable(lintian.out + lintian.err));

        // Each package in a root of its own: its program runs from there, and the other's files are absent.
        const QString root = work.filePath(u"root-"_s + package.name);
        QCOMPARE(runProgram(u"dpkg-deb"_s, { u"-x"_s, deb, root }).exitCode, 0);
        for (const QString &file : package.files)
            QVERIFY2(QFile::exists(root + u'/' + file), qPrintable(file));
        for (const Package &other : packages) {
            if (other.name != package.name)
                QVERIFY2(!QFile::exists(root + u'/' + other.files.first()), qPrintable(other.files.first()));
        }
        const QString program = root + u"/usr/bin/"_s + package.name;
        const ProgramRun version = runProgram(program, { u"--version"_s });
        QCOMPARE(version.exitCode, 0);
        QCOMPARE(version.out, package.name + u" " TRISK_VERSION "\n"_s);
        if (package.name == u"trisk-notifier") {
            // "-login YES" hands over to the login screen's program where the package puts it, which
            // without a display says so itself.
            QProcessEnvironment noDisplay = QProcessEnvironment::systemEnvironment();
            for (const QString &name : { u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s, u"QT_QPA_PLATFORM"_s })
                noDisplay.remove(name);
            const ProgramRun login = runProgram(program, { u"-login"_s, u"YES"_s }, noDisplay);
            QVERIFY2(login.err.contains(u"cannot show windows"_s), qPrintable(login.err));
        }
    }
    // The units start the programs where the package puts them.
    QFile unit(work.filePath(u"root-halvaned/usr/lib/systemd/system/halvaned-system.service"_s));
    QVERIFY(unit.open(QIODevice::ReadOnly));
    QVERIFY(unit.readAll().contains("ExecStart=/usr/bin/halvaned --bus system"));
}

QTEST_GUILESS_MAIN(tst_Shipping)
#include "tst_Shipping.moc"
