#include "TriskVXNotifyObject.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXBundle.h"
#include "TriskVXConstants.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXNibLoader.h"
#include "TriskVXNil.h"
#include "TriskVXNotifierLogging.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXUserDefaults.h"

TriskVXNotifyObject::TriskVXNotifyObject(QObject *parent)
    : QObject(parent)
{
}

TriskVXNotifyObject::~TriskVXNotifyObject()
{
    delete m_nib;
}

QSet<QString> TriskVXNotifyObject::observes() const
{
    TRISK_ASSERT(false, QStringLiteral("%1 must override +observes").arg(className()));
    return {};
}

bool TriskVXNotifyObject::init()
{
    // Nothing to set up: following a change of observer is setObserver's own work.
    return true;
}

bool TriskVXNotifyObject::initWithObserverRequests(TriskVXObserver *observer, TriskVXRequestsController *requests)
{
    if (!init())
        return false;
    setObserver(observer);
    setRequests(requests);
    setVisible(true);
    m_imageAssistant = TriskVXIImageAssistant::imageAssistant();
    return true;
}

void TriskVXNotifyObject::setObserver(TriskVXObserver *observer)
{
    if (m_observer == observer)
        return;
    // Old value present: its variables are let go.
    if (m_observer) {
        disconnect(m_observation);
        m_observed.clear();
    }
    m_observer = observer;
    // New value present: every name of +observes is watched, without an initial call.
    if (m_observer) {
        m_observed = observes();
        m_observation = connect(m_observer, &TriskVXObserver::didChangeValueForKeyPath, this,
                                &TriskVXNotifyObject::observerChanged);
    }
}

void TriskVXNotifyObject::observerChanged(const QString &keyPath)
{
    if (!m_observed.contains(keyPath))
        return;
    // Hidden: the change is dropped; the next show catches up through refresh.
    if (!m_visible)
        return;
    observedVariableDidBecome(keyPath, m_observer->valueForKeyPath(keyPath));
}

void TriskVXNotifyObject::registerClassDefaults()
{
    TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    if (!bundle)
        return;
    const QString path = bundle->pathForResource(className(), QStringLiteral("plist"));
    if (path.isEmpty())
        return;
    QString error;
    const QVariant defaults = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(path, &error);
    if (defaults.typeId() == QMetaType::QVariantMap)
        TriskVXUserDefaults::standardUserDefaults()->registerDefaults(defaults.toMap());
}

bool TriskVXNotifyObject::loadClassNib()
{
    TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    TRISK_ASSERT(bundle != nil, QStringLiteral("%1 missing bundle").arg(className()));
    const QString path = bundle->pathForResource(className(), QStringLiteral("ui"));
    QString error;
    delete m_nib;
    m_nib = path.isEmpty() ? nullptr : TriskVXNibLoader::load(path, this, nullptr, &error);
    if (!m_nib && !path.isEmpty())
        qCWarning(lcTriskNotifier).noquote() << error;
    return m_nib != nullptr;
}

QObject *TriskVXNotifyObject::outlet(const QString &name) const
{
    return TriskVXNibLoader::outlet(m_nib, name);
}

QObject *TriskVXNotifyObject::requiredOutlet(const QString &name, const QString &description) const
{
    QObject *object = outlet(name);
    TRISK_ASSERT(object != nil, QString(description).replace(QStringLiteral("%@"), className()));
    return object;
}

void TriskVXNotifyObject::show()
{
    setVisible(true);
    didShow();
    refresh();
}

void TriskVXNotifyObject::hide()
{
    setVisible(false);
    didHide();
}

void TriskVXNotifyObject::refresh()
{
    const QSet<QString> names = observes();
    for (const QString &name : names)
        observedVariableDidBecome(name, m_observer ? m_observer->valueForKeyPath(name) : QVariant());
}

void TriskVXNotifyObject::observedVariableDidBecome(const QString &observed, const QVariant &value)
{
    Q_UNUSED(value)
    TRISK_PARAMETER_ASSERT(observed != nil);
    TRISK_ASSERT(false, QStringLiteral("%1 missing method -observedVariable:didBecome:").arg(className()));
}

QImage TriskVXNotifyObject::imageForQueuedTriggerScaleToFitVariation(const QVariant &aQueuedTrigger, const QSizeF &size,
                                                                     const QString &variation)
{
    TRISK_PARAMETER_ASSERT(aQueuedTrigger != nil);
    const QVariant event = aQueuedTrigger.toMap().value(kVXQueuedTriggerEvent);
    return m_imageAssistant->imageForUIIdentifierScaleToFitVariation(m_imageAssistant->UIIdentifierForEvent(event),
                                                                     size, variation);
}
