#pragma once

#include "TriskVXObserver.h"
#include "TriskVXRequestsController.h"

#include <QImage>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QSizeF>
#include <QWidget>

class TriskVXIImageAssistant;

// The base of every notifier: holds the shared observer and requests controller, turns each
// change of an observed scheduler variable into one observedVariableDidBecome while visible, and gives
// every notifier the same life: created visible, shown, hidden, refreshed.
class TriskVXNotifyObject : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool visible READ isVisible WRITE setVisible)
    Q_PROPERTY(TriskVXObserver *observer READ observer WRITE setObserver)
    Q_PROPERTY(TriskVXRequestsController *requests READ requests WRITE setRequests)

public:
    explicit TriskVXNotifyObject(QObject *parent = nullptr);
    ~TriskVXNotifyObject() override;

    // +objectWithObserver:requests: for the class T; nullptr (nil) when initialisation fails.
    template<typename T>
    static T *objectWithObserverRequests(TriskVXObserver *observer, TriskVXRequestsController *requests)
    {
        auto *object = new T;
        if (object->initWithObserverRequests(observer, requests))
            return object;
        delete object;
        return nullptr;
    }

    // +observes: the variables the class reacts to. The base raises "%@ must override +observes".
    virtual QSet<QString> observes() const;
    // init: run first by initWithObserverRequests, so that a subclass's init completes before any
    // property is set.
    virtual bool init();
    virtual bool initWithObserverRequests(TriskVXObserver *observer, TriskVXRequestsController *requests);
    virtual void registerClassDefaults();
    // Loads <Class>.ui from the main bundle with this object as owner; "%@ missing bundle" without one.
    virtual bool loadClassNib();
    // An object of the loaded interface by name (an outlet), or nullptr.
    QObject *outlet(const QString &name) const;
    // The outlet, which must be connected: without it, the assertion fails with the description given
    // ("%@'s panel is not connected", "%@" filled with the class name).
    QObject *requiredOutlet(const QString &name, const QString &description) const;
    QWidget *nib() const { return m_nib; }

    virtual void show();
    virtual void hide();
    virtual void refresh();
    virtual void didShow() { }
    virtual void didHide() { }
    // The notifier's reaction. The base requires a name and then raises
    // "%@ missing method -observedVariable:didBecome:".
    virtual void observedVariableDidBecome(const QString &observed, const QVariant &value);
    virtual QImage imageForQueuedTriggerScaleToFitVariation(const QVariant &aQueuedTrigger, const QSizeF &size,
                                                            const QString &variation);

    bool isVisible() const { return m_visible; }
    void setVisible(bool visible) { m_visible = visible; }
    TriskVXObserver *observer() const { return m_observer; }
    // Observation follows this property: the old observer's variables are let go, the new one's watched.
    void setObserver(TriskVXObserver *observer);
    TriskVXRequestsController *requests() const { return m_requests; }
    void setRequests(TriskVXRequestsController *requests) { m_requests = requests; }
    TriskVXIImageAssistant *imageAssistant() const { return m_imageAssistant; }
    QString className() const { return QString::fromLatin1(metaObject()->className()); }

    // TriskVXNotifyObjectAdditions
    static QVariant identifierOfQueuedTrigger(const QVariant &aQueuedTrigger);
    static QVariant eventNameOfQueuedTrigger(const QVariant &aQueuedTrigger);
    static QVariant triggerDateOfQueuedTrigger(const QVariant &aQueuedTrigger);

private:
    void observerChanged(const QString &keyPath);

    bool m_visible = false;
    QPointer<TriskVXObserver> m_observer;
    QPointer<TriskVXRequestsController> m_requests;
    TriskVXIImageAssistant *m_imageAssistant = nullptr;
    QMetaObject::Connection m_observation;
    QSet<QString> m_observed;
    QPointer<QWidget> m_nib;
};
