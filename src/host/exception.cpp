#include "exception.h"

Exception::Exception(const QString &message)
    : m_message(message)
    , m_utf8(message.toUtf8())
{ }

QString Exception::message() const
{
    return m_message;
}

const char *Exception::what() const noexcept
{
    return m_utf8.constData();
}
