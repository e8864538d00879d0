#include "TriskVXRequestErrorReporter.h"

#include "TriskVXBundle.h"
#include "TriskVXConstants.h"
#include "TriskVXNotificationCenter.h"
#include "TriskVXRequestsController.h"
#include "TriskVXUserNotification.h"
#include "TriskVXUserNotificationCenter.h"

namespace {
QString localized(const QString &key, const QString &table = QString())
{
    return TriskVXBundle::localizedString(key, table);
}
} // namespace

TriskVXRequestErrorReporter::TriskVXRequestErrorReporter(TriskVXUserNotificationCenter *center,
                                                         TriskVXNotificationCenter *broadcasts, QObject *parent)
    : QObject(parent)
    , m_center(center)
    , m_broadcasts(broadcasts)
{
    m_token = m_broadcasts->addObserverForNameObjectQueueUsingBlock(TriskVXRequestsControllerNotificationRequestError,
                                                                    nullptr, nullptr,
                                                                    [this](const TriskVXNotification &failure) {
                                                                        report(failure);
                                                                    });
}

TriskVXRequestErrorReporter::~TriskVXRequestErrorReporter()
{
    if (m_token)
        m_broadcasts->removeObserver(m_token);
}

QString TriskVXRequestErrorReporter::identifier()
{
    return QStringLiteral("request-error");
}

QString TriskVXRequestErrorReporter::reasonText(qint64 status)
{
    switch (status) {
    case kVXStatusUnknownTrigger:
        return localized(QStringLiteral("REQUEST_ERROR_UNKNOWN_TRIGGER"));
    case kVXStatusUnknownEvent:
        return localized(QStringLiteral("REQUEST_ERROR_UNKNOWN_EVENT"));
    case kVXStatusNotAuthorised:
        return localized(QStringLiteral("REQUEST_ERROR_NOT_AUTHORISED"));
    case kVXStatusInvalidParameter:
    case kVXStatusInvalidEvent:
        return localized(QStringLiteral("REQUEST_ERROR_INVALID"));
    case kVXStatusNotPerformable:
    case kVXStatusCriteriaNotMet:
        return localized(QStringLiteral("REQUEST_ERROR_NOT_PERFORMABLE"));
    case kVXStatusInternalError:
        return localized(QStringLiteral("REQUEST_ERROR_NOT_SAVED"));
    case kVXStatusLimitExceeded:
        return localized(QStringLiteral("REQUEST_ERROR_TOO_LARGE"));
    case kVXStatusRequestNotSent:
    case kVXStatusNoReply:
    case kVXStatusServiceUnavailable:
        return localized(QStringLiteral("REQUEST_ERROR_UNREACHABLE"));
    default:
        return localized(QStringLiteral("REQUEST_ERROR_OTHER")).arg(status);
    }
}

void TriskVXRequestErrorReporter::report(const TriskVXNotification &failure)
{
    const QVariantMap userInfo = failure.userInfo();
    // A failure without a summary carries no status either: nothing to tell.
    if (!userInfo.contains(QStringLiteral("key")))
        return;
    const QString summary = userInfo.value(QStringLiteral("summary")).toString();
    TriskVXUserNotification notification;
    notification.setIdentifier(identifier());
    notification.setTitle(summary.isEmpty() ? localized(QStringLiteral("REQUEST_ERROR_TITLE"))
                                            : localized(QStringLiteral("REQUEST_ERROR_TITLE_SUMMARY"))
                                                  .arg(localized(summary, QStringLiteral("RequestSummaries"))));
    notification.setInformativeText(reasonText(userInfo.value(QStringLiteral("key")).toLongLong()));
    m_center->deliverNotification(notification);
}
