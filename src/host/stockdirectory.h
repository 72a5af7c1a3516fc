#ifndef HOST_STOCKDIRECTORY_H
#define HOST_STOCKDIRECTORY_H

#include <host/directory.h>
#include <host/host_export.h>

#include <QHash>

#include <vector>

/**
 * Stock ids, codes and names from the "stocks" table. Unknown ids give the
 * empty text, unknown codes the id 0.
 */
class HOST_EXPORT StockDirectory : public Directory
{
    Q_OBJECT

public:
    static StockDirectory *i();

    static QString codeById(int stockId);
    static int idByCode(const QString &stockCode);
    static QString nameById(int stockId);

private:
    StockDirectory();
    static StockDirectory &self();
    void rebuild(const Table *table) override;

    struct Stock
    {
        int id;
        QString code;
        QString name;
    };
    /// The member of the stock of that id; empty for an unknown id.
    QString field(int stockId, QString Stock::*member) const;
    const Stock *find(int stockId) const;

    std::vector<Stock> m_byId; // ascending ids, each once
    // Where the last lookup found its stock: a list asks for the stocks of
    // its rows in the order of their ids, so the next one is mostly next.
    mutable size_t m_next = 0;
    QHash<QString, int> m_idByCode;
};

#endif
