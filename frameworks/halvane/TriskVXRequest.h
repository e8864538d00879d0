#pragma once

#include <QString>
#include <QVariantMap>

// One request to the scheduler service: a request name (kVXRPC...) and its parameter dictionary.
class TriskVXRequest
{
public:
    TriskVXRequest() = default;
    // initWithRequest:parameterDictionary:
    TriskVXRequest(const QString &request, const QVariantMap &parameterDictionary);

    static TriskVXRequest requestWithRequestValueForParameter(const QString &request, const QVariant &value,
                                                              const QString &parameter);
    static TriskVXRequest requestWithRequest(const QString &request);

    QString request() const { return m_request; }
    QVariantMap parameterDictionary() const { return m_parameters; }

private:
    QString m_request;
    QVariantMap m_parameters;
};
