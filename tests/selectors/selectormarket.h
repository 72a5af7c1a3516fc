#ifndef SELECTORMARKET_H
#define SELECTORMARKET_H

// A fresh market per test, built through the host API.

#include <host/core.h>
#include <host/database.h>
#include <host/market.h>
#include <host/table.h>

#include <memory>

struct SelectorMarket
{
    SelectorMarket(bool marketTables = true)
        : core(new Core)
    {
        if (marketTables)
            Market::createTables(core->database());
    }

    Table *table(const QString &name) const { return core->database()->table(name); }

    void addStock(int id, const QString &code, const QString &name) const
    {
        table(QStringLiteral("stocks"))
            ->insert({ { "stock_id", id }, { "stock_code", code }, { "name", name } });
    }

    void addBoard(int stockId, int boardId, const QString &code, const QString &name, qlonglong flags = 0,
        bool position = false, bool rfs = false) const
    {
        table(QStringLiteral("boards"))
            ->insert(
                { { "stock_id", stockId }, { "board_id", boardId }, { "board_code", code }, { "name", name },
                    { "flags", flags }, { "position", position ? 1 : 0 }, { "rfs", rfs ? 1 : 0 } });
    }

    std::unique_ptr<Core> core;
};

#endif
