#include "icore.h"

#include <atomic>

static std::atomic<ICore *> currentCore { nullptr };

ICore *ICore::instance()
{
    return currentCore.load();
}

ICore::~ICore() = default;

ICore *ICore::setInstance(ICore *core)
{
    return currentCore.exchange(core);
}
