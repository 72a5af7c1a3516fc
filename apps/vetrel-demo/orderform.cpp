#include "orderform.h"

#include <vetrel/checkbox.h>
#include <vetrel/combobox.h>
#include <vetrel/lineedit.h>
#include <vetrel/loginvalidator.h>
#include <vetrel/partnerselectorbox.h>
#include <vetrel/properties.h>
#include <vetrel/pushbuttonsend.h>
#include <vetrel/quantityeditor.h>
#include <vetrel/securityselectorbox.h>
#include <vetrel/slidergroup.h>
#include <vetrel/streamselectorbox.h>
#include <vetrel/summator.h>

#include <host/decimal.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QUiLoader>

namespace
{

// The chain first: each of these narrows the list of the next.
const char *const chain[] = {"Market", "Board", "Security"};

QStringList designerPluginDirs()
{
    // Beside the build tree's plugin while running from it, else where the
    // installation put it relative to this program.
    return {QStringLiteral(VETREL_DESIGNER_PLUGIN_BUILD_DIR),
            QDir(QCoreApplication::applicationDirPath())
                .filePath(QStringLiteral("../" VETREL_INSTALL_DESIGNER_PLUGINDIR))};
}

bool isPositive(const QVariant &value)
{
    const QString text = value.toString();
    return decimal::canConvert(text, true) && decimal(text) > decimal(QStringLiteral("0"));
}

}

QWidget *OrderForm::loadUi(QString *error)
{
    // The form file lives in this static library's resources, which the
    // linker would otherwise drop.
    Q_INIT_RESOURCE(demo);
    QUiLoader loader;
    for (const QString &dir : designerPluginDirs())
        loader.addPluginPath(dir);
    QFile file(QStringLiteral(":/vetrel-demo/orderform.ui"));
    file.open(QIODevice::ReadOnly);
    QWidget *form = loader.load(&file);
    if (!form)
        *error = loader.errorString();
    else if (!form->findChild<PushButtonSend *>())
        *error = QStringLiteral("the library's Designer plugin was not found in %1")
                     .arg(designerPluginDirs().join(QStringLiteral(", ")));
    else
        return form;
    delete form;
    return nullptr;
}

OrderForm::OrderForm(QWidget *form)
    : QObject(form)
    , m_form(form)
    , m_properties(new Properties(this))
    , m_account(child<LineEdit>("accountEdit"))
    , m_allOrNone(child<CheckBox>("allOrNoneBox"))
    , m_partner(child<PartnerSelectorBox>("partnerBox"))
    , m_stream(child<StreamSelectorBox>("streamBox"))
{
    // What a form file cannot say: validators, composite parts and invisible helpers.
    m_account->setValidator(new LoginValidator(QRegExp(QStringLiteral("[A-Z][A-Z0-9]{2,11}")), m_account));

    // Traders find a row by any part of its code or name, typed on either layout.
    for (auto *box : m_form->findChildren<ComboBox *>())
        box->setTraderSearch(true);

    auto *iceberg = child<SliderGroup>("icebergGroup");
    iceberg->setCheckedText(tr("Show at most"));
    iceberg->setMaximum(100000);
    auto *visible = iceberg->findChild<QuantityEditor *>();
    visible->setProperty("field", QStringLiteral("VisibleQuantity"));
    // The slider writes the editor silently; the form hears of it here.
    connect(iceberg, &SliderGroup::changedValue, this, [this](int value) {
        m_properties->setValues(Values{{QStringLiteral("VisibleQuantity"), QString::number(value)}});
    });

    auto *stop = new Summator(m_form);
    stop->setProperty("fields", QStringLiteral("StopPrice=Value Price=Summand StopOffset=Addendum"));

    // A security's price streams only.
    connect(child<SecuritySelectorBox>("securityBox"), &SecuritySelectorBox::securityIdChanged, m_stream,
            [this](qlonglong securityId) { m_stream->setStream(0, securityId); });

    m_properties->connectAll(m_form);
    m_validation.setupPropWidgets(*m_properties, m_form);
    connect(child<PushButtonSend>("sendButton"), &QPushButton::clicked, this, &OrderForm::send);
    child<PushButtonSend>("sendButton")->setDefault(true);
}

template<class Widget>
Widget *OrderForm::child(const char *name) const
{
    auto *widget = m_form->findChild<Widget *>(QLatin1String(name));
    Q_ASSERT_X(widget, "OrderForm", name);
    return widget;
}

QWidget *OrderForm::form() const
{
    return m_form;
}

Properties *OrderForm::properties() const
{
    return m_properties;
}

void OrderForm::preset(const Values &values)
{
    Values rest = values;
    for (const char *name : chain) {
        const QString key = QLatin1String(name);
        if (rest.contains(key))
            m_properties->setValues(Values{{key, rest.take(key)}});
    }
    m_properties->setValues(rest);
}

QStringList OrderForm::invalidFields() const
{
    const Values values = m_properties->values();
    QStringList invalid;
    const auto check = [&](const char *name, bool valid) {
        if (!valid)
            invalid << QLatin1String(name);
    };
    const auto given = [&](const char *name) { return !values.value(QLatin1String(name)).toString().isEmpty(); };
    check("Account", given("Account") && m_account->hasAcceptableInput());
    for (const char *name : chain)
        check(name, given(name));
    check("Side", given("Side"));
    check("Price", isPositive(values.value(QStringLiteral("Price"))));
    check("Quantity", isPositive(values.value(QStringLiteral("Quantity"))));
    const QString offset = values.value(QStringLiteral("StopOffset")).toString();
    check("StopOffset", offset.isEmpty() || decimal::canConvert(offset, true));
    return invalid;
}

Values OrderForm::request() const
{
    Values request = m_properties->values();
    // A click that unchecks the box reports its checked value (the widget's
    // contract); the box itself tells the state.
    request.insert(QStringLiteral("AllOrNone"), m_allOrNone->getValue());
    request.insert(QStringLiteral("Partner"), m_partner->getPartner());
    request.insert(QStringLiteral("PartnerName"), m_partner->getPartnerName());
    request.insert(QStringLiteral("StreamId"), QString::number(m_stream->getStreamId()));
    return request;
}

bool OrderForm::send()
{
    const QStringList invalid = invalidFields();
    m_validation.set(invalid);
    if (!invalid.isEmpty())
        return false;
    emit requestReady(request());
    return true;
}
