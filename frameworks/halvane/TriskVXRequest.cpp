#include "TriskVXRequest.h"

TriskVXRequest::TriskVXRequest(const QString &request, const QVariantMap &parameterDictionary)
    : m_request(request)
    , m_parameters(parameterDictionary)
{
}

TriskVXRequest TriskVXRequest::requestWithRequestValueForParameter(const QString &request, const QVariant &value,
                                                                   const QString &parameter)
{
    return TriskVXRequest(request, QVariantMap { { parameter, value } });
}

TriskVXRequest TriskVXRequest::requestWithRequest(const QString &request)
{
    return TriskVXRequest(request, QVariantMap());
}
