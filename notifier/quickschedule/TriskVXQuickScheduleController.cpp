#include "TriskVXQuickScheduleController.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXFloatingPanel.h"
#include "TriskVXITemplateAssistant.h"
#include "TriskVXNibLoader.h"
#include "TriskVXObserver.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXQuickScheduleLogging.h"
#include "TriskVXRequest.h"
#include "TriskVXRequestsController.h"
#include "TriskVXSecondTimer.h"
#include "TriskVXWorkspace.h"

#include <QComboBox>
#include <QDateTimeEdit>
#include <QEvent>
#include <QPushButton>
#include <QStackedWidget>
#include <QStandardItemModel>

const QString TriskVXQuickScheduleEventNameKey = QStringLiteral("EventName");
const QString TriskVXQuickScheduleEventDescriptionKey = QStringLiteral("EventDescription");

namespace {
// The format without its seconds field and the separator before it (":ss", ".s"), by hand rather than
// through a regular expression, whose engine would be mapped and compiled for this alone.
QString withoutSeconds(const QString &format)
{
    QString result;
    for (qsizetype index = 0; index < format.size(); ++index) {
        const QChar c = format.at(index);
        if ((c == u':' || c == u'.') && format.mid(index + 1, 1) == u"s") {
            index += format.mid(index + 2, 1) == u"s" ? 2 : 1;
            continue;
        }
        result += c;
    }
    return result;
}

const QString kTemplatesResource = QStringLiteral("quickScheduleTemplates");
const QString kSummary = QStringLiteral("Quick Schedule");
const QString kResetSummary = QStringLiteral("Quick Schedule: Reset");
// The earliest date either picker takes, ahead of now: time to read the panel and press Apply.
const qint64 kEarliestAheadSecs = 120;

QString localized(const QString &key)
{
    return TriskVXBundle::localizedString(key);
}

// The keys of the two button titles for a choice; empty for a value that is no choice.
std::pair<QString, QString> buttonTitleKeys(qint64 choice, bool schedulerEnabled)
{
    switch (choice) {
    case TriskVXQuickChoiceAdd:
        return { QStringLiteral("QUICKSCHEDULE_APPLY_ADD"), QStringLiteral("QUICKSCHEDULE_DONOTAPPLY_ADD") };
    case TriskVXQuickChoicePostpone:
        return { QStringLiteral("QUICKSCHEDULE_APPLY_POSTPONE"), QStringLiteral("QUICKSCHEDULE_DONOTAPPLY_POSTPONE") };
    case TriskVXQuickChoiceReset:
        return { QStringLiteral("QUICKSCHEDULE_APPLY_RESET"), QStringLiteral("QUICKSCHEDULE_DONOTAPPLY_RESET") };
    case TriskVXQuickChoiceToggleScheduler:
        if (schedulerEnabled)
            return { QStringLiteral("QUICKSCHEDULE_APPLY_STOP"), QStringLiteral("QUICKSCHEDULE_DONOTAPPLY_STOP") };
        return { QStringLiteral("QUICKSCHEDULE_APPLY_START"), QStringLiteral("QUICKSCHEDULE_DONOTAPPLY_START") };
    default:
        return {};
    }
}
} // namespace

