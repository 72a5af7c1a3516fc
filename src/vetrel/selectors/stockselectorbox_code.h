#ifndef VETREL_STOCKSELECTORBOX_CODE_H
#define VETREL_STOCKSELECTORBOX_CODE_H

#include <vetrel/combobox.h>

#include <vetrel/vetrel_export.h>

#include <memory>

class StockSelectorBox_CodePrivate;

/**
 * Picks a stock by code. The items are the codes of the "stocks" table in its
 * index order (user data: the id; role 257: the name). The box takes part in
 * binding through the setProp_ signals and prop_StockId_changed(); its code
 * notice carries the id's text, as the forms bound to it expect.
 */
class VETREL_EXPORT StockSelectorBox_Code : public ComboBox
{
    Q_OBJECT

public:
    explicit StockSelectorBox_Code(QWidget *parent = nullptr);
    ~StockSelectorBox_Code() override;

    /// Refills the items from the table and selects the first one.
    void populate();

signals:
    void setProp_Stock(const QString &stock);
    void setProp_StockCode(const QString &stockCode);
    void setProp_StockId(const QString &stockId);

public slots:
    void prop_StockId_changed(const QString &stockId);

private slots:
    void edit_changed(const QString &text);
    void item_activated(int index);

private:
    friend class StockSelectorBox_CodePrivate;
    std::unique_ptr<StockSelectorBox_CodePrivate> const d;
};

#endif
