#ifndef VETREL_FTPASSERT_H
#define VETREL_FTPASSERT_H

#include <vetrel/vetrel_export.h>

namespace nsHelper
{

/**
 * Called with the text of a failed condition, the source file and the line.
 * A handler must not return: it either ends the process or throws. The
 * default one reports "ASSERT: ..." through qFatal.
 */
typedef void (*TAssertionHandler)(const char *condition, const char *file, int line);

/** Installs a handler (null restores the default) and returns the previous one. */
VETREL_EXPORT TAssertionHandler SetAssertionHandler(TAssertionHandler handler);

/** Hands a failed condition to the current handler; aborts should the handler return. */
[[noreturn]] VETREL_EXPORT void AssertionFailed(const char *condition, const char *file, int line);

}

// The text is taken after macro expansion, so that a condition written with
// NULL or INVALID_SOCKET reads as the compiler sees it ("pch != __null").
#define VETREL_FTP_ASSERT_TEXT_(...) #__VA_ARGS__
#define VETREL_FTP_ASSERT_TEXT(...) VETREL_FTP_ASSERT_TEXT_(__VA_ARGS__)

/**
 * Programming errors of the FTP client (null buffers, a closed socket, an
 * unknown command) are checked in every build: carrying on would act on an
 * invalid handle or pointer inside the host's process.
 */
#define VETREL_FTP_ASSERT(...)                                                                               \
    ((__VA_ARGS__) ? static_cast<void>(0)                                                                    \
                   : ::nsHelper::AssertionFailed(VETREL_FTP_ASSERT_TEXT(__VA_ARGS__), __FILE__, __LINE__))

#endif
