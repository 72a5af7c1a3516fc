#include "marketgenerator.h"

#include "database.h"
#include "field.h"
#include "market.h"
#include "record.h"
#include "table.h"

#include <QByteArray>
#include <QVariant>

#include <random>
#include <utility>
#include <vector>

namespace
{

// Where the generated rows go: a market file or the tables themselves.
class Sink
{
public:
    virtual ~Sink() = default;
    virtual void beginTable(const char *name) = 0;
    virtual void beginRow() = 0;
    virtual void number(qint64 value) = 0;
    virtual void text(const QByteArray &value) = 0;
    virtual void null() = 0;
    virtual void finish() = 0;
};

class FileSink : public Sink
{
public:
    explicit FileSink(int expectedBytes)
    {
        m_out.reserve(expectedBytes);
        m_out += "{\n  \"format\": \"vetrel-market/1\",\n  \"tables\": [";
    }
    QByteArray take() { return std::move(m_out); }

    void beginTable(const char *name) override
    {
        closeRow();
        m_out += m_firstTable ? "\n    {\"name\": \"" : "\n    ]},\n    {\"name\": \"";
        m_out += name;
        m_out += "\", \"rows\": [";
        m_firstTable = false;
        m_firstRow = true;
    }
    void beginRow() override
    {
        closeRow();
        m_out += m_firstRow ? "\n      [" : ",\n      [";
        m_firstRow = false;
        m_rowOpen = true;
        m_firstValue = true;
    }
    void number(qint64 value) override { separate() += QByteArray::number(value); }
    void text(const QByteArray &value) override
    {
        separate() += '"';
        m_out += value;
        m_out += '"';
    }
    void null() override { separate() += "null"; }
    void finish() override
    {
        closeRow();
        m_out += "\n    ]}\n  ]\n}\n";
    }

private:
    void closeRow()
    {
        if (m_rowOpen)
            m_out += ']';
        m_rowOpen = false;
    }
    QByteArray &separate()
    {
        if (!m_firstValue)
            m_out += ", ";
        m_firstValue = false;
        return m_out;
    }

    QByteArray m_out;
    bool m_firstTable = true;
    bool m_firstRow = true;
    bool m_rowOpen = false;
    bool m_firstValue = true;
};

// Each value goes into the next cell of the row, converted as a market file's
// value would be; each table's rows replace the table's content at once.
class TableSink : public Sink
{
public:
    explicit TableSink(Database *database)
        : m_database(database)
    {
        Market::createTables(database);
    }
    ~TableSink() override
    {
        for (Record *row : m_rows)
            m_table->freeRow(row);
    }

    void beginTable(const char *name) override
    {
        store();
        m_table = m_database->table(QLatin1String(name));
    }
    void beginRow() override
    {
        m_rows.append(m_table->allocRow());
        m_column = 0;
    }
    void number(qint64 value) override { *cell() = value; }
    void text(const QByteArray &value) override { *cell() = QString::fromUtf8(value); }
    void null() override { *cell() = QVariant(); }
    void finish() override { store(); }

private:
    Field *cell() { return m_table->dataPtr(m_rows.last(), m_column++); }
    void store()
    {
        if (!m_table)
            return;
        const QVector<Record *> rows = std::exchange(m_rows, {});
        m_table->replaceAll(rows);
    }

    Database *m_database;
    Table *m_table = nullptr;
    QVector<Record *> m_rows;
    int m_column = 0;
};

class Random
{
public:
    explicit Random(unsigned seed)
        : m_random(seed)
    { }
    int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(m_random); }
    bool chance(double p) { return std::uniform_real_distribution<double>(0, 1)(m_random) < p; }
    QByteArray letters(int n)
    {
        QByteArray s(n, 'A');
        for (char &c : s)
            c = char('A' + below(26));
        return s;
    }

private:
    std::mt19937 m_random;
};

// Text made of a prefix and a number.
QByteArray numbered(const char *prefix, qint64 number)
{
    return QByteArray(prefix).append(QByteArray::number(number));
}

int openSession(int stock)
{
    return stock * 100 + 2;
}

int closedSession(int stock)
{
    return stock * 100 + 1;
}

void emitMarket(Sink &w, const MarketGenerator::Options &options)
{
    Random r(options.seed);
    w.beginTable("stocks");
    for (int s = 1; s <= options.stocks; ++s) {
        w.beginRow();
        w.number(s);
        w.text(numbered("STOCK", s));
        w.text(numbered("Synthetic stock ", s));
    }

    w.beginTable("boards");
    for (int s = 1; s <= options.stocks; ++s) {
        for (int b = 1; b <= options.boardsPerStock; ++b) {
            w.beginRow();
            w.number(s);
            w.number(b);
            w.text(numbered("B", b));
            w.text(numbered("Board ", b));
            w.text("E");
            w.number(1 << (b % 8));
            w.number(b == 1 ? 1 : 0);
            w.number(b == 2 ? 1 : 0);
        }
    }

    w.beginTable("sessions");
    for (int s = 1; s <= options.stocks; ++s) {
        for (bool open : { false, true }) {
            w.beginRow();
            w.number(s);
            w.number(open ? openSession(s) : closedSession(s));
            w.text(open ? "O" : "C");
            w.text(open ? "2026-11-20T07:00:00Z" : "2026-11-19T07:00:00Z");
            if (open)
                w.null();
            else
                w.text("2026-11-19T20:50:00Z");
        }
    }

    std::vector<QByteArray> codes;
    codes.reserve(std::size_t(options.securities));
    w.beginTable("securities");
    for (int i = 1; i <= options.securities; ++i) {
        const int stock = 1 + r.below(options.stocks);
        QByteArray code = r.letters(4);
        code += QByteArray::number(i);
        codes.push_back(code);
        w.beginRow();
        w.number(i);
        w.number(stock);
        w.number(1 + r.below(options.boardsPerStock));
        w.number(r.chance(options.openShare) ? openSession(stock) : closedSession(stock));
        w.text(code);
        QByteArray name = r.letters(6);
        name += " security ";
        name += QByteArray::number(i);
        w.text(name);
        w.text(code.left(4));
        w.text("E");
        w.number(1 + r.below(100));
        w.text("0.01");
        w.text(QByteArray::number(r.below(1000000)).append(".25"));
        w.null();
    }

    w.beginTable("kx.dealer");
    for (int d = 1; d <= options.dealers; ++d) {
        w.beginRow();
        w.number(d);
        w.text(numbered("MC", 1000000 + r.below(9000000)));
        w.text(QByteArray("Dealer ").append(r.letters(8)));
        w.text(numbered("CL", d));
    }

    w.beginTable("rfs_streams");
    for (int s = 1; s <= options.streams && options.securities > 0; ++s) {
        const int security = 1 + r.below(options.securities);
        w.beginRow();
        w.number(s);
        w.number(security);
        w.text(codes[std::size_t(security - 1)]);
        w.text(QByteArray::number((1 + r.below(50)) * 100000));
    }
    w.finish();
}

}

QByteArray MarketGenerator::generate(const Options &options)
{
    FileSink file(options.securities * 120 + options.dealers * 60);
    emitMarket(file, options);
    return file.take();
}

void MarketGenerator::fill(Database *database, const Options &options)
{
    TableSink tables(database);
    emitMarket(tables, options);
}
