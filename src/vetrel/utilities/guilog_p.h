#ifndef VETREL_GUILOG_P_H
#define VETREL_GUILOG_P_H

#include <QLoggingCategory>

// The desktop utilities' debug log; hosts switch it with the rule "QGuiLog.debug=false".
Q_DECLARE_LOGGING_CATEGORY(lcGuiLog)

#endif
