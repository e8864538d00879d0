#include "TriskVXInternalInconsistencyException.h"

TriskVXInternalInconsistencyException::TriskVXInternalInconsistencyException(const QString &method, const QString &file,
                                                                             int line, const QString &description)
    : m_method(method)
    , m_file(file)
    , m_line(line)
    , m_description(description)
    , m_what(description.toUtf8())
{
}

const char *TriskVXInternalInconsistencyException::what() const noexcept
{
    return m_what.constData();
}
