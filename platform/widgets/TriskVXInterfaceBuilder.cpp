#include "TriskVXInterfaceBuilder.h"

#include <QAction>
#include <QComboBox>
#include <QCoreApplication>
#include <QDateTimeEdit>
#include <QDialog>
#include <QFormLayout>
#include <QFrame>
#include <QLabel>
#include <QMenu>
#include <QMetaProperty>
#include <QPalette>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QXmlStreamReader>

namespace {
// Enumerations and flags are kept as their names until the property they go to says their type.
struct EnumName
{
    QString keys;
};

QWidget *makeWidget(QStringView kind, QWidget *parent)
{
    if (kind == u"QWidget")
        return new QWidget(parent);
    if (kind == u"QDialog")
        return new QDialog(parent);
    if (kind == u"QFrame")
        return new QFrame(parent);
    if (kind == u"QLabel")
        return new QLabel(parent);
    if (kind == u"QPushButton")
        return new QPushButton(parent);
    if (kind == u"QToolButton")
        return new QToolButton(parent);
    if (kind == u"QComboBox")
        return new QComboBox(parent);
    if (kind == u"QDateTimeEdit")
        return new QDateTimeEdit(parent);
    if (kind == u"QStackedWidget")
        return new QStackedWidget(parent);
    if (kind == u"QMenu")
        return new QMenu(parent);
    return nullptr;
}

QLayout *makeLayout(QStringView kind, QWidget *owner)
{
    if (kind == u"QVBoxLayout")
        return new QVBoxLayout(owner);
    if (kind == u"QHBoxLayout")
        return new QHBoxLayout(owner);
    if (kind == u"QFormLayout")
        return new QFormLayout(owner);
    return nullptr;
}
} // namespace

QWidget *TriskVXInterfaceBuilder::build(QXmlStreamReader &xml, QWidget *parentWidget, QString *error)
{
    m_xml = &xml;
    if (!xml.readNextStartElement() || xml.name() != u"ui")
        fail(QStringLiteral("no <ui> element"));
    while (m_error.isEmpty() && xml.readNextStartElement()) {
        if (xml.name() == u"class")
            m_context = xml.readElementText();
        else if (xml.name() == u"widget" && !m_top)
            m_top = readWidget(parentWidget, true);
        else if (xml.name() == u"tabstops")
            readTabStops();
        else
            skipElement();
    }
    if (m_error.isEmpty() && xml.hasError())
        fail(xml.errorString());
    if (m_error.isEmpty() && !m_top)
        fail(QStringLiteral("no top widget"));

    for (const auto &[widget, name] : std::as_const(m_addedActions)) {
        if (!widget || !m_error.isEmpty())
            continue;
        if (name == u"separator") {
            auto *separator = new QAction(widget);
            separator->setSeparator(true);
            widget->addAction(separator);
        } else if (QAction *action = m_actions.value(name)) {
            widget->addAction(action);
        } else if (auto *menu = m_top->findChild<QMenu *>(name)) {
            widget->addAction(menu->menuAction());
        } else {
            fail(QStringLiteral("%1 lists an action called %2 that is not declared").arg(widget->objectName(), name));
        }
    }
    for (const auto &[label, name] : std::as_const(m_buddies)) {
        if (label && m_top)
            label->setBuddy(m_top->findChild<QWidget *>(name));
    }
    QWidget *previous = nullptr;
    for (const QString &name : std::as_const(m_tabStops)) {
        QWidget *next = m_top ? m_top->findChild<QWidget *>(name) : nullptr;
        if (previous && next)
            QWidget::setTabOrder(previous, next);
        previous = next ? next : previous;
    }

    if (!m_error.isEmpty()) {
        delete m_top;
        m_top = nullptr;
        if (error)
            *error = m_error;
    }
    return m_top;
}

