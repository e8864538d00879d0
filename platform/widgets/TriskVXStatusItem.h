#pragma once

#include <QFont>
#include <QImage>
#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

// A status item's contract, whatever draws it (a StatusNotifierItem, a tray icon, a test): length,
// attributed title (text and font), image and alternate image, menu, tool tip, highlight mode, and the
// width its view has on screen. The menu may be built only when something reads it (setMenuBuilder).
class TriskVXStatusItem : public QObject
{
    Q_OBJECT
    Q_PROPERTY(double length READ length WRITE setLength NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString toolTip READ toolTip WRITE setToolTip NOTIFY changed)
    Q_PROPERTY(bool highlightMode READ highlightMode WRITE setHighlightMode NOTIFY changed)

public:
    // The variable-length marker: the item takes the width its content needs.
    static constexpr double kVariableLength = -1.0;

    explicit TriskVXStatusItem(double length, QObject *parent = nullptr);

    double length() const { return m_length; }
    void setLength(double length);
    QString title() const { return m_title; }
    QFont titleFont() const { return m_titleFont; }
    // setAttributedTitle: the text and the one attribute the notifier gives it, the font.
    void setAttributedTitle(const QString &title, const QFont &font);
    QImage image() const { return m_image; }
    void setImage(const QImage &image);
    QImage alternateImage() const { return m_alternateImage; }
    void setAlternateImage(const QImage &image);
    // The themed icon showing the same picture, so that hosts can draw it in the panel's colours; empty
    // when the picture has no themed twin (an event's own image file).
    QString iconName() const { return m_iconName; }
    void setIconName(const QString &iconName);
    // The count-down in a few characters ("42", "5m", "2h"), for hosts that show no title beside the
    // picture; empty when nothing counts down.
    QString imageText() const { return m_imageText; }
    void setImageText(const QString &imageText);
    // The menu, built first when its owner said its content changed and nothing read it since.
    QMenu *menu();
    // The menu as last built, without building: what a view shows until it reads the menu again.
    QMenu *builtMenu() const { return m_menu; }
    void setMenu(QMenu *menu);
    // Builds the menu (and hands it over with setMenu) when the menu is read after setMenuNeedsUpdate: a
    // menu nobody opens costs nothing however often its content changes.
    void setMenuBuilder(std::function<void()> builder);
    // Says the menu's content changed (changed() once); the builder runs when the menu is next read.
    void setMenuNeedsUpdate();
    bool menuNeedsUpdate() const { return m_menuNeedsUpdate; }
    QString toolTip() const { return m_toolTip; }
    void setToolTip(const QString &toolTip);
    bool highlightMode() const { return m_highlightMode; }
    void setHighlightMode(bool highlightMode);
    // The width of the item's view as drawn; what the renderer reports, else the length when fixed.
    double viewWidth() const;
    void setViewWidth(double width);

Q_SIGNALS:
    void changed();

private:
    double m_length;
    QString m_title;
    QFont m_titleFont;
    QImage m_image;
    QImage m_alternateImage;
    QString m_iconName;
    QString m_imageText;
    QPointer<QMenu> m_menu;
    std::function<void()> m_menuBuilder;
    bool m_menuNeedsUpdate = false;
    QString m_toolTip;
    bool m_highlightMode = false;
    double m_viewWidth = -1.0;
};
