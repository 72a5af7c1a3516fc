#include "boarddirectory.h"

#include "indexlist.h"
#include "record.h"
#include "stockdirectory.h"
#include "table.h"

BoardDirectory::BoardDirectory()
    : Directory(QStringLiteral("boards"))
{ }

BoardDirectory &BoardDirectory::self()
{
    static BoardDirectory directory;
    return directory;
}

BoardDirectory *BoardDirectory::i()
{
    self().sync();
    return &self();
}

BoardDirectory::Board BoardDirectory::board(int stockId, int boardId)
{
    const BoardDirectory *d = &self();
    return d->read([d, stockId, boardId] { return d->m_boards.value(Key(stockId, boardId)); });
}

QString BoardDirectory::codeById(int stockId, int boardId)
{
    return board(stockId, boardId).code;
}

int BoardDirectory::idByCode(const QString &stockCode, const QString &boardCode)
{
    // Asked before taking this directory's lock: the two caches lock separately.
    const int stockId = StockDirectory::idByCode(stockCode);
    const BoardDirectory *d = &self();
    return d->read([d, stockId, &boardCode] { return d->m_idByCode.value({ stockId, boardCode }); });
}

QString BoardDirectory::nameById(int stockId, int boardId)
{
    return board(stockId, boardId).name;
}

qlonglong BoardDirectory::flagsById(int stockId, int boardId)
{
    return board(stockId, boardId).flags;
}

bool BoardDirectory::checkFlagsById(int stockId, int boardId, qlonglong mask)
{
    return (flagsById(stockId, boardId) & mask) == mask;
}

bool BoardDirectory::isPositionById(int stockId, int boardId)
{
    return board(stockId, boardId).position;
}

bool BoardDirectory::isRFSBoardById(int stockId, int boardId)
{
    return board(stockId, boardId).rfs;
}

void BoardDirectory::rebuild(const Table *table)
{
    m_boards.clear();
    m_idByCode.clear();
    if (!table)
        return;
    const int stock = table->columnIndex(QStringLiteral("stock_id"));
    const int id = table->columnIndex(QStringLiteral("board_id"));
    const int code = table->columnIndex(QStringLiteral("board_code"));
    const int name = table->columnIndex(QStringLiteral("name"));
    const int flags = table->columnIndex(QStringLiteral("flags"));
    const int position = table->columnIndex(QStringLiteral("position"));
    const int rfs = table->columnIndex(QStringLiteral("rfs"));
    for (const Record *row : *table->masterIndex()) {
        const Key key(table->dataPtr(row, stock)->toInt32(), table->dataPtr(row, id)->toInt32());
        Board b;
        b.code = table->dataPtr(row, code)->toString();
        b.name = table->dataPtr(row, name)->toString();
        b.flags = table->dataPtr(row, flags)->toInt64();
        b.position = table->dataPtr(row, position)->toInt32() != 0;
        b.rfs = table->dataPtr(row, rfs)->toInt32() != 0;
        m_boards.insert(key, b);
        m_idByCode.insert({ key.first, b.code }, key.second);
    }
}