QWidget *TriskVXInterfaceBuilder::readWidget(QWidget *parent, bool isTop)
{
    const QString kind = m_xml->attributes().value(QLatin1String("class")).toString();
    QWidget *widget = makeWidget(kind, parent);
    if (!widget) {
        fail(QStringLiteral("no widget of the kind %1").arg(kind));
        return nullptr;
    }
    widget->setObjectName(m_xml->attributes().value(QLatin1String("name")).toString());
    while (m_error.isEmpty() && m_xml->readNextStartElement()) {
        const QStringView element = m_xml->name();
        if (element == u"property") {
            apply(widget, readProperty(), isTop);
        } else if (element == u"layout") {
            readLayout(widget);
        } else if (element == u"widget") {
            QWidget *child = readWidget(widget);
            if (auto *stack = qobject_cast<QStackedWidget *>(widget); stack && child)
                stack->addWidget(child);
        } else if (element == u"action") {
            readAction(widget);
        } else if (element == u"addaction") {
            m_addedActions.append({ widget, m_xml->attributes().value(QLatin1String("name")).toString() });
            skipElement();
        } else if (element == u"item") {
            readComboBoxItem(widget);
        } else {
            skipElement();
        }
    }
    return widget;
}

QLayout *TriskVXInterfaceBuilder::readLayout(QWidget *owner)
{
    const QString kind = m_xml->attributes().value(QLatin1String("class")).toString();
    // A layout inside another is made free and placed by the caller.
    QLayout *layout = makeLayout(kind, owner && !owner->layout() ? owner : nullptr);
    if (!layout) {
        fail(QStringLiteral("no layout of the kind %1").arg(kind));
        return nullptr;
    }
    layout->setObjectName(m_xml->attributes().value(QLatin1String("name")).toString());
    QMargins margins = layout->contentsMargins();
    bool hasMargins = false;
    while (m_error.isEmpty() && m_xml->readNextStartElement()) {
        if (m_xml->name() == u"property") {
            const Property property = readProperty();
            const int value = property.value.toInt();
            const bool isSide = property.name.endsWith(u"Margin");
            if (property.name == u"leftMargin")
                margins.setLeft(value);
            else if (property.name == u"topMargin")
                margins.setTop(value);
            else if (property.name == u"rightMargin")
                margins.setRight(value);
            else if (property.name == u"bottomMargin")
                margins.setBottom(value);
            if (isSide) {
                hasMargins = true;
            } else {
                apply(layout, property);
            }
        } else if (m_xml->name() == u"item") {
            readLayoutItem(layout);
        } else {
            skipElement();
        }
    }
    if (hasMargins)
        layout->setContentsMargins(margins);
    return layout;
}

void TriskVXInterfaceBuilder::readLayoutItem(QLayout *layout)
{
    const QXmlStreamAttributes attributes = m_xml->attributes();
    const int row = attributes.value(QLatin1String("row")).toInt();
    const int column = attributes.value(QLatin1String("column")).toInt();
    const QFormLayout::ItemRole role = attributes.value(QLatin1String("colspan")).toInt() > 1
        ? QFormLayout::SpanningRole
        : column == 0 ? QFormLayout::LabelRole
                      : QFormLayout::FieldRole;
    auto *form = qobject_cast<QFormLayout *>(layout);
    auto *box = qobject_cast<QBoxLayout *>(layout);
    while (m_error.isEmpty() && m_xml->readNextStartElement()) {
        if (m_xml->name() == u"widget") {
            if (QWidget *widget = readWidget(layout->parentWidget()))
                form ? form->setWidget(row, role, widget) : box->addWidget(widget);
        } else if (m_xml->name() == u"layout") {
            if (QLayout *inner = readLayout(nullptr))
                form ? form->setLayout(row, role, inner) : box->addLayout(inner);
        } else if (m_xml->name() == u"spacer") {
            if (QLayoutItem *spacer = readSpacer())
                form ? form->setItem(row, role, spacer) : box->addItem(spacer);
        } else {
            skipElement();
        }
    }
}

QLayoutItem *TriskVXInterfaceBuilder::readSpacer()
{
    Qt::Orientation orientation = Qt::Horizontal;
    QSize size;
    QSizePolicy::Policy policy = QSizePolicy::Expanding;
    while (m_error.isEmpty() && m_xml->readNextStartElement()) {
        if (m_xml->name() != u"property") {
            skipElement();
            continue;
        }
        const Property property = readProperty();
        const QString keys = property.value.value<EnumName>().keys;
        if (property.name == u"orientation")
            orientation = keys.endsWith(u"Vertical") ? Qt::Vertical : Qt::Horizontal;
        else if (property.name == u"sizeHint")
            size = property.value.toSize();
        else if (property.name == u"sizeType")
            policy = static_cast<QSizePolicy::Policy>(
                QSizePolicy::staticMetaObject.enumerator(QSizePolicy::staticMetaObject.indexOfEnumerator("Policy"))
                    .keyToValue(keys.toLatin1().constData()));
    }
    return orientation == Qt::Horizontal ? new QSpacerItem(size.width(), size.height(), policy, QSizePolicy::Minimum)
                                         : new QSpacerItem(size.width(), size.height(), QSizePolicy::Minimum, policy);
}

