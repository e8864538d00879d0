// The Quick Schedule submenu.
#include "TriskVXStatusMenuController.h"

#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXITemplateAssistant.h"
#include "TriskVXMenuAlternates.h"
#include "TriskVXMenuItem.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXRequest.h"
#include "TriskVXStatusMenuLogging.h"

#include <QDir>

namespace {
const QString kQuickScheduleFolder = QStringLiteral("Quick Schedule");

// The events of one template file, or nothing when it does not parse or holds anything but
// dictionaries. A broken file is said once in the log, with its reason, and left as it is.
QVariantList eventsOfFile(const QString &path, bool isSchedule)
{
    QString error;
    const QVariant contents = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(path, &error);
    QVariantList events;
    if (isSchedule && contents.typeId() == QMetaType::QVariantList)
        events = contents.toList();
    else if (!isSchedule && contents.typeId() == QMetaType::QVariantMap)
        events = { contents };
    else {
        qCWarning(lcTriskStatusMenu).noquote()
            << QStringLiteral("Quick Schedule template %1 left out: %2")
                   .arg(path,
                        error.isEmpty() ? (isSchedule ? QStringLiteral("not an array of events")
                                                      : QStringLiteral("not an event dictionary"))
                                        : error);
        return {};
    }
    for (const QVariant &event : std::as_const(events)) {
        if (event.typeId() != QMetaType::QVariantMap) {
            qCWarning(lcTriskStatusMenu).noquote()
                << QStringLiteral("Quick Schedule template %1 left out: an element is not an event dictionary")
                       .arg(path);
            return {};
        }
    }
    return events;
}

// The events of a folder's template files in name order. A missing or unreadable folder gives nothing
// without a word: most people never make one.
QVariantList eventsInFolder(const QString &folder)
{
    const QDir directory(folder);
    if (!directory.exists() || !directory.isReadable())
        return {};
    QVariantList events;
    const QFileInfoList files = directory.entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo &file : files) {
        const QString extension = file.suffix();
        if (extension == kVXWorkspaceFileExtensionSchedule)
            events.append(eventsOfFile(file.filePath(), true));
        else if (extension == kVXWorkspaceFileExtensionEvent)
            events.append(eventsOfFile(file.filePath(), false));
    }
    return events;
}
} // namespace

const QList<int> &TriskVXStatusMenuController::quickDelays()
{
    static const QList<int> delays { 10, 30, 60, 2 };
    return delays;
}

quint64 TriskVXStatusMenuController::alternateModifierMaskAt(qsizetype position)
{
    switch (position) {
    case 1:
        return TriskVXMenuItem::kOptionKeyMask;
    case 2:
        return TriskVXMenuItem::kCommandKeyMask;
    case 3:
        return TriskVXMenuItem::kShiftKeyMask;
    case 4:
        return TriskVXMenuItem::kControlKeyMask;
    default:
        return 0;
    }
}

QVariantList TriskVXStatusMenuController::quickScheduleEvents() const
{
    QVariantList events;
    // The shipped templates speak the person's language; the person's own stay as they wrote them.
    TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    if (bundle)
        events = TriskVXITemplateAssistant::localizedTemplates(
            eventsInFolder(QDir(bundle->resourceURL().toLocalFile()).filePath(kQuickScheduleFolder)), *bundle);
    if (workspace() && workspace()->supportFolder().isValid())
        events.append(eventsInFolder(QDir(workspace()->supportFolder().toLocalFile()).filePath(kQuickScheduleFolder)));
    return events;
}

QMenu *TriskVXStatusMenuController::makeQuickScheduleMenu()
{
    // The title is the menu's name, not shown as such; the status menu's item gives the visible one.
    auto *menu = new QMenu(QStringLiteral("Quick Schedule"));
    TriskVXMenuItem::setAutoenablesItems(menu, false);
    const QList<int> &delays = quickDelays();
    QList<QAction *> items;
    for (qsizetype position = 0; position < delays.size(); ++position) {
        QAction *heading = TriskVXMenuItem::itemWithTitleActionTarget(
            localized(QStringLiteral("TriskVXStatusMenuController.quick.title.group")).arg(delays.at(position)),
            QString(), nullptr, menu);
        heading->setEnabled(false);
        TriskVXMenuItem::setAlternate(heading, position != 0);
        TriskVXMenuItem::setKeyEquivalentModifierMask(heading, alternateModifierMaskAt(position));
        items.append(heading);
    }
    TriskVXIImageAssistant *assistant = imageAssistant();
    const QVariantList events = quickScheduleEvents();
    for (const QVariant &event : events) {
        const QVariantMap fields = event.toMap();
        if (!fields.contains(kVXEventName))
            continue;
        const QString name = fields.value(kVXEventName).toString();
        const QIcon icon = iconForImage(imageForMenuItemForUIIdentifier(assistant->UIIdentifierForEvent(event)));
        for (qsizetype position = 0; position < delays.size(); ++position) {
            const int minutes = delays.at(position);
            QAction *item = TriskVXMenuItem::itemWithTitleActionTarget(
                localized(QStringLiteral("TriskVXStatusMenuController.quick.title"))
                    .arg(name, QString::number(minutes)),
                QStringLiteral("quickScheduleWithEvent:"), this, menu);
            item->setData(event);
            TriskVXMenuItem::setTag(item, minutes);
            item->setIcon(icon);
            if (fields.contains(kVXEventNotes))
                item->setToolTip(fields.value(kVXEventNotes).toString());
            TriskVXMenuItem::setAlternate(item, position != 0);
            TriskVXMenuItem::setKeyEquivalentModifierMask(item, alternateModifierMaskAt(position));
            items.append(item);
        }
    }
    items.append(TriskVXMenuItem::separatorItem(menu));
    items.append(TriskVXMenuItem::itemWithTitleActionTarget(
        localized(QStringLiteral("TriskVXStatusMenuController.quick.title.more")), QStringLiteral("quickSchedule:"),
        this, menu));
    menu->addActions(items);
    // One line per group, following the modifier keys; an exporter switches to ShowAll.
    TriskVXMenuAlternates::install(menu);
    return menu;
}

void TriskVXStatusMenuController::quickScheduleWithEvent(QObject *sender)
{
    const auto *item = qobject_cast<QAction *>(sender);
    if (!item)
        return;
    const int minutes = TriskVXMenuItem::tag(item);
    const QVariant event = item->data();
    if (minutes <= 0 || event.typeId() != QMetaType::QVariantMap)
        return;
    const QVariantMap trigger { { kVXTriggerType, kVXTriggerType_Once },
                                { kVXTriggerDate, clock()->now().addSecs(qint64(minutes) * 60) } };
    QVariantMap newEvent = event.toMap();
    newEvent.insert(kVXEventTriggers, QVariantList { trigger });
    const TriskVXRequest request = TriskVXRequest::requestWithRequestValueForParameter(
        kVXRPCEventStoreStore, QVariantList { newEvent }, kVXRPCParameterEvents);
    if (requests())
        requests()->sendRequestLocalisedSummary(&request, QStringLiteral("Quick Schedule"));
}
