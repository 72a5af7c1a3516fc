#ifndef SELECTORMARKET_H
#define SELECTORMARKET_H

// A fresh market per test, built through the host API, and what the tests
// read back from the models over it.

#include <host/core.h>
#include <host/database.h>
#include <host/market.h>
#include <host/table.h>

#include <QAbstractItemModel>
#include <QSignalSpy>

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
    void add(const char *name, const QVariantMap &row) const { table(QLatin1String(name))->insert(row); }

    void addStock(int id, const QString &code, const QString &name) const
    {
        add("stocks", { { "stock_id", id }, { "stock_code", code }, { "name", name } });
    }
    void addBoard(int stockId, int boardId, const QString &code, const QString &name, qlonglong flags = 0,
        bool position = false, bool rfs = false) const
    {
        add("boards", { { "stock_id", stockId }, { "board_id", boardId }, { "board_code", code },
            { "name", name }, { "flags", flags }, { "position", int(position) }, { "rfs", int(rfs) } });
    }
    void addSecurity(qlonglong id, int stock, int board, int session, const QString &code,
        const QString &name) const
    {
        add("securities", { { "sec_id", id }, { "stock_id", stock }, { "board_id", board },
            { "sess_id", session }, { "sec_code", code }, { "sec_name", name },
            { "base_code", QString(code + "-B") } });
    }
    void addStream(qlonglong id, qlonglong securityId, const QString &code, const QString &quantity) const
    {
        add("rfs_streams", { { "stream_id", id }, { "sec_id", securityId }, { "sec_code", code },
            { "quantity", quantity } });
    }

    std::unique_ptr<Core> core;
};

// The rows of a model as texts, in its order.
inline QStringList rowTexts(const QAbstractItemModel &model, int role = Qt::DisplayRole, int column = 0)
{
    QStringList texts;
    for (int row = 0; row < model.rowCount(); ++row)
        texts << model.index(row, column).data(role).toString();
    return texts;
}

// The arguments of the last notice, joined; empty when there was none.
inline QString lastNotice(const QSignalSpy &spy)
{
    QStringList values;
    for (const QVariant &value : spy.isEmpty() ? QList<QVariant>() : spy.last())
        values << value.toString();
    return values.join(QLatin1Char(','));
}

#endif
