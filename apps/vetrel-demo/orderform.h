#ifndef VETREL_DEMO_ORDERFORM_H
#define VETREL_DEMO_ORDERFORM_H

#include <QWidget>

class Properties;

/**
 * A small order form: account, security, price and quantity, with the price
 * echoed in a confirmation line that is bound to the same name. All of it is
 * bound by one Properties::connectAll() on the form.
 */
class OrderForm : public QWidget
{
    Q_OBJECT

public:
    explicit OrderForm(QWidget *parent = nullptr);

    Properties *properties() const;

private:
    Properties *m_properties;
};

#endif
