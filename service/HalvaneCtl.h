#pragma once

#include <QObject>
#include <QStringList>
#include <QVariant>

#include <functional>

class QTextStream;
class TriskVXConnection;
class TriskVXObserver;
class TriskVXRequest;

// halvanectl: shows the scheduler's published variables and sends every request, through libHalvane.
// Exit status 0 on success, 1 when the service refused or failed, 2 for a bad command line, 3 when the
// service cannot be reached.
class HalvaneCtl : public QObject
{
    Q_OBJECT

public:
    HalvaneCtl(QTextStream &out, QTextStream &err, QObject *parent = nullptr);

    // Parses the command line, runs the command in the existing application's event loop and answers the
    // exit status.
    int run(const QStringList &arguments);

private:
    enum class Output { Human, Plist };

    int usage(const QString &message);
    // With onlyCheck, only checks the operands (exit status 2 when wrong) and sends nothing.
    int execute(const QString &command, const QStringList &operands, bool onlyCheck);
    bool waitForConnection();
    bool waitForVariables();
    int sendRequest(const TriskVXRequest &request);
    int printVariables(const QStringList &names);
    int printStatus();
    void printRecords(const QString &variable, const QVariantList &records);
    QString dateText(const QVariant &date) const;
    static QDateTime parseDate(const QString &text);

    QTextStream &m_out;
    QTextStream &m_err;
    Output m_output = Output::Human;
    int m_timeout = 5000;
    TriskVXConnection *m_connection = nullptr;
    TriskVXObserver *m_observer = nullptr;
};
