#include "icore.h"

#include <atomic>

static std::atomic<ICore *> currentCore { nullptr };
static std::atomic<quint64> coreSerial { 0 };

ICore *ICore::instance()
{
    return currentCore.load();
}

quint64 ICore::serial()
{
    return coreSerial.load();
}

ICore::~ICore() = default;

ICore *ICore::setInstance(ICore *core)
{
    ICore *previous = currentCore.exchange(core);
    ++coreSerial;
    return previous;
}
