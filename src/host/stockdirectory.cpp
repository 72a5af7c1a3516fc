#include "stockdirectory.h"

#include "indexlist.h"
#include "record.h"
#include "table.h"

#include <algorithm>

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
    const Stock *stock = find(stockId);
    return stock ? stock->*member : QString();
}

const StockDirectory::Stock *StockDirectory::find(int stockId) const
{
    const auto byId = [](const Stock &stock, int id) { return stock.id < id; };
    const bool next = m_next < m_byId.size() && m_byId[m_next].id == stockId;
    const auto at = next ? m_byId.begin() + qptrdiff(m_next)
                         : std::lower_bound(m_byId.begin(), m_byId.end(), stockId, byId);
    if (at == m_byId.end() || at->id != stockId)
        return nullptr;
    m_next = size_t(at - m_byId.begin()) + 1;
    return &*at;
}

void StockDirectory::rebuild(const Table *table)
{
    m_byId.clear();
    m_idByCode.clear();
    m_next = 0;
    if (!table)
        return;
    const int id = table->columnIndex(QStringLiteral("stock_id"));
    const int code = table->columnIndex(QStringLiteral("stock_code"));
    const int name = table->columnIndex(QStringLiteral("name"));
    m_byId.reserve(size_t(table->masterIndex()->count()));
    for (const Record *row : *table->masterIndex()) {
        const int stockId = table->dataPtr(row, id)->toInt32();
        const QString stockCode = table->dataPtr(row, code)->toString();
        m_byId.push_back({ stockId, stockCode, table->dataPtr(row, name)->toString() });
        m_idByCode.insert(stockCode, stockId);
    }
    // Of rows that share an id, the one read last stands, as in the code index.
    std::stable_sort(
        m_byId.begin(), m_byId.end(), [](const Stock &a, const Stock &b) { return a.id < b.id; });
    const auto last = std::unique(
        m_byId.rbegin(), m_byId.rend(), [](const Stock &a, const Stock &b) { return a.id == b.id; });
    m_byId.erase(m_byId.begin(), last.base());
}
