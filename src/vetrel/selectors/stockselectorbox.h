#ifndef VETREL_STOCKSELECTORBOX_H
#define VETREL_STOCKSELECTORBOX_H

#include <vetrel/combobox.h>

#include <vetrel/vetrel_export.h>

#include <memory>

class StockSelectorBoxPrivate;
class StockSelectorModel;

/**
 * Picks a stock by name. The names come from a StockSelectorModel through a
 * proxy that sorts them; the choice is bound as StockId, Stock (the typed
 * text) and StockCode. Typing reports id 0 and an empty code until the text
 * equals a name exactly. A refill or a new filter keeps the chosen stock
 * while it is listed; when it leaves the list, the line is cleared and the
 * form hears id 0.
 */
class VETREL_EXPORT StockSelectorBox : public ComboBox
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(int StockId READ getStockId WRITE setStockId NOTIFY stockIdChanged)
    Q_PROPERTY(QString Stock READ getStock NOTIFY stockChanged)
    Q_PROPERTY(QString StockCode READ getStockCode WRITE setStockCode NOTIFY stockCodeChanged USER true)

public:
    explicit StockSelectorBox(QWidget *parent = nullptr);
    ~StockSelectorBox() override;

    int getStockId() const;
    QString getStock() const;
    QString getStockCode() const;

    /// Deletes the current model, then fills and shows `model` (owned by the box).
    void setSourceModel(StockSelectorModel *model);
    StockSelectorModel *sourceModel() const;
    /// Keeps the stocks whose id contains one of the given ids' text (so "1"
    /// keeps 1, 10 and 21), ordered by id; an empty list keeps all.
    void setStockIdFilter(const QStringList &ids);

public slots:
    void setStockId(int stockId);
    void setStockCode(const QString &stockCode);

signals:
    void stockChanged(const QString &stock);
    void stockCodeChanged(const QString &stockCode);
    void stockIdChanged(int stockId);

private slots:
    void edit_changed(const QString &text);
    void item_activated(int index);

private:
    std::unique_ptr<StockSelectorBoxPrivate> const d;
};

#endif
