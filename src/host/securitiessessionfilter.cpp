#include "securitiessessionfilter.h"

#include "database.h"
#include "fieldconstants.h"
#include "icore.h"
#include "indexlist.h"
#include "record.h"
#include "table.h"
#include "tablelocker.h"

SecuritiesSessionFilter::SecuritiesSessionFilter(
    Table *table, int column, const QList<int> &keyColumns, int stockId, QObject *parent)
    : ValueFilter(table, column, keyColumns, parent)
{
    ICore *core = ICore::instance();
    const Table *sessions = core ? core->database()->table(QStringLiteral("sessions")) : nullptr;
    if (!sessions)
        return;
    const int stockColumn = sessions->columnIndex(QStringLiteral("stock_id"));
    const int sessionColumn = sessions->columnIndex(QStringLiteral("sess_id"));
    const int statusColumn = sessions->columnIndex(QStringLiteral("status"));
    TableLocker locker(sessions);
    for (const Record *session : *sessions->masterIndex()) {
        if (!FieldConstants::Status::Open.matches(*sessions->dataPtr(session, statusColumn)))
            continue;
        const QVariant stock = sessions->dataPtr(session, stockColumn)->toVariant();
        if (stockId != -1 && stock.toInt() != stockId)
            continue;
        addValue({ stock, sessions->dataPtr(session, sessionColumn)->toVariant() });
    }
}
