#include "market.h"

#include "database.h"
#include "exception.h"
#include "record.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <memory>

QVector<Market::TableSchema> Market::schema()
{
    using T = FieldType;
    return {
        { QStringLiteral("stocks"),
            { { QStringLiteral("stock_id"), T::Int32 }, { QStringLiteral("stock_code"), T::String },
                { QStringLiteral("name"), T::String } },
            { QStringLiteral("stock_id") } },
        { QStringLiteral("boards"),
            { { QStringLiteral("stock_id"), T::Int32 }, { QStringLiteral("board_id"), T::Int32 },
                { QStringLiteral("board_code"), T::String }, { QStringLiteral("name"), T::String },
                { QStringLiteral("sectype"), T::String }, { QStringLiteral("flags"), T::Int64 },
                { QStringLiteral("position"), T::Int32 }, { QStringLiteral("rfs"), T::Int32 } },
            { QStringLiteral("stock_id"), QStringLiteral("board_id") } },
        { QStringLiteral("sessions"),
            { { QStringLiteral("stock_id"), T::Int32 }, { QStringLiteral("sess_id"), T::Int32 },
                { QStringLiteral("status"), T::String }, { QStringLiteral("open_time"), T::Time64 },
                { QStringLiteral("close_time"), T::Time64 } },
            { QStringLiteral("stock_id"), QStringLiteral("sess_id") } },
        { QStringLiteral("securities"),
            { { QStringLiteral("sec_id"), T::Int64 }, { QStringLiteral("stock_id"), T::Int32 },
                { QStringLiteral("board_id"), T::Int32 }, { QStringLiteral("sess_id"), T::Int32 },
                { QStringLiteral("sec_code"), T::String }, { QStringLiteral("sec_name"), T::String },
                { QStringLiteral("base_code"), T::String }, { QStringLiteral("sectype"), T::String },
                { QStringLiteral("lot"), T::Int32 }, { QStringLiteral("price_step"), T::Decimal },
                { QStringLiteral("turnover"), T::XDecimal }, { QStringLiteral("yield"), T::Double } },
            { QStringLiteral("sec_id") } },
        { QStringLiteral("kx.dealer"),
            { { QStringLiteral("dealer_id"), T::Int32 }, { QStringLiteral("orv_code"), T::String },
                { QStringLiteral("name"), T::String }, { QStringLiteral("client_code"), T::String } },
            { QStringLiteral("dealer_id") } },
        { QStringLiteral("rfs_streams"),
            { { QStringLiteral("stream_id"), T::Int64 }, { QStringLiteral("sec_id"), T::Int64 },
                { QStringLiteral("sec_code"), T::String }, { QStringLiteral("quantity"), T::Decimal } },
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

namespace
{

const QString formatName = QStringLiteral("vetrel-market/1");

// A table of the file, read but not yet written to the database.
struct Staged
{
    Market::TableSchema schema;
    Table *target = nullptr; // the database's table, or null for a new one
    std::unique_ptr<Table> shape; // makes the rows of a new table
    QVector<Record *> rows;

    ~Staged() { qDeleteAll(rows); }
    const Table *maker() const { return target ? target : shape.get(); }
};

class Loader
{
public:
    Loader(Database *database, const QString &source)
        : m_database(database)
        , m_source(source)
    { }

    void load(const QByteArray &json);

private:
    [[noreturn]] void fail(const QString &message) const;
    void stage(const QJsonObject &object);
    Market::TableSchema schemaOf(const QJsonObject &object, const QString &name) const;
    void stageRow(Staged &staged, const QJsonValue &row);
    QVariant valueOf(const QJsonValue &value, const Table::Column &column) const;

    Database *m_database;
    QString m_source;
    QString m_table;
    int m_row = 0;
    std::vector<std::unique_ptr<Staged>> m_staged;
};

void Loader::fail(const QString &message) const
{
    QString where = m_source;
    if (!m_table.isEmpty())
        where += QStringLiteral(": table \"%1\"").arg(m_table);
    if (m_row > 0)
        where += QStringLiteral(", row %1").arg(m_row);
    throw Exception(where + QStringLiteral(": ") + message);
}

void Loader::load(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError)
        fail(QStringLiteral("not JSON at offset %1: %2").arg(error.offset).arg(error.errorString()));
    const QJsonObject root = document.object();
    if (root.value(QLatin1String("format")).toString() != formatName)
        fail(QStringLiteral("not a market file (\"format\" must be \"%1\")").arg(formatName));
    const QJsonValue tables = root.value(QLatin1String("tables"));
    if (!tables.isArray())
        fail(QStringLiteral("\"tables\" must be an array"));
    for (const QJsonValue &table : tables.toArray()) {
        if (!table.isObject())
            fail(QStringLiteral("each table must be an object"));
        stage(table.toObject());
    }
    for (const auto &staged : m_staged) {
        m_table = staged->schema.name;
        try {
            staged->rows = staged->maker()->sortedByKey(staged->rows);
        } catch (const Exception &e) {
            fail(e.message());
        }
    }
    // Everything is checked: from here on nothing can fail.
    for (const auto &staged : m_staged) {
        Table *table = staged->target;
        if (!table)
            table = m_database->createTable(staged->schema.name, staged->schema.columns, staged->schema.key);
        table->replaceAllSorted(staged->rows);
        staged->rows.clear();
    }
}

void Loader::stage(const QJsonObject &object)
{
    m_row = 0;
    m_table = object.value(QLatin1String("name")).toString();
    if (m_table.isEmpty())
        fail(QStringLiteral("a table without a \"name\""));
    for (const auto &staged : m_staged) {
        if (staged->schema.name == m_table)
            fail(QStringLiteral("the table appears twice"));
    }
    auto staged = std::make_unique<Staged>();
    staged->schema = schemaOf(object, m_table);
    staged->target = m_database->table(m_table);
    if (!staged->target) {
        try {
            staged->shape.reset(new Table(m_table, staged->schema.columns, staged->schema.key));
        } catch (const Exception &e) {
            fail(e.message());
        }
    }
    const QJsonValue rows = object.value(QLatin1String("rows"));
    if (!rows.isArray())
        fail(QStringLiteral("\"rows\" must be an array"));
    const QJsonArray array = rows.toArray();
    staged->rows.reserve(array.size());
    for (const QJsonValue &row : array) {
        ++m_row;
        stageRow(*staged, row);
    }
    m_row = 0;
    m_staged.push_back(std::move(staged));
}

Market::TableSchema Loader::schemaOf(const QJsonObject &object, const QString &name) const
{
    Market::TableSchema schema { name, {}, {} };
    const Table *existing = m_database->table(name);
    const QJsonValue columns = object.value(QLatin1String("columns"));
    if (columns.isUndefined()) {
        if (existing) {
            for (int c = 0; c < existing->columnCount(); ++c)
                schema.columns.append(existing->column(c));
            for (int c : existing->keyColumns())
                schema.key.append(existing->column(c).name);
            return schema;
        }
        for (const Market::TableSchema &known : Market::schema()) {
            if (known.name == name)
                return known;
        }
        fail(QStringLiteral("a new table needs its \"columns\""));
    }
    for (const QJsonValue &column : columns.toArray()) {
        const QString columnName = column[QLatin1String("name")].toString();
        const QString typeName = column[QLatin1String("type")].toString();
        const FieldType::Type type = FieldType::fromName(typeName);
        if (columnName.isEmpty() || type == FieldType::None)
            fail(QStringLiteral("bad column \"%1\" of type \"%2\"").arg(columnName, typeName));
        schema.columns.append({ columnName, type });
    }
    for (const QJsonValue &key : object.value(QLatin1String("key")).toArray())
        schema.key.append(key.toString());
    if (existing) {
        bool same = existing->columnCount() == schema.columns.size()
            && existing->keyColumns().size() == schema.key.size();
        for (int c = 0; same && c < schema.columns.size(); ++c) {
            same = existing->column(c).name == schema.columns.at(c).name
                && existing->column(c).type == schema.columns.at(c).type;
        }
        for (int k = 0; same && k < schema.key.size(); ++k)
            same = existing->column(existing->keyColumns().at(k)).name == schema.key.at(k);
        if (!same)
            fail(QStringLiteral("its columns or key differ from those of the table in the database"));
    }
    return schema;
}

void Loader::stageRow(Staged &staged, const QJsonValue &row)
{
    const QVector<Table::Column> &columns = staged.schema.columns;
    std::unique_ptr<Record> record(staged.maker()->allocRow());
    auto set = [&](int column, const QJsonValue &value) {
        try {
            *record->field(column) = valueOf(value, columns.at(column));
        } catch (const Exception &e) {
            fail(QStringLiteral("column \"%1\": %2").arg(columns.at(column).name, e.message()));
        }
    };
    if (row.isArray()) {
        const QJsonArray values = row.toArray();
        if (values.size() != columns.size())
            fail(QStringLiteral("%1 values for %2 columns").arg(values.size()).arg(columns.size()));
        for (int c = 0; c < columns.size(); ++c)
            set(c, values.at(c));
    } else if (row.isObject()) {
        const QJsonObject values = row.toObject();
        for (auto it = values.begin(); it != values.end(); ++it) {
            const int c = staged.maker()->columnIndex(it.key());
            if (c < 0)
                fail(QStringLiteral("no column \"%1\"").arg(it.key()));
            set(c, it.value());
        }
    } else {
        fail(QStringLiteral("a row must be an array or an object"));
    }
    staged.rows.append(record.release());
}

QVariant Loader::valueOf(const QJsonValue &value, const Table::Column &column) const
{
    // JSON numbers are doubles: exact for integers up to 2^53 only. Larger
    // integers and all decimals are written as strings.
    constexpr double exactIntegers = 9007199254740992.0;
    const FieldType::Type type = column.type;
    auto expected = [type] { return FieldType::name(type); };
    switch (value.type()) {
    case QJsonValue::Null:
        return QVariant();
    case QJsonValue::Double:
        if (type == FieldType::Double)
            return value.toDouble();
        if (type == FieldType::Int32 || type == FieldType::Int64 || type == FieldType::Time64) {
            const double d = value.toDouble();
            if (std::fabs(d) > exactIntegers || std::trunc(d) != d)
                throw Exception(
                    QStringLiteral("%1 is not an exact integer (write large ones as strings)").arg(d));
            return qint64(d);
        }
        throw Exception(
            QStringLiteral("a number where %1 is expected (write decimals as strings)").arg(expected()));
    case QJsonValue::String:
        if (type == FieldType::Double || type == FieldType::Int32)
            throw Exception(QStringLiteral("a string where %1 is expected").arg(expected()));
        return value.toString();
    default:
        throw Exception(
            QStringLiteral("a %1 where %2 is expected")
                .arg(value.isBool() ? QStringLiteral("boolean") : QStringLiteral("structure"), expected()));
    }
}

}

void Market::load(Database *database, const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        throw Exception(QStringLiteral("%1: %2").arg(fileName, file.errorString()));
    loadData(database, file.readAll(), fileName);
}

void Market::loadData(Database *database, const QByteArray &json, const QString &source)
{
    Loader(database, source).load(json);
}

void Market::loadSample(Database *database)
{
    load(database, sampleFileName());
}

QString Market::sampleFileName()
{
    return QStringLiteral(":/host/market/sample.json");
}
