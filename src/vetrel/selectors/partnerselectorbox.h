#ifndef VETREL_PARTNERSELECTORBOX_H
#define VETREL_PARTNERSELECTORBOX_H

#include <vetrel/combobox.h>

#include <vetrel/vetrel_export.h>

#include <memory>

class PartnerSelectorBoxPrivate;

/**
 * Chooses the counterparty of an order among the dealers of "kx.dealer".
 *
 * Closed, the line holds a dealer's code; open, each line of the list pairs
 * the code with the dealer's name. A code the dealers do not know may still
 * be typed: it becomes the partner, nameless.
 */
class VETREL_EXPORT PartnerSelectorBox : public ComboBox
{
    Q_OBJECT

public:
    explicit PartnerSelectorBox(QWidget *parent = nullptr);
    ~PartnerSelectorBox() override;

    QString getPartner() const;
    QString getPartnerName() const;

    /// Rebuilds the list from the table. A partner still listed stays chosen;
    /// one that left the table is cleared, and the form hears it.
    void populate();

    void showPopup() override;
    void hidePopup() override;

public slots:
    void setPartner(const QString &code);

signals:
    void changedPartner(const QString &code);
    void changedPartnerName(const QString &name);

private slots:
    void edit_changed(const QString &text);
    void item_activated(int row);

private:
    friend class PartnerSelectorBoxPrivate;
    std::unique_ptr<PartnerSelectorBoxPrivate> const d;
};

#endif