QAction *TriskVXInterfaceBuilder::readAction(QWidget *parent)
{
    auto *action = new QAction(parent);
    action->setObjectName(m_xml->attributes().value(QLatin1String("name")).toString());
    m_actions.insert(action->objectName(), action);
    while (m_error.isEmpty() && m_xml->readNextStartElement()) {
        if (m_xml->name() == u"property")
            apply(action, readProperty());
        else
            skipElement();
    }
    return action;
}

void TriskVXInterfaceBuilder::readComboBoxItem(QWidget *comboBox)
{
    QString text;
    while (m_error.isEmpty() && m_xml->readNextStartElement()) {
        if (m_xml->name() == u"property") {
            const Property property = readProperty();
            if (property.name == u"text")
                text = property.value.toString();
        } else {
            skipElement();
        }
    }
    if (auto *box = qobject_cast<QComboBox *>(comboBox))
        box->addItem(text);
}

void TriskVXInterfaceBuilder::readTabStops()
{
    while (m_xml->readNextStartElement()) {
        if (m_xml->name() == u"tabstop")
            m_tabStops.append(m_xml->readElementText());
        else
            skipElement();
    }
}

TriskVXInterfaceBuilder::Property TriskVXInterfaceBuilder::readProperty()
{
    Property property;
    property.name = m_xml->attributes().value(QLatin1String("name")).toString();
    while (m_error.isEmpty() && m_xml->readNextStartElement()) {
        property.isBuddy = m_xml->name() == u"cstring" && property.name == u"buddy";
        property.value = readValue();
    }
    return property;
}

QVariant TriskVXInterfaceBuilder::readValue()
{
    const QStringView kind = m_xml->name();
    if (kind == u"string") {
        const QXmlStreamAttributes attributes = m_xml->attributes();
        const bool translatable = attributes.value(QLatin1String("notr")) != u"true";
        const QByteArray comment = attributes.value(QLatin1String("comment")).toUtf8();
        const QString text = m_xml->readElementText();
        return translatable ? QCoreApplication::translate(m_context.toUtf8().constData(), text.toUtf8().constData(),
                                                          comment.isEmpty() ? nullptr : comment.constData())
                            : text;
    }
    if (kind == u"cstring")
        return m_xml->readElementText();
    if (kind == u"number")
        return m_xml->readElementText().trimmed().toInt();
    if (kind == u"bool")
        return m_xml->readElementText().trimmed() == u"true";
    if (kind == u"enum" || kind == u"set")
        return QVariant::fromValue(EnumName { m_xml->readElementText().trimmed() });
    if (kind == u"palette")
        return readPalette();
    if (kind == u"size" || kind == u"rect" || kind == u"font") {
        const QString type = kind.toString();
        QHash<QString, QString> fields;
        while (m_xml->readNextStartElement())
            fields.insert(m_xml->name().toString(), m_xml->readElementText().trimmed());
        const auto field = [&fields](const char *name) {
            return fields.value(QLatin1String(name)).toInt();
        };
        if (type == u"size")
            return QSize(field("width"), field("height"));
        if (type == u"rect")
            return QRect(field("x"), field("y"), field("width"), field("height"));
        // Only what the file says is set, so that the rest follows the widget's own font.
        QFont font;
        if (fields.contains(QStringLiteral("family")))
            font.setFamily(fields.value(QStringLiteral("family")));
        if (fields.contains(QStringLiteral("pointsize")))
            font.setPointSize(field("pointsize"));
        if (fields.contains(QStringLiteral("bold")))
            font.setBold(fields.value(QStringLiteral("bold")) == u"true");
        if (fields.contains(QStringLiteral("italic")))
            font.setItalic(fields.value(QStringLiteral("italic")) == u"true");
        return font;
    }
    fail(QStringLiteral("no value of the kind %1").arg(kind));
    return {};
}

