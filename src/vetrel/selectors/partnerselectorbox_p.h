#ifndef VETREL_PARTNERSELECTORBOX_P_H
#define VETREL_PARTNERSELECTORBOX_P_H

#include <vetrel/vetrel_export.h>

class Field;

// The order of partner codes: cells of different types order by their type
// tags, cells of one type by value. A total order for every input (NaN and
// absent cells included), so sorting a table of any content is well defined.
VETREL_EXPORT int comparePartnerCodes(const Field &a, const Field &b);

#endif
