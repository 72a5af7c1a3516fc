#include "FTPAssert.h"

#include <QtGlobal>

#include <atomic>
#include <cstdlib>

namespace nsHelper
{

namespace
{

    void DefaultHandler(const char *condition, const char *file, int line)
    {
        qFatal("ASSERT: \"%s\" in file %s, line %d", condition, file, line);
    }

    std::atomic<TAssertionHandler> currentHandler { &DefaultHandler };

}

TAssertionHandler SetAssertionHandler(TAssertionHandler handler)
{
    return currentHandler.exchange(handler ? handler : &DefaultHandler);
}

void AssertionFailed(const char *condition, const char *file, int line)
{
    currentHandler.load()(condition, file, line);
    // A handler that returns would let the caller go on with the broken state.
    std::abort();
}

}
