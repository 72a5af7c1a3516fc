#ifndef HOST_STOCKDIRECTORY_H
#define HOST_STOCKDIRECTORY_H

#include <host/directory.h>
#include <host/host_export.h>

#include <QHash>

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
        QString code;
        QString name;
    };
    /// The member of the stock of that id; empty for an unknown id.
    QString field(int stockId, QString Stock::*member) const;

    QHash<int, Stock> m_byId;
    QHash<QString, int> m_idByCode;
};

#endif
