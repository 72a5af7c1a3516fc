#ifndef HOST_FIELDCONSTANTS_H
#define HOST_FIELDCONSTANTS_H

#include <host/fieldconstvalue.h>

// The database's code sets. They have internal linkage: every file that
// includes this header builds its own copies when the program loads.
namespace FieldConstants
{

namespace Status
{
    static const FieldConstValue Open('O');
    static const FieldConstValue Closed('C');
    static const FieldConstValue Suspended('S');
}

namespace Side
{
    static const FieldConstValue Buy('B');
    static const FieldConstValue Sell('S');
}

namespace Anonymity
{
    static const FieldConstValue Anonymous('A');
    static const FieldConstValue Named('N');
}

namespace OptionType
{
    static const FieldConstValue Call('C');
    static const FieldConstValue Put('P');
}

namespace SecurityType
{
    static const FieldConstValue Share('E');
    static const FieldConstValue Bond('B');
    static const FieldConstValue Future('F');
    static const FieldConstValue Option('O');
    static const FieldConstValue Currency('C');
    static const FieldConstValue Repo('R');
}

}

#endif
