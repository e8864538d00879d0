#pragma once

#include "TriskVXRequest.h"

#include <QObject>
#include <QStringList>
#include <QVariant>

class QCommandLineParser;
class QTextStream;
class TriskVXConnection;
class TriskVXObserver;
class TriskVXServiceLocation;

// halvanectl: shows the scheduler's published variables, sends every request and sets scheduler
// preferences, through libHalvane. Exit status 0 on success, 1 when the service refused or failed,
// 2 for a bad command line, 3 when the service cannot be reached.
class HalvaneCtl : public QObject
{
    Q_OBJECT

public:
    HalvaneCtl(QTextStream &out, QTextStream &err, QObject *parent = nullptr);

    // Parses the command line, runs the command in the existing application's event loop and answers the
    // exit status.
    int run(const QStringList &arguments);

private:
    enum class Output { Human, Plist, Json };

    // What a command line asks for, checked whole before anything is sent.
    struct Plan
    {
        enum class Kind { Status, Show, Request, Delay, Preference, Export, Import };
        Kind kind = Kind::Status;
        QStringList variables;
        TriskVXRequest request;
        QString trigger;
        qint64 minutes = 0;
        QString key;
        QVariant value;
        QString file;
        QVariantMap schedule;
    };

    int usage(const QString &message);
    int plan(const QString &command, const QStringList &operands, const QCommandLineParser &parser, Plan *plan);
    int planAdd(const QStringList &operands, const QCommandLineParser &parser, Plan *plan);
    bool waitForConnection();
    bool waitForVariables();
    int sendRequest(const TriskVXRequest &request);
    int delay(const QString &trigger, qint64 minutes);
    int setPreference(const QString &key, const QVariant &value);
    // The whole schedule into a binary property-list file, and back (org.halvane.SchedulerBackup1).
    int exportSchedule(const TriskVXServiceLocation &location, const QString &file);
    int importSchedule(const TriskVXServiceLocation &location, const QVariantMap &schedule);
    int printVariables(const QStringList &names);
    int printStatus();
    void printRecords(const QString &variable, const QVariantList &records);
    QString dateText(const QVariant &date) const;
    static QDateTime parseDate(const QString &text);
    // halvaned's horizon and largest store (HalvaneLimits), repeated here: halvanectl does not link the
    // service, and a file it knows the service refuses is not worth sending.
    static constexpr int kHorizonYears = 10;
    static constexpr qsizetype kEventsPerRequest = 2000;
    static QVariant preferenceValue(const QString &text, bool asString);

    QTextStream &m_out;
    QTextStream &m_err;
    Output m_output = Output::Human;
    int m_timeout = 5000;
    TriskVXConnection *m_connection = nullptr;
    TriskVXObserver *m_observer = nullptr;
};
