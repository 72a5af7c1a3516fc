#ifndef VETREL_TESTS_ASSERTIONCATCHER_H
#define VETREL_TESTS_ASSERTIONCATCHER_H

#include <vetrel/FtpClient/FTPAssert.h>

#include <functional>
#include <string>

// While alive, a failed FTP assertion throws its condition text instead of
// ending the process, so a test can check which condition caught the error.
class AssertionCatcher
{
public:
    struct Failure
    {
        std::string condition;
    };

    AssertionCatcher()
        : m_previous(nsHelper::SetAssertionHandler(&Throw))
    { }
    ~AssertionCatcher() { nsHelper::SetAssertionHandler(m_previous); }

    // The condition text of the assertion that call raised; empty when none did.
    static std::string conditionOf(const std::function<void()> &call)
    {
        try {
            call();
        } catch (const Failure &failure) {
            return failure.condition;
        }
        return std::string();
    }

private:
    static void Throw(const char *condition, const char *, int) { throw Failure { condition }; }

    nsHelper::TAssertionHandler m_previous;
};

#endif
