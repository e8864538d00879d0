// What keeps a freshly started notifier small, checked for the faults each cut could bring: decoded values
// that share equal parts must still be exactly what was sent; the Quick Schedule panel is made on the
// first request, once; the built-in pictures come at every size asked for.
#include "NotifierLender.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXQuickScheduleController.h"
#include "TriskVXWorkspace.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
// Equal with the same types all the way down: QVariant's == takes 1 and 1.0 as equal.
bool identical(const QVariant &left, const QVariant &right)
{
    if (left.typeId() != right.typeId())
        return false;
    if (left.typeId() == QMetaType::QVariantMap)
        return left.toMap().keys() == right.toMap().keys()
            && identical(QVariant(left.toMap().values()), QVariant(right.toMap().values()));
    if (left.typeId() != QMetaType::QVariantList)
        return left == right;
    const QVariantList one = left.toList();
    const QVariantList other = right.toList();
    return std::equal(one.cbegin(), one.cend(), other.cbegin(), other.cend(), identical);
}
} // namespace

class tst_LightStart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodedValuesShareOnlyWhatIsEqual_data();
    void decodedValuesShareOnlyWhatIsEqual();
    void quickScheduleIsMadeOnFirstRequest();
    void builtInPicturesAtEverySize_data();
    void builtInPicturesAtEverySize();
};

void tst_LightStart::decodedValuesShareOnlyWhatIsEqual_data()
{
    QTest::addColumn<QVariant>("first");
    QTest::addColumn<QVariant>("second");
    QTest::addColumn<bool>("shared");
    const QVariantMap action { { kVXActionType, kVXActionType_Log }, { kVXActionMessage, u"backup"_s } };
    const QDateTime date = QDateTime::fromMSecsSinceEpoch(1'900'000'000'000, QTimeZone::utc());
    QTest::newRow("equal actions") << QVariant(action) << QVariant(action) << true;
    QTest::newRow("equal lists of them") << QVariant(QVariantMap { { u"a"_s, QVariantList { action } } })
                                         << QVariant(QVariantMap { { u"a"_s, QVariantList { action } } }) << true;
    QVariantMap other = action;
    other.insert(kVXActionMessage, u"restore"_s);
    // The same keys and sizes on the outer level, a difference only further in.
    QTest::newRow("nested difference") << QVariant(QVariantMap { { u"a"_s, QVariantList { action } } })
                                       << QVariant(QVariantMap { { u"a"_s, QVariantList { other } } }) << false;
    QTest::newRow("number and its double")
        << QVariant(QVariantMap { { u"n"_s, qint64(1) } }) << QVariant(QVariantMap { { u"n"_s, 1.0 } }) << false;
    QTest::newRow("dates a second apart") << QVariant(QVariantMap { { kVXTriggerDate, date } })
                                          << QVariant(QVariantMap { { kVXTriggerDate, date.addSecs(1) } }) << false;
}

void tst_LightStart::decodedValuesShareOnlyWhatIsEqual()
{
    QFETCH(QVariant, first);
    QFETCH(QVariant, second);
    QFETCH(bool, shared);
    const QVariantList sent { first, second };
    const QVariant decoded = TriskVXDBusPropertyList::decode(TriskVXDBusPropertyList::encode(QVariant(sent)));
    QVERIFY(identical(decoded, QVariant(sent)));
    QCOMPARE(decoded.toList().at(0).toMap().isSharedWith(decoded.toList().at(1).toMap()), shared);
}

void tst_LightStart::quickScheduleIsMadeOnFirstRequest()
{
    NotifierLender lender;
    TriskVXClock clock;
    TriskVXWorkspace *workspace = TriskVXWorkspace::workspace();
    const std::unique_ptr<QObject> owner
        = TriskVXQuickScheduleController::controllerOnFirstRequest(&lender, &clock, workspace);
    const auto controllers = [&owner] {
        return owner->findChildren<TriskVXQuickScheduleController *>();
    };
    QVERIFY(controllers().isEmpty());
    workspace->quickScheduleWithConnection(nullptr);
    QCOMPARE(controllers().size(), 1);
    TriskVXQuickScheduleController *made = controllers().constFirst();
    QVERIFY(made->panel()->isVisible());
    made->cancel(nullptr);
    workspace->quickScheduleWithConnection(nullptr);
    QCOMPARE(controllers(), QList<TriskVXQuickScheduleController *> { made });
    QVERIFY(made->panel()->isVisible());
}

void tst_LightStart::builtInPicturesAtEverySize_data()
{
    QTest::addColumn<QSizeF>("size");
    QTest::addColumn<qreal>("ratio");
    QTest::addColumn<int>("side");
    QTest::newRow("menu") << QSizeF(16, 16) << 1.0 << 16;
    QTest::newRow("between renderings") << QSizeF(80, 80) << 1.0 << 80;
    QTest::newRow("below the smallest") << QSizeF(8, 8) << 1.0 << 8;
    QTest::newRow("panel, double density") << QSizeF(48, 48) << 2.0 << 96;
    QTest::newRow("wide box") << QSizeF(40, 30) << 1.0 << 30;
    QTest::newRow("beyond the biggest") << QSizeF(300, 300) << 1.0 << 300;
}

void tst_LightStart::builtInPicturesAtEverySize()
{
    QFETCH(QSizeF, size);
    QFETCH(qreal, ratio);
    QFETCH(int, side);
    for (const QString &name : TriskVXIImageAssistant::builtInImageNames()) {
        const QImage image = TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(
            TriskVXIImageAssistant::UIIdentifierForElementImage(name), size, TriskVXIImageAssistantVariationNone,
            ratio);
        QCOMPARE(image.size(), QSize(side, side));
        QImage blank(image.size(), image.format());
        blank.fill(Qt::transparent);
        QVERIFY2(image != blank, qPrintable(name));
    }
}

QTEST_MAIN(tst_LightStart)
#include "tst_LightStart.moc"