TriskVXQuickScheduleController::TriskVXQuickScheduleController(const TriskVXClock *clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
{
}

TriskVXQuickScheduleController::~TriskVXQuickScheduleController()
{
    disconnect(m_observation);
    setDateTimer(nullptr);
    delete m_panel;
}

std::unique_ptr<TriskVXQuickScheduleController>
TriskVXQuickScheduleController::controllerWithNotifier(QObject *notifier, const TriskVXClock *clock,
                                                       TriskVXWorkspace *workspace)
{
    auto controller = std::make_unique<TriskVXQuickScheduleController>(clock);
    if (!controller->init())
        return nullptr;
    controller->setNotifier(notifier);
    controller->awakeFromNib();
    controller->followWorkspace(workspace);
    return controller;
}

std::unique_ptr<QObject> TriskVXQuickScheduleController::controllerOnFirstRequest(QObject *notifier,
                                                                                  const TriskVXClock *clock,
                                                                                  TriskVXWorkspace *workspace)
{
    auto owner = std::make_unique<QObject>();
    if (!workspace)
        return owner;
    QObject *holder = owner.get();
    connect(workspace, &TriskVXWorkspace::quickScheduleRequested, holder, [holder, notifier, clock] {
        auto *controller = holder->findChild<TriskVXQuickScheduleController *>(QString(), Qt::FindDirectChildrenOnly);
        if (!controller) {
            std::unique_ptr<TriskVXQuickScheduleController> made = controllerWithNotifier(notifier, clock, nullptr);
            if (!made)
                return;
            controller = made.release();
            controller->setParent(holder);
        }
        controller->show(nullptr);
    });
    return owner;
}

QString TriskVXQuickScheduleController::className() const
{
    return QString::fromLatin1(metaObject()->className());
}

bool TriskVXQuickScheduleController::init()
{
    setCanChoose({ true, false, false, false });
    TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    const QString path = bundle ? bundle->pathForResource(kTemplatesResource, QStringLiteral("plist")) : QString();
    TRISK_ASSERT(!path.isEmpty(), QStringLiteral("%1's eventTemplates are missing").arg(className()));
    QString error;
    const QVariant templates = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(path, &error);
    if (templates.typeId() != QMetaType::QVariantList)
        qCCritical(lcTriskQuickSchedule).noquote()
            << QStringLiteral("cannot read the Quick Schedule templates %1: %2")
                   .arg(path, error.isEmpty() ? QStringLiteral("the root is not an array") : error);
    TRISK_ASSERT(templates.typeId() == QMetaType::QVariantList,
                 QStringLiteral("%1's eventTemplates are malformed").arg(className()));
    setEventTemplates(TriskVXITemplateAssistant::localizedTemplates(templates.toList(), *bundle));
    return true;
}

QObject *TriskVXQuickScheduleController::checkedOutlet(const QString &name) const
{
    QObject *object = TriskVXNibLoader::outlet(m_panel, name);
    TRISK_ASSERT(object != nullptr, QStringLiteral("%1's %2 is not connected").arg(className(), name));
    return object;
}

void TriskVXQuickScheduleController::awakeFromNib()
{
    loadPanel();
    // The pop-ups' selections are the two choices.
    connect(m_quickPopUp, &QComboBox::currentIndexChanged, this, &TriskVXQuickScheduleController::setQuickChoice);
    connect(m_actionsPopUp, &QComboBox::currentIndexChanged, this, [this](int index) {
        m_eventChoice = index;
    });
    validateChoices();
    // The last entry reads as its buttons do, also before the service has said whether it runs.
    updateToggleState(isSchedulerEnabled());
    quickChanged(nullptr);
    fillActionsPopUp();
    setEventChoice(0);
    startObserving();
    setUpDatePickers();
}

void TriskVXQuickScheduleController::loadPanel()
{
    // The panel lives in an interface file of its own, named after this class.
    TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    const QString path = bundle ? bundle->pathForResource(className(), QStringLiteral("ui")) : QString();
    QString error;
    QWidget *root = path.isEmpty() ? nullptr : TriskVXNibLoader::load(path, this, nullptr, &error);
    if (!root)
        qCCritical(lcTriskQuickSchedule).noquote()
            << QStringLiteral("cannot load the Quick Schedule panel: %1")
                   .arg(path.isEmpty() ? QStringLiteral("%1.ui is not in the resources").arg(className()) : error);
    TRISK_ASSERT(m_notifier != nullptr, QStringLiteral("%1's notifier is not connected").arg(className()));
    TRISK_ASSERT(root != nullptr, QStringLiteral("%1's panel is not connected").arg(className()));
    m_panel = root;
    m_quickPopUp = qobject_cast<QComboBox *>(checkedOutlet(QStringLiteral("quickPopUp")));
    m_actionsPopUp = qobject_cast<QComboBox *>(checkedOutlet(QStringLiteral("actionsPopUp")));
    m_actionsDate = qobject_cast<QDateTimeEdit *>(checkedOutlet(QStringLiteral("actionsDate")));
    m_untilDate = qobject_cast<QDateTimeEdit *>(checkedOutlet(QStringLiteral("untilDate")));
    m_applyButton = qobject_cast<QPushButton *>(TriskVXNibLoader::outlet(m_panel, QStringLiteral("applyButton")));
    m_doNotApplyButton
        = qobject_cast<QPushButton *>(TriskVXNibLoader::outlet(m_panel, QStringLiteral("doNotApplyButton")));
    m_choicePages = qobject_cast<QStackedWidget *>(TriskVXNibLoader::outlet(m_panel, QStringLiteral("choicePages")));
    new TriskVXFloatingPanel(m_panel);
    m_panel->hide();
    // However it goes (Apply, Don't Apply, Escape), a panel off screen needs no clock.
    m_panel->installEventFilter(this);
}

void TriskVXQuickScheduleController::startObserving()
{
    m_observed = observer();
    if (!m_observed)
        return;
    m_observation = connect(m_observed, &TriskVXObserver::didChangeValueForKeyPath, this,
                            &TriskVXQuickScheduleController::observeValueForKeyPath);
    // What the service published before the panel was made counts as well.
    for (const QString &keyPath : { kVXObserveSchedulerEnabled, kVXObserveSchedulerPending }) {
        if (m_observed->valueForKeyPath(keyPath).isValid())
            observeValueForKeyPath(keyPath);
    }
}

void TriskVXQuickScheduleController::setUpDatePickers()
{
    // Dates to the minute, as the person thinks of them; the locale's order of the fields stays.
    for (QDateTimeEdit *picker : { m_actionsDate.data(), m_untilDate.data() })
        picker->setDisplayFormat(withoutSeconds(picker->displayFormat()));
    // A sensible date to start from: the whole minute an hour ahead. The pickers keep it as the person
    // leaves it.
    QDateTime inAnHour = m_clock->now().addSecs(3600);
    inAnHour.setTime(QTime(inAnHour.time().hour(), inAnHour.time().minute()));
    m_actionsDate->setDateTime(inAnHour);
    m_untilDate->setDateTime(inAnHour);
    updateDatePickerLimits(nullptr);
}

void TriskVXQuickScheduleController::fillActionsPopUp()
{
    const QSignalBlocker blocker(m_actionsPopUp);
    m_actionsPopUp->clear();
    for (const QVariant &eventTemplate : std::as_const(m_eventTemplates)) {
        const QVariant name = eventTemplate.toMap().value(kVXEventName);
        TRISK_ASSERT(name.isValid(), QStringLiteral("%1's eventTemplate name is missing").arg(className()));
        m_actionsPopUp->addItem(name.toString());
    }
}

void TriskVXQuickScheduleController::followWorkspace(TriskVXWorkspace *workspace)
{
    if (!workspace)
        return;
    connect(workspace, &TriskVXWorkspace::quickScheduleRequested, this, [this] {
        show(nullptr);
    });
}

TriskVXObserver *TriskVXQuickScheduleController::observer() const
{
    return m_notifier ? qobject_cast<TriskVXObserver *>(m_notifier->property("observer").value<QObject *>()) : nullptr;
}

TriskVXRequestsController *TriskVXQuickScheduleController::requests() const
{
    return m_notifier ? qobject_cast<TriskVXRequestsController *>(m_notifier->property("requests").value<QObject *>())
                      : nullptr;
}

void TriskVXQuickScheduleController::setQuickChoice(qint64 choice)
{
    m_quickChoice = choice;
    if (m_quickPopUp && m_quickPopUp->currentIndex() != choice) {
        const QSignalBlocker blocker(m_quickPopUp);
        m_quickPopUp->setCurrentIndex(int(choice));
    }
    if (m_choicePages && choice >= 0 && choice < m_choicePages->count())
        m_choicePages->setCurrentIndex(int(choice));
    validateChoices();
    if (m_quickPopUp)
        quickChanged(m_quickPopUp);
}

void TriskVXQuickScheduleController::setEventChoice(qint64 choice)
{
    m_eventChoice = choice;
    if (m_actionsPopUp && m_actionsPopUp->currentIndex() != choice) {
        const QSignalBlocker blocker(m_actionsPopUp);
        m_actionsPopUp->setCurrentIndex(int(choice));
    }
}

void TriskVXQuickScheduleController::setCanChoose(const QList<bool> &canChoose)
{
    m_canChoose = canChoose;
    validateChoices();
}

void TriskVXQuickScheduleController::setDateTimer(TriskVXSecondTimer *timer)
{
    if (timer == m_dateTimer)
        return;
    delete m_dateTimer;
    m_dateTimer = timer;
}

bool TriskVXQuickScheduleController::isSchedulerEnabled() const
{
    // The request's key names the variable, the same name the service publishes it under.
    const TriskVXObserver *source = observer();
    return source && source->valueForKeyPath(kVXRPCSchedulerEnabled).toBool();
}

bool TriskVXQuickScheduleController::canChooseAt(qsizetype index) const
{
    if (index < 0 || index >= m_canChoose.size())
        return true;
    return m_canChoose.at(index);
}

void TriskVXQuickScheduleController::validateChoices()
{
    if (!m_quickPopUp)
        return;
    if (auto *model = qobject_cast<QStandardItemModel *>(m_quickPopUp->model())) {
        for (int row = 0; row < model->rowCount(); ++row)
            model->item(row)->setEnabled(canChooseAt(row));
    }
    // A choice that lost what it needs (the service went away) stays selected but cannot be applied.
    if (m_applyButton)
        m_applyButton->setEnabled(canChooseAt(m_quickChoice));
}

void TriskVXQuickScheduleController::show(QObject *sender)
{
    Q_UNUSED(sender)
    TriskVXFloatingPanel *floating = TriskVXFloatingPanel::of(m_panel);
    if (!floating)
        return;
    if (m_panel->isVisible()) {
        floating->orderFrontRegardless();
        m_panel->activateWindow();
        return;
    }
    auto *timer = new TriskVXSecondTimer(m_clock, this);
    connect(timer, &TriskVXSecondTimer::timeout, this, [this, timer] {
        updateDatePickerLimits(timer);
    });
    setDateTimer(timer);
    updateDatePickerLimits(timer);
    floating->center();
    floating->orderFrontRegardless();
    // The person asked for the panel: it takes the keyboard, so that a date can be typed at once.
    m_panel->activateWindow();
}

void TriskVXQuickScheduleController::cancel(QObject *sender)
{
    Q_UNUSED(sender)
    if (TriskVXFloatingPanel *floating = TriskVXFloatingPanel::of(m_panel))
        floating->orderOut();
}

void TriskVXQuickScheduleController::ok(QObject *sender)
{
    // The panel is gone before anything is sent: a refusal comes back through the requests controller.
    cancel(sender);
    switch (m_quickChoice) {
    case TriskVXQuickChoiceAdd:
        addEvent();
        break;
    case TriskVXQuickChoicePostpone:
        postponeEvents();
        break;
    case TriskVXQuickChoiceReset:
        resetEvents();
        break;
    case TriskVXQuickChoiceToggleScheduler:
        toggleScheduler();
        break;
    default:
        TRISK_ASSERT(false, QStringLiteral("%1 reached unknown switch case %2").arg(className()).arg(m_quickChoice));
    }
}

void TriskVXQuickScheduleController::quickChanged(QObject *sender)
{
    Q_UNUSED(sender)
    auto [applyKey, doNotApplyKey] = buttonTitleKeys(m_quickChoice, isSchedulerEnabled());
    if (applyKey.isEmpty()) {
        TRISK_ASSERT(false, QStringLiteral("%1 reached unknown switch case %2").arg(className()).arg(m_quickChoice));
        applyKey = QStringLiteral("Apply");
        doNotApplyKey = QStringLiteral("Don't Apply");
    }
    if (m_applyButton)
        m_applyButton->setText(localized(applyKey));
    if (m_doNotApplyButton)
        m_doNotApplyButton->setText(localized(doNotApplyKey));
}

void TriskVXQuickScheduleController::takeTagAsRelativeActionsDate(QObject *sender)
{
    m_actionsDate->setDateTime(m_clock->now().addSecs(TriskVXNibLoader::tagOf(sender)));
}

void TriskVXQuickScheduleController::updateDatePickerLimits(QObject *timer)
{
    Q_UNUSED(timer)
    // The pickers move a date that fell behind up to the new limit themselves.
    const QDateTime earliest = m_clock->now().addSecs(kEarliestAheadSecs);
    m_actionsDate->setMinimumDateTime(earliest);
    m_untilDate->setMinimumDateTime(earliest);
}

void TriskVXQuickScheduleController::observeValueForKeyPath(const QString &keyPath)
{
    const QVariant value = m_observed ? m_observed->valueForKeyPath(keyPath) : QVariant();
    const bool present = value.isValid();
    QList<bool> canChoose = m_canChoose;
    if (keyPath == kVXObserveSchedulerEnabled) {
        canChoose[TriskVXQuickChoiceToggleScheduler] = present;
        setCanChoose(canChoose);
        updateToggleState(value.toBool());
        quickChanged(this);
    }
    // An empty list counts: there is a schedule to reset, and postponing nothing is harmless.
    if (keyPath == kVXObserveSchedulerPending) {
        canChoose[TriskVXQuickChoiceReset] = present;
        canChoose[TriskVXQuickChoicePostpone] = present;
        setCanChoose(canChoose);
    }
}

void TriskVXQuickScheduleController::updateToggleState(bool enabled)
{
    m_quickPopUp->setItemText(TriskVXQuickChoiceToggleScheduler,
                              localized(enabled ? QStringLiteral("QUICKSCHEDULE_SCHEDULER_ON")
                                                : QStringLiteral("QUICKSCHEDULE_SCHEDULER_OFF")));
}

void TriskVXQuickScheduleController::send(const TriskVXRequest &request, const QString &summary)
{
    TriskVXRequestsController *sender = requests();
    if (!sender) {
        qCWarning(lcTriskQuickSchedule).noquote()
            << QStringLiteral("cannot send %1 (%2): the notifier has no requests controller")
                   .arg(request.request(), summary);
        return;
    }
    sender->sendRequestLocalisedSummary(&request, summary);
}

void TriskVXQuickScheduleController::addEvent()
{
    TRISK_ASSERT(m_eventChoice >= 0 && m_eventChoice < m_eventTemplates.size(),
                 QStringLiteral("%1's eventChoice %2 is beyond its %3 eventTemplates")
                     .arg(className())
                     .arg(m_eventChoice)
                     .arg(m_eventTemplates.size()));
    const QVariantMap substitutions { { QStringLiteral("when"), m_actionsDate->dateTime().toUTC() } };
    const QVariantMap event = TriskVXITemplateAssistant::dictionaryFromTemplateWithSubstitutions(
        m_eventTemplates.at(m_eventChoice).toMap(), substitutions);
    send(TriskVXRequest::requestWithRequestValueForParameter(kVXRPCEventStoreStore, QVariantList { event },
                                                             kVXRPCParameterEvents),
         kSummary);
}

void TriskVXQuickScheduleController::postponeEvents()
{
    const TriskVXObserver *source = observer();
    const QVariant pending = source ? source->valueForKeyPath(kVXObserveSchedulerPending) : QVariant();
    if (!pending.isValid())
        return;
    const QDateTime until = m_untilDate->dateTime().toUTC();
    // One request per trigger, all sent at once: the service answers each on its own.
    const QVariantList queuedTriggers = pending.toList();
    for (const QVariant &queuedTrigger : queuedTriggers) {
        send(TriskVXRequest(kVXRPCSchedulerCancel,
                            { { kVXRPCParameterUntil, until },
                              { kVXRPCParameterTriggerID, queuedTrigger.toMap().value(kVXQueuedTriggerTriggerID) } }),
             kSummary);
    }
}

void TriskVXQuickScheduleController::resetEvents()
{
    send(TriskVXRequest::requestWithRequest(kVXRPCSchedulerReset), kResetSummary);
}

void TriskVXQuickScheduleController::toggleScheduler()
{
    // No title changes here: they follow when the service publishes its new state.
    send(TriskVXRequest::requestWithRequestValueForParameter(kVXRPCSchedulerSetEnabled, !isSchedulerEnabled(),
                                                             kVXRPCParameterEnabled),
         kSummary);
}

bool TriskVXQuickScheduleController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_panel && event->type() == QEvent::Hide)
        setDateTimer(nullptr);
    return QObject::eventFilter(watched, event);
}
