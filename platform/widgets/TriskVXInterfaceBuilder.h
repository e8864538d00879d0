#pragma once

#include <QHash>
#include <QList>
#include <QPair>
#include <QPointer>
#include <QString>
#include <QVariant>

class QAction;
class QLabel;
class QLayout;
class QLayoutItem;
class QObject;
class QPalette;
class QWidget;
class QXmlStreamReader;

// Builds the widgets of a Qt Designer interface file from its XML: the widget, layout and spacer kinds
// the program's interface files use, their properties (translated texts and palettes of solid colours
// included) and dynamic properties, actions and the menus that list them, buddies and the tab order.
// Small and without plugins, so that loading a panel maps no library beyond Qt Widgets.
class TriskVXInterfaceBuilder
{
public:
    // The top widget, parented to parentWidget; nullptr with a message in error when the XML is not an
    // interface file or names a kind this builder does not make.
    QWidget *build(QXmlStreamReader &xml, QWidget *parentWidget, QString *error);

private:
    struct Property
    {
        QString name;
        QVariant value;
        bool isBuddy = false;
    };

    QWidget *readWidget(QWidget *parent, bool isTop = false);
    QLayout *readLayout(QWidget *owner);
    QLayoutItem *readSpacer();
    QAction *readAction(QWidget *parent);
    void readLayoutItem(QLayout *layout);
    void readComboBoxItem(QWidget *comboBox);
    void readTabStops();
    Property readProperty();
    QVariant readValue();
    QPalette readPalette();
    void apply(QObject *object, const Property &property, bool isTop = false);
    void skipElement();
    void fail(const QString &message);

    QXmlStreamReader *m_xml = nullptr;
    QString m_context;
    QString m_error;
    QWidget *m_top = nullptr;
    QHash<QString, QAction *> m_actions;
    // Menus list actions declared further down, so they are added once everything is read.
    QList<QPair<QPointer<QWidget>, QString>> m_addedActions;
    QList<QPair<QPointer<QLabel>, QString>> m_buddies;
    QStringList m_tabStops;
};
