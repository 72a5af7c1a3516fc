#include "market.h"

#include "database.h"

QVector<Market::TableSchema> Market::schema()
{
    using T = FieldType;
    return {
        { QStringLiteral("stocks"),
          { { QStringLiteral("stock_id"), T::Int32 },
            { QStringLiteral("stock_code"), T::String },
            { QStringLiteral("name"), T::String } },
          { QStringLiteral("stock_id") } },
        { QStringLiteral("boards"),
          { { QStringLiteral("stock_id"), T::Int32 },
            { QStringLiteral("board_id"), T::Int32 },
            { QStringLiteral("board_code"), T::String },
            { QStringLiteral("name"), T::String },
            { QStringLiteral("sectype"), T::String },
            { QStringLiteral("flags"), T::Int64 },
            { QStringLiteral("position"), T::Int32 },
            { QStringLiteral("rfs"), T::Int32 } },
          { QStringLiteral("stock_id"), QStringLiteral("board_id") } },
        { QStringLiteral("sessions"),
          { { QStringLiteral("stock_id"), T::Int32 },
            { QStringLiteral("sess_id"), T::Int32 },
            { QStringLiteral("status"), T::String },
            { QStringLiteral("open_time"), T::Time64 },
            { QStringLiteral("close_time"), T::Time64 } },
          { QStringLiteral("stock_id"), QStringLiteral("sess_id") } },
        { QStringLiteral("securities"),
          { { QStringLiteral("sec_id"), T::Int64 },
            { QStringLiteral("stock_id"), T::Int32 },
            { QStringLiteral("board_id"), T::Int32 },
            { QStringLiteral("sess_id"), T::Int32 },
            { QStringLiteral("sec_code"), T::String },
            { QStringLiteral("sec_name"), T::String },
            { QStringLiteral("base_code"), T::String },
            { QStringLiteral("sectype"), T::String },
            { QStringLiteral("lot"), T::Int32 },
            { QStringLiteral("price_step"), T::Decimal },
            { QStringLiteral("turnover"), T::XDecimal },
            { QStringLiteral("yield"), T::Double } },
          { QStringLiteral("sec_id") } },
        { QStringLiteral("kx.dealer"),
          { { QStringLiteral("dealer_id"), T::Int32 },
            { QStringLiteral("orv_code"), T::String },
            { QStringLiteral("name"), T::String },
            { QStringLiteral("client_code"), T::String } },
          { QStringLiteral("dealer_id") } },
        { QStringLiteral("rfs_streams"),
          { { QStringLiteral("stream_id"), T::Int64 },
            { QStringLiteral("sec_id"), T::Int64 },
            { QStringLiteral("sec_code"), T::String },
            { QStringLiteral("quantity"), T::Decimal } },
          { QStringLiteral("stream_id") } },
    };
}

void Market::createTables(Database *database)
{
    for (const TableSchema &t : schema()) {
        if (!database->table(t.name))
            database->createTable(t.name, t.columns, t.key);
    }
}
