#ifndef VETREL_DEMO_ORDERFORM_H
#define VETREL_DEMO_ORDERFORM_H

#include <vetrel/formvalidation.h>
#include <vetrel/values.h>

#include <QObject>

class LineEdit;
class CheckBox;
class PartnerSelectorBox;
class Properties;
class StreamSelectorBox;
class QWidget;

/**
 * The order ticket: the form designed in orderform.ui, loaded at run time
 * through the library's Designer plugin and bound by one
 * Properties::connectAll. It checks the order when Send is pressed, paints
 * the captions of what is missing or wrong, and otherwise offers the request.
 */
class OrderForm : public QObject
{
    Q_OBJECT

public:
    /// Loads the form file; null (and \a error says why) when it cannot.
    static QWidget *loadUi(QString *error);

    /// Binds \a form (from loadUi) and becomes its child.
    explicit OrderForm(QWidget *form);

    QWidget *form() const;
    Properties *properties() const;

    /// Sets values as the host would, the market before the board before the
    /// security, since each choice narrows the next list.
    void preset(const Values &values);

    /// The binding names whose values do not make an order.
    QStringList invalidFields() const;
    /// Every binding name and value, plus the partner and the price stream.
    Values request() const;

public slots:
    /// Checks the order; a valid one is announced by requestReady().
    bool send();

signals:
    void requestReady(const Values &request);

private:
    template<class Widget>
    Widget *child(const char *name) const;

    QWidget *m_form;
    Properties *m_properties;
    FormValidation m_validation;
    LineEdit *m_account;
    CheckBox *m_allOrNone;
    PartnerSelectorBox *m_partner;
    StreamSelectorBox *m_stream;
};

#endif
