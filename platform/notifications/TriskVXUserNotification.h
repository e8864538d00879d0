#pragma once

#include <QDateTime>
#include <QString>
#include <QVariantMap>

// One desktop notification as the program describes it: what it says, its button, and the user info by
// which the program recognises it when it is clicked or when the lists it mirrors change.
class TriskVXUserNotification
{
public:
    // How the person answered a notification; the values are the ones the notifiers test for.
    enum ActivationType {
        None = 0,
        ContentsClicked = 1,
        ActionButtonClicked = 2,
    };
    enum Urgency {
        Low = 0,
        Normal = 1,
        Critical = 2,
    };

    // The sound theme's name for "something needs a look", played where the server plays sounds.
    static QString defaultSoundName();

    QString identifier() const { return m_identifier; }
    // A notification delivered with the identifier of one on screen replaces it there.
    void setIdentifier(const QString &identifier) { m_identifier = identifier; }
    QString title() const { return m_title; }
    void setTitle(const QString &title) { m_title = title; }
    QString subtitle() const { return m_subtitle; }
    void setSubtitle(const QString &subtitle) { m_subtitle = subtitle; }
    QString informativeText() const { return m_informativeText; }
    void setInformativeText(const QString &text) { m_informativeText = text; }
    bool hasActionButton() const { return m_hasActionButton; }
    void setHasActionButton(bool has) { m_hasActionButton = has; }
    QString actionButtonTitle() const { return m_actionButtonTitle; }
    void setActionButtonTitle(const QString &title) { m_actionButtonTitle = title; }
    QDateTime deliveryDate() const { return m_deliveryDate; }
    void setDeliveryDate(const QDateTime &date) { m_deliveryDate = date; }
    QVariantMap userInfo() const { return m_userInfo; }
    void setUserInfo(const QVariantMap &userInfo) { m_userInfo = userInfo; }
    QString soundName() const { return m_soundName; }
    void setSoundName(const QString &name) { m_soundName = name; }
    Urgency urgency() const { return m_urgency; }
    void setUrgency(Urgency urgency) { m_urgency = urgency; }
    ActivationType activationType() const { return m_activationType; }
    void setActivationType(ActivationType type) { m_activationType = type; }

private:
    QString m_identifier;
    QString m_title;
    QString m_subtitle;
    QString m_informativeText;
    bool m_hasActionButton = false;
    QString m_actionButtonTitle;
    QDateTime m_deliveryDate;
    QVariantMap m_userInfo;
    QString m_soundName;
    Urgency m_urgency = Normal;
    ActivationType m_activationType = None;
};
