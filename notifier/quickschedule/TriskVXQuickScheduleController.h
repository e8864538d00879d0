#pragma once

#include <QComboBox>
#include <QDateTimeEdit>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QPushButton>
#include <QStackedWidget>
#include <QVariant>

#include <memory>

class TriskVXClock;
class TriskVXObserver;
class TriskVXRequest;
class TriskVXRequestsController;
class TriskVXSecondTimer;
class TriskVXWorkspace;

// The four quick changes the panel offers, in the order of its choice pop-up.
enum TriskVXQuickChoice : qint64 {
    TriskVXQuickChoiceAdd = 0,
    TriskVXQuickChoicePostpone = 1,
    TriskVXQuickChoiceReset = 2,
    TriskVXQuickChoiceToggleScheduler = 3,
};

// Published names of a template's fields; the notifier itself reads neither.
extern const QString TriskVXQuickScheduleEventNameKey;
extern const QString TriskVXQuickScheduleEventDescriptionKey;

// The Quick Schedule panel: lets the person add an event from a ready-made template at a chosen date,
// postpone every pending trigger until a date, reset the schedule, or start and stop the scheduler,
// without opening the scheduler's own program. It keeps no schedule: it follows the service's enabled
// state and pending list through the notifier's observer and hands each change to the requests
// controller, which sends it and reports failures.
class TriskVXQuickScheduleController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool schedulerEnabled READ isSchedulerEnabled)
    Q_PROPERTY(qint64 quickChoice READ quickChoice WRITE setQuickChoice)
    Q_PROPERTY(qint64 eventChoice READ eventChoice WRITE setEventChoice)

public:
    // The clock gives "now" to the date pickers' limit and shortcuts; it must outlive the controller.
    explicit TriskVXQuickScheduleController(const TriskVXClock *clock, QObject *parent = nullptr);
    ~TriskVXQuickScheduleController() override;

    // The program's way to make the panel at start: init, the notifier whose observer and requests it
    // borrows, awakeFromNib, and the workspace's Quick Schedule requests opening it.
    static std::unique_ptr<TriskVXQuickScheduleController>
    controllerWithNotifier(QObject *notifier, const TriskVXClock *clock, TriskVXWorkspace *workspace);
    // The same, made when the workspace first asks for the panel rather than at start: a process that
    // never shows it keeps neither its widgets nor the code pages they touch. The returned object owns
    // the controller once made.
    static std::unique_ptr<QObject> controllerOnFirstRequest(QObject *notifier, const TriskVXClock *clock,
                                                             TriskVXWorkspace *workspace);

    // Reads the templates from the bundle's "quickScheduleTemplates.plist": missing or not an array of
    // them is a programming error of the package.
    bool init();
    // Loads the panel's interface file, checks its outlets, fills the template pop-up and starts following
    // the service's variables.
    void awakeFromNib();
    // Opens the panel when the workspace asks for the Quick Schedule interface.
    void followWorkspace(TriskVXWorkspace *workspace);

    // Any object with the properties "observer" and "requests" (the notifier controller, a notifier).
    QObject *notifier() const { return m_notifier; }
    void setNotifier(QObject *notifier) { m_notifier = notifier; }
    TriskVXObserver *observer() const;
    TriskVXRequestsController *requests() const;

    QWidget *panel() const { return m_panel; }
    QPushButton *applyButton() const { return m_applyButton; }
    QPushButton *doNotApplyButton() const { return m_doNotApplyButton; }
    QComboBox *quickPopUp() const { return m_quickPopUp; }
    QComboBox *actionsPopUp() const { return m_actionsPopUp; }
    QDateTimeEdit *actionsDate() const { return m_actionsDate; }
    QDateTimeEdit *untilDate() const { return m_untilDate; }

    QVariantList eventTemplates() const { return m_eventTemplates; }
    void setEventTemplates(const QVariantList &templates) { m_eventTemplates = templates; }
    qint64 quickChoice() const { return m_quickChoice; }
    // Follows the choice pop-up both ways, and retitles the buttons for the choice.
    void setQuickChoice(qint64 choice);
    qint64 eventChoice() const { return m_eventChoice; }
    void setEventChoice(qint64 choice);
    QList<bool> canChoose() const { return m_canChoose; }
    void setCanChoose(const QList<bool> &canChoose);
    // The timer that keeps the date pickers' earliest date current; it runs while the panel is on
    // screen. Setting another one stops and deletes the one held.
    TriskVXSecondTimer *dateTimer() const { return m_dateTimer; }
    void setDateTimer(TriskVXSecondTimer *timer);

    // The service's published enabled state; false until it has published one.
    bool isSchedulerEnabled() const;

    // Whether the choice pop-up's entry at index may be picked: a choice only once the service has
    // published what it needs; an entry beyond the four choices always.
    bool canChooseAt(qsizetype index) const;

    void addEvent();
    void postponeEvents();
    void resetEvents();
    void toggleScheduler();
    void updateToggleState(bool enabled);

public Q_SLOTS:
    // The interface's actions; each takes its sender.
    void show(QObject *sender);
    void cancel(QObject *sender);
    void ok(QObject *sender);
    void quickChanged(QObject *sender);
    void takeTagAsRelativeActionsDate(QObject *sender);
    void updateDatePickerLimits(QObject *timer);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void loadPanel();
    QObject *checkedOutlet(const QString &name) const;
    void fillActionsPopUp();
    void startObserving();
    void setUpDatePickers();
    void observeValueForKeyPath(const QString &keyPath);
    // Enables the choice pop-up's entries and Apply after canChoose or the choice changed.
    void validateChoices();
    void send(const TriskVXRequest &request, const QString &summary);
    QString className() const;

    const TriskVXClock *m_clock;
    QPointer<QObject> m_notifier;
    QPointer<QWidget> m_panel;
    QPointer<QPushButton> m_applyButton;
    QPointer<QPushButton> m_doNotApplyButton;
    QPointer<QComboBox> m_quickPopUp;
    QPointer<QComboBox> m_actionsPopUp;
    QPointer<QDateTimeEdit> m_actionsDate;
    QPointer<QDateTimeEdit> m_untilDate;
    // Optional: one page per choice, showing what the choice needs.
    QPointer<QStackedWidget> m_choicePages;
    QVariantList m_eventTemplates;
    qint64 m_quickChoice = TriskVXQuickChoiceAdd;
    qint64 m_eventChoice = 0;
    QList<bool> m_canChoose;
    TriskVXSecondTimer *m_dateTimer = nullptr;
    QPointer<TriskVXObserver> m_observed;
    QMetaObject::Connection m_observation;
};