QPalette TriskVXInterfaceBuilder::readPalette()
{
    // Only the roles the file names are set, so that the rest follows the widget's parent.
    QPalette palette;
    const QMetaEnum roles = QMetaEnum::fromType<QPalette::ColorRole>();
    while (m_error.isEmpty() && m_xml->readNextStartElement()) {
        const QStringView groupName = m_xml->name();
        const QPalette::ColorGroup group = groupName == u"active" ? QPalette::Active
            : groupName == u"inactive"                            ? QPalette::Inactive
            : groupName == u"disabled"                            ? QPalette::Disabled
                                                                  : QPalette::NColorGroups;
        if (group == QPalette::NColorGroups) {
            fail(QStringLiteral("no colour group %1").arg(groupName));
            break;
        }
        while (m_error.isEmpty() && m_xml->readNextStartElement()) {
            bool known = false;
            const int role = roles.keyToValue(m_xml->attributes().value(QLatin1String("role")).toLatin1(), &known);
            // <colorrole role="Window"><brush brushstyle="SolidPattern"><color alpha="255"><red>...
            const bool solid = m_xml->name() == u"colorrole" && known && m_xml->readNextStartElement()
                && m_xml->name() == u"brush"
                && m_xml->attributes().value(QLatin1String("brushstyle")) == u"SolidPattern"
                && m_xml->readNextStartElement() && m_xml->name() == u"color";
            if (!solid) {
                fail(QStringLiteral("a palette's colour roles take a known role and a solid brush of one colour"));
                break;
            }
            const QString alpha = m_xml->attributes().value(QLatin1String("alpha")).toString();
            QHash<QString, int> components;
            while (m_xml->readNextStartElement())
                components.insert(m_xml->name().toString(), m_xml->readElementText().trimmed().toInt());
            palette.setColor(group, QPalette::ColorRole(role),
                             QColor(components.value(QStringLiteral("red")), components.value(QStringLiteral("green")),
                                    components.value(QStringLiteral("blue")), alpha.isEmpty() ? 255 : alpha.toInt()));
            m_xml->skipCurrentElement(); // </brush>
            m_xml->skipCurrentElement(); // </colorrole>
        }
    }
    return palette;
}

void TriskVXInterfaceBuilder::apply(QObject *object, const Property &property, bool isTop)
{
    if (property.isBuddy) {
        m_buddies.append({ qobject_cast<QLabel *>(object), property.value.toString() });
        return;
    }
    // The top widget takes only the size of its geometry: where it shows is for its owner to say.
    if (isTop && property.name == u"geometry") {
        static_cast<QWidget *>(object)->resize(property.value.toRect().size());
        return;
    }
    const QByteArray name = property.name.toLatin1();
    const QMetaObject *meta = object->metaObject();
    const int index = meta->indexOfProperty(name.constData());
    if (index < 0) {
        // Ours, such as "action" and "tag", read by the owner.
        object->setProperty(name.constData(), property.value);
        return;
    }
    const QMetaProperty declared = meta->property(index);
    QVariant value = property.value;
    if (value.metaType() == QMetaType::fromType<EnumName>()) {
        const QByteArray keys = value.value<EnumName>().keys.toLatin1();
        bool known = false;
        const QMetaEnum enumeration = declared.enumerator();
        const int resolved = enumeration.isFlag() ? enumeration.keysToValue(keys.constData(), &known)
                                                  : enumeration.keyToValue(keys.constData(), &known);
        if (!declared.isEnumType() || !known)
            return fail(QStringLiteral("%1 is no value of %2").arg(QString::fromLatin1(keys), property.name));
        value = resolved;
    }
    if (!declared.write(object, value))
        fail(QStringLiteral("cannot set %1 of %2").arg(property.name, object->objectName()));
}

void TriskVXInterfaceBuilder::skipElement()
{
    m_xml->skipCurrentElement();
}

void TriskVXInterfaceBuilder::fail(const QString &message)
{
    if (m_error.isEmpty())
        m_error = m_xml && m_xml->lineNumber() > 0
            ? QStringLiteral("%1 (line %2)").arg(message).arg(m_xml->lineNumber())
            : message;
}
