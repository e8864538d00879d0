#pragma once

#include <QDateTime>
#include <QString>

class TriskVXIDateTransformer;

// The words of a count-down, shared by the panels and the login screen's window: the title that names
// the event and its time once, and the message that counts down to it.
namespace TriskVXCountDownMessage {

// "<event> at <time>" from the localised title format.
QString title(const QString &eventName, const QDateTime &triggerDate, const TriskVXIDateTransformer &transformer);
// "<event> at <time>, in <minutes and seconds>" as the localised format has it, counted from now; whole
// minutes carry the hours, and a time already past counts as none. When a format is missing or lacks a
// placeholder: an empty text, and in problem the description the caller's assertion gives.
QString message(const QString &eventName, const QDateTime &triggerDate, const QDateTime &now,
                const TriskVXIDateTransformer &transformer, QString *problem);

} // namespace TriskVXCountDownMessage
