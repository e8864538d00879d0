#pragma once

#include "TriskVXNotifyObject.h"

#include <QLabel>
#include <QPointer>

class QPropertyAnimation;

// The one floating panel that warns of what the service is about to do: the name and picture of the
// event the first queued warning concerns, shown while the service lists a warning, also at the login
// screen.
class TriskVXWarningController : public TriskVXNotifyObject
{
    Q_OBJECT

public:
    explicit TriskVXWarningController(QObject *parent = nullptr);
    ~TriskVXWarningController() override;

    static void registerClass();

    QSet<QString> observes() const override;
    bool init() override;
    void observedVariableDidBecome(const QString &observed, const QVariant &value) override;
    QImage imageForQueuedWarningScaleToFitVariation(const QVariant &aQueuedWarning, const QSizeF &size,
                                                    const QString &variation);
    // A fade of the target's opacity (effect "fadeIn" or "fadeOut"), easing in, not started.
    QPropertyAnimation *fadeWithEffectDuration(QWidget *target, const QString &effect, double duration);

    QWidget *warningPanel() const { return m_warningPanel; }
    QLabel *eventNameField() const { return m_eventNameField; }
    QLabel *imageView() const { return m_imageView; }

private:
    QPointer<QWidget> m_warningPanel;
    QPointer<QLabel> m_eventNameField;
    QPointer<QLabel> m_imageView;
};
