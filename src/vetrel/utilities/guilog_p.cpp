#include "guilog_p.h"

Q_LOGGING_CATEGORY(lcGuiLog, "QGuiLog")
