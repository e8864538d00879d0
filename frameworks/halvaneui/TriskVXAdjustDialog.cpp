#include "TriskVXAdjustDialog.h"

#include "TriskVXClock.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXHalvaneLogging.h"
#include "TriskVXHalvaneStrings.h"
#include "TriskVXObserver.h"
#include "TriskVXRecords.h"

#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>

namespace {
// A new date starts five minutes ahead when the trigger's own date is not known.
const qint64 kDefaultDelayMSecs = 5 * 60 * 1000;
} // namespace

TriskVXAdjustDialog::TriskVXAdjustDialog(const QString &triggerID, TriskVXConnection *connection,
                                         const TriskVXClock *clock, QWidget *parent)
    : QDialog(parent)
    , m_triggerID(triggerID)
    , m_connection(connection)
{
    setObjectName(QStringLiteral("TriskVXAdjustDialog"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(TriskVXHalvaneStrings::localizedStringForKey(QStringLiteral("TriskVXWorkspace.adjust.title")));
    m_label = new QLabel(this);
    m_label->setObjectName(QStringLiteral("label"));
    m_label->setWordWrap(true);
    m_dateEdit = new QDateTimeEdit(this);
    m_dateEdit->setObjectName(QStringLiteral("dateEdit"));
    m_dateEdit->setCalendarPopup(true);
    m_dateEdit->setTimeSpec(Qt::LocalTime);
    const TriskVXClock *source = clock ? clock : TriskVXClock::systemClock();
    setDate(source->now().addMSecs(kDefaultDelayMSecs));
    connect(m_dateEdit, &QDateTimeEdit::dateTimeChanged, this, [this] {
        m_userChangedDate = true;
    });
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &TriskVXAdjustDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &TriskVXAdjustDialog::reject);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_label);
    layout->addWidget(m_dateEdit);
    layout->addWidget(buttons);
    takeQueuedTrigger(QVariantMap());
    if (m_connection) {
        m_observer = new TriskVXObserver(m_connection, this);
        connect(m_observer, &TriskVXObserver::reloaded, this, &TriskVXAdjustDialog::findTrigger);
    }
}

QDateTime TriskVXAdjustDialog::date() const
{
    return m_dateEdit->dateTime().toUTC();
}

void TriskVXAdjustDialog::setDate(const QDateTime &date)
{
    const bool changed = m_userChangedDate;
    m_dateEdit->setDateTime(date.toLocalTime());
    m_userChangedDate = changed;
}

void TriskVXAdjustDialog::takeQueuedTrigger(const QVariantMap &queuedTrigger)
{
    const QVariant name = TriskVXRecords::eventNameOfQueuedTrigger(queuedTrigger);
    const QString shown = name.isValid()
        ? name.toString()
        : TriskVXHalvaneStrings::localizedStringForKey(QStringLiteral("TriskVXWorkspace.adjust.unnamed"));
    m_label->setText(
        TriskVXHalvaneStrings::localizedStringForKey(QStringLiteral("TriskVXWorkspace.adjust.label")).arg(shown));
    const QVariant date = TriskVXRecords::triggerDateOfQueuedTrigger(queuedTrigger);
    if (date.typeId() == QMetaType::QDateTime && !m_userChangedDate)
        setDate(date.toDateTime());
}

void TriskVXAdjustDialog::findTrigger()
{
    const QVariantList pending = m_observer->valueForKeyPath(kVXObserveSchedulerPending).toList();
    for (const QVariant &record : pending) {
        const QVariantMap queuedTrigger = record.toMap();
        if (queuedTrigger.value(kVXQueuedTriggerTriggerID).toString() == m_triggerID) {
            takeQueuedTrigger(queuedTrigger);
            return;
        }
    }
}

void TriskVXAdjustDialog::accept()
{
    const TriskVXRequest request(kVXRPCSchedulerAdjust,
                                 { { kVXRPCParameterTriggerID, m_triggerID }, { kVXRPCParameterDate, date() } });
    const bool sent = m_connection
        && m_connection->send(
            &request,
            [dialog = QPointer<TriskVXAdjustDialog>(this), id = m_triggerID](const TriskVXResponse &response) {
                if (!response.succeeded())
                    qCWarning(lcHalvane).noquote() << QStringLiteral("adjusting %1 failed: %2, %3")
                                                          .arg(id)
                                                          .arg(response.status())
                                                          .arg(response.message());
                if (dialog)
                    Q_EMIT dialog->adjustFinished(response.succeeded(), response.status());
            });
    if (!sent) {
        qCWarning(lcHalvane).noquote() << QStringLiteral("adjusting %1 failed: not connected").arg(m_triggerID);
        Q_EMIT adjustFinished(false, kVXStatusRequestNotSent);
    }
    QDialog::accept();
}
