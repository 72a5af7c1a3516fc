#include "indexsort.h"

#include "database.h"
#include "exception.h"
#include "icore.h"
#include "record.h"
#include "table.h"
#include "tablelocker.h"

#include <algorithm>

static Table *coreTable(const QString &name)
{
    ICore *core = ICore::instance();
    Table *table = core ? core->database()->table(name) : nullptr;
    if (!table)
        throw Exception(QStringLiteral("No table \"%1\"").arg(name));
    return table;
}

IndexSort::IndexSort(const QString &tableName, bool ascending)
    : IndexList(coreTable(tableName))
    , m_ascending(ascending)
{ }

void IndexSort::build()
{
    std::vector<Record *> records;
    {
        TableLocker locker(table());
        const IndexList *master = table()->masterIndex();
        records.reserve(std::size_t(master->count()));
        for (Record *record : *master) {
            if (filter(*record))
                records.push_back(table()->copyRow(*record));
        }
    }
    try {
        std::stable_sort(records.begin(), records.end(),
            [this](const Record *a, const Record *b) { return ordered(*a, *b) < 0; });
    } catch (...) {
        for (Record *record : records)
            table()->freeRow(record);
        throw;
    }
    assign(std::move(records));
}

int IndexSort::position(const Record &record) const
{
    const int p = lowerBound(record, [this](const Record &a, const Record &b) { return ordered(a, b); });
    return p < count() && ordered(*at(p), record) == 0 ? p : -1;
}

bool IndexSort::filter(const Record &) const
{
    return true;
}

int IndexSort::ordered(const Record &a, const Record &b) const
{
    return m_ascending ? compare(a, b) : compare(b, a);
}
