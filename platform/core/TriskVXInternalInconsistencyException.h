#pragma once

#include <QString>

#include <exception>

// Raised by the assertion handler for a programming error.
class TriskVXInternalInconsistencyException : public std::exception
{
public:
    TriskVXInternalInconsistencyException(const QString &method, const QString &file, int line,
                                          const QString &description);

    QString method() const { return m_method; }
    QString file() const { return m_file; }
    int line() const { return m_line; }
    QString description() const { return m_description; }

    const char *what() const noexcept override;

private:
    QString m_method;
    QString m_file;
    int m_line = 0;
    QString m_description;
    QByteArray m_what;
};
