#ifndef VETREL_PARTNERSELECTORBOX_H
#define VETREL_PARTNERSELECTORBOX_H

#include <vetrel/combobox.h>

#include <vetrel/vetrel_export.h>

/**
 * Picks a trading partner from the dealer table "kx.dealer".
 *
 * The closed box shows the partner's code; the open list shows code and name
 * side by side. A code that the table does not know may be typed by hand and
 * is taken as the partner (with an empty name).
 */
class VETREL_EXPORT PartnerSelectorBox : public ComboBox
{
    Q_OBJECT

public:
    explicit PartnerSelectorBox(QWidget *parent = nullptr);

    QString getPartner() const;
    QString getPartnerName() const;

    /// Rebuilds the list from the table; a partner still listed stays chosen.
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
    int rowOfCode(const QString &code) const;
    void showColumn(int column);

    QString m_partner;
    QString m_partnerName;
};

#endif
