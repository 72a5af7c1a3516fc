#include "marketgenerator.h"

#include <QByteArray>

#include <random>
#include <vector>

namespace
{

class Writer
{
public:
    explicit Writer(unsigned seed)
        : m_random(seed)
    { }

    QByteArray take() { return std::move(m_out); }

    void beginTable(const char *name, bool first)
    {
        m_out += first ? "\n    {\"name\": \"" : "\n    ]},\n    {\"name\": \"";
        m_out += name;
        m_out += "\", \"rows\": [";
        m_firstRow = true;
    }
    void beginRow()
    {
        m_out += m_firstRow ? "\n      [" : ",\n      [";
        m_firstRow = false;
        m_firstValue = true;
    }
    void endRow() { m_out += ']'; }
    void number(qint64 value) { separate() += QByteArray::number(value); }
    void text(const QByteArray &value)
    {
        separate() += '"';
        m_out += value;
        m_out += '"';
    }
    // Text made of a prefix and a number.
    void text(const char *prefix, qint64 number)
    {
        QByteArray value(prefix);
        value += QByteArray::number(number);
        text(value);
    }
    void null() { separate() += "null"; }

    int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(m_random); }
    bool chance(double p) { return std::uniform_real_distribution<double>(0, 1)(m_random) < p; }
    QByteArray letters(int n)
    {
        QByteArray s(n, 'A');
        for (char &c : s)
            c = char('A' + below(26));
        return s;
    }

    QByteArray m_out;

private:
    QByteArray &separate()
    {
        if (!m_firstValue)
            m_out += ", ";
        m_firstValue = false;
        return m_out;
    }

    std::mt19937 m_random;
    bool m_firstRow = true;
    bool m_firstValue = true;
};

int openSession(int stock)
{
    return stock * 100 + 2;
}

int closedSession(int stock)
{
    return stock * 100 + 1;
}

}

QByteArray MarketGenerator::generate(const Options &options)
{
    Writer w(options.seed);
    w.m_out.reserve(options.securities * 120 + options.dealers * 60);
    w.m_out += "{\n  \"format\": \"vetrel-market/1\",\n  \"tables\": [";

    w.beginTable("stocks", true);
    for (int s = 1; s <= options.stocks; ++s) {
        w.beginRow();
        w.number(s);
        w.text("STOCK", s);
        w.text("Synthetic stock ", s);
        w.endRow();
    }

    w.beginTable("boards", false);
    for (int s = 1; s <= options.stocks; ++s) {
        for (int b = 1; b <= options.boardsPerStock; ++b) {
            w.beginRow();
            w.number(s);
            w.number(b);
            w.text("B", b);
            w.text("Board ", b);
            w.text("E");
            w.number(1 << (b % 8));
            w.number(b == 1 ? 1 : 0);
            w.number(b == 2 ? 1 : 0);
            w.endRow();
        }
    }

    w.beginTable("sessions", false);
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
            w.endRow();
        }
    }

    std::vector<QByteArray> codes;
    codes.reserve(std::size_t(options.securities));
    w.beginTable("securities", false);
    for (int i = 1; i <= options.securities; ++i) {
        const int stock = 1 + w.below(options.stocks);
        QByteArray code = w.letters(4);
        code += QByteArray::number(i);
        codes.push_back(code);
        w.beginRow();
        w.number(i);
        w.number(stock);
        w.number(1 + w.below(options.boardsPerStock));
        w.number(w.chance(options.openShare) ? openSession(stock) : closedSession(stock));
        w.text(code);
        QByteArray name = w.letters(6);
        name += " security ";
        name += QByteArray::number(i);
        w.text(name);
        w.text(code.left(4));
        w.text("E");
        w.number(1 + w.below(100));
        w.text("0.01");
        w.text(QByteArray::number(w.below(1000000)).append(".25"));
        w.null();
        w.endRow();
    }

    w.beginTable("kx.dealer", false);
    for (int d = 1; d <= options.dealers; ++d) {
        w.beginRow();
        w.number(d);
        w.text("MC", 1000000 + w.below(9000000));
        w.text(QByteArray("Dealer ").append(w.letters(8)));
        w.text("CL", d);
        w.endRow();
    }

    w.beginTable("rfs_streams", false);
    for (int s = 1; s <= options.streams && options.securities > 0; ++s) {
        const int security = 1 + w.below(options.securities);
        w.beginRow();
        w.number(s);
        w.number(security);
        w.text(codes[std::size_t(security - 1)]);
        w.text(QByteArray::number((1 + w.below(50)) * 100000));
        w.endRow();
    }
    w.m_out += "\n    ]}\n  ]\n}\n";
    return w.take();
}
