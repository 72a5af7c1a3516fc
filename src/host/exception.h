#ifndef HOST_EXCEPTION_H
#define HOST_EXCEPTION_H

#include <host/host_export.h>

#include <QByteArray>
#include <QString>

#include <exception>

/**
 * The platform's exception: a message for people. what() gives it in UTF-8.
 */
class HOST_EXPORT Exception : public std::exception
{
public:
    explicit Exception(const QString &message);

    QString message() const;
    const char *what() const noexcept override;

private:
    QString m_message;
    QByteArray m_utf8;
};

#endif
