#include "LogCapture.h"
#include "TriskVXNibLoader.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

namespace {
const char kInterface[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<ui version="4.0">
 <class>Panel</class>
 <widget class="QWidget" name="panel">
  <layout class="QVBoxLayout" name="layout">
   <item>
    <widget class="QPushButton" name="cancelButton">
     <property name="text"><string>Cancel</string></property>
     <property name="action" stdset="0"><string>cancel:</string></property>
     <property name="tag" stdset="0"><number>7</number></property>
    </widget>
   </item>
   <item>
    <widget class="QPushButton" name="strayButton">
     <property name="action" stdset="0"><string>explode:</string></property>
    </widget>
   </item>
  </layout>
  <action name="closeAction">
   <property name="text"><string>Close</string></property>
   <property name="action" stdset="0"><string>close:</string></property>
  </action>
 </widget>
</ui>
)";

class Owner : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void cancel(QObject *sender) { received.append(qMakePair(QStringLiteral("cancel"), sender)); }
    void close(QObject *sender) { received.append(qMakePair(QStringLiteral("close"), sender)); }

public:
    QList<QPair<QString, QObject *>> received;
};
} // namespace

class tst_TriskVXNibLoader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void actionsReachTheOwner();
    void unreadableFiles_data();
    void unreadableFiles();
};

void tst_TriskVXNibLoader::actionsReachTheOwner()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("Panel.ui"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(kInterface);
    file.close();
    Owner owner;
    LogCapture log;
    QString error;
    std::unique_ptr<QWidget> root(TriskVXNibLoader::load(path, &owner, nullptr, &error));
    QVERIFY2(root, qPrintable(error));
    QCOMPARE(log.messages("trisk.platform").filter(QStringLiteral("has no action explode: for strayButton")).size(), 1);
    auto *cancel = qobject_cast<QPushButton *>(TriskVXNibLoader::outlet(root.get(), QStringLiteral("cancelButton")));
    QVERIFY(cancel);
    QCOMPARE(TriskVXNibLoader::tagOf(cancel), 7);
    QCOMPARE(TriskVXNibLoader::tagOf(nullptr), 0);
    cancel->click();
    auto *close = qobject_cast<QAction *>(TriskVXNibLoader::outlet(root.get(), QStringLiteral("closeAction")));
    QVERIFY(close);
    close->trigger();
    QCOMPARE(owner.received,
             (QList<QPair<QString, QObject *>> { { QStringLiteral("cancel"), cancel },
                                                 { QStringLiteral("close"), close } }));
    QCOMPARE(TriskVXNibLoader::outlet(root.get(), QStringLiteral("panel")), root.get());
    QVERIFY(!TriskVXNibLoader::outlet(root.get(), QStringLiteral("missingOutlet")));
}

void tst_TriskVXNibLoader::unreadableFiles_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<bool>("exists");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << QByteArray() << false << QStringLiteral("cannot read");
    QTest::newRow("not an interface") << QByteArray("hello") << true << QStringLiteral("is not an interface file");
}

void tst_TriskVXNibLoader::unreadableFiles()
{
    QFETCH(QByteArray, contents);
    QFETCH(bool, exists);
    QFETCH(QString, reason);
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("Broken.ui"));
    if (exists) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(contents);
    }
    Owner owner;
    QString error;
    QVERIFY(!TriskVXNibLoader::load(path, &owner, nullptr, &error));
    QVERIFY2(error.contains(reason), qPrintable(error));
}

QTEST_MAIN(tst_TriskVXNibLoader)
#include "tst_TriskVXNibLoader.moc"
