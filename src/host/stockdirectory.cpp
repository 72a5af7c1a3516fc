#include "stockdirectory.h"

#include "indexlist.h"
#include "record.h"
#include "table.h"

StockDirectory::StockDirectory()
    : Directory(QStringLiteral("stocks"))
{ }

StockDirectory &StockDirectory::self()
{
    static StockDirectory directory;
    return directory;
}

StockDirectory *StockDirectory::i()
{
    self().sync();
    return &self();
}

QString StockDirectory::codeById(int stockId)
{
    const StockDirectory *d = &self();
    return d->read([d, stockId] { return d->field(stockId, &Stock::code); });
}

int StockDirectory::idByCode(const QString &stockCode)
{
    const StockDirectory *d = &self();
    return d->read([d, &stockCode] { return d->m_idByCode.value(stockCode); });
}

QString StockDirectory::nameById(int stockId)
{
    const StockDirectory *d = &self();
    return d->read([d, stockId] { return d->field(stockId, &Stock::name); });
}

QString StockDirectory::field(int stockId, QString Stock::*member) const
{
    // Only the asked text is copied: a list asks once per row.
    const auto found = m_byId.constFind(stockId);
    return found == m_byId.cend() ? QString() : (*found).*member;
}

void StockDirectory::rebuild(const Table *table)
{
    m_byId.clear();
    m_idByCode.clear();
    if (!table)
        return;
    const int id = table->columnIndex(QStringLiteral("stock_id"));
    const int code = table->columnIndex(QStringLiteral("stock_code"));
    const int name = table->columnIndex(QStringLiteral("name"));
    for (const Record *row : *table->masterIndex()) {
        const int stockId = table->dataPtr(row, id)->toInt32();
        const QString stockCode = table->dataPtr(row, code)->toString();
        m_byId.insert(stockId, { stockCode, table->dataPtr(row, name)->toString() });
        m_idByCode.insert(stockCode, stockId);
    }
}
