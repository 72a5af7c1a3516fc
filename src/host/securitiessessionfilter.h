#ifndef HOST_SECURITIESSESSIONFILTER_H
#define HOST_SECURITIESSESSIONFILTER_H

#include <host/host_export.h>
#include <host/valuefilter.h>

/**
 * A ValueFilter over a securities table that accepts the securities of the
 * trading sessions open when it is built: those whose key columns (stock id,
 * session id) name a row of the current core's "sessions" table with the
 * status Open. `stockId` keeps the sessions of one stock; -1 keeps all.
 */
class HOST_EXPORT SecuritiesSessionFilter : public ValueFilter
{
    Q_OBJECT

public:
    SecuritiesSessionFilter(
        Table *table, int column, const QList<int> &keyColumns, int stockId, QObject *parent = nullptr);
};

#endif
