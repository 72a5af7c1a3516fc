#include "vetreldesignerplugin.h"

#include "widgetentry.h"

#include <vetrel/boardselectorbox.h>
#include <vetrel/checkbox.h>
#include <vetrel/combobox.h>
#include <vetrel/dateedit.h>
#include <vetrel/groupbox.h>
#include <vetrel/label.h>
#include <vetrel/lineedit.h>
#include <vetrel/numbereditor.h>
#include <vetrel/partnerselectorbox.h>
#include <vetrel/pushbuttonsend.h>
#include <vetrel/quantityeditor.h>
#include <vetrel/radiobutton.h>
#include <vetrel/securityselectorbox.h>
#include <vetrel/slidergroup.h>
#include <vetrel/stockselectorbox.h>
#include <vetrel/stockselectorbox_code.h>
#include <vetrel/streamselectorbox.h>
#include <vetrel/vetrelcombobox.h>

namespace {

template<class Widget>
QWidget *create(QWidget *parent)
{
    return new Widget(parent);
}

const QSize field(120, 24);
const QSize selector(180, 24);

const WidgetEntry::Description widgets[] = {
    {"LineEdit", "lineedit.h", "Text field bound by name", create<LineEdit>, field, false},
    {"Label", "label.h", "Caption or read-only bound value", create<Label>, field, false},
    {"NumberEditor", "numbereditor.h", "Decimal number in the locale's notation", create<NumberEditor>, field, false},
    {"QuantityEditor", "quantityeditor.h", "Whole quantity", create<QuantityEditor>, field, false},
    {"DateEdit", "dateedit.h", "Date with a calendar pop-up", create<DateEdit>, field, false},
    {"ComboBox", "combobox.h", "Editable list that accepts only its items", create<ComboBox>, field, false},
    {"VetrelComboBox", "vetrelcombobox.h", "List whose items carry the bound values", create<VetrelComboBox>, field, false},
    {"CheckBox", "checkbox.h", "Check box with a value for each state", create<CheckBox>, field, false},
    {"RadioButton", "radiobutton.h", "One choice of a group bound to one name", create<RadioButton>, field, false},
    {"GroupBox", "groupbox.h", "Group box bound by name, e.g. over radio buttons", create<GroupBox>, QSize(200, 100), true},
    {"SliderGroup", "slidergroup.h", "Quantity with a slider", create<SliderGroup>, QSize(200, 80), false},
    {"PushButtonSend", "pushbuttonsend.h", "Button that sends the form", create<PushButtonSend>, QSize(90, 28), false},
    {"StockSelectorBox", "stockselectorbox.h", "Market selector", create<StockSelectorBox>, selector, false},
    {"StockSelectorBox_Code", "stockselectorbox_code.h", "Market selector by code", create<StockSelectorBox_Code>, selector, false},
    {"BoardSelectorBox", "boardselectorbox.h", "Trading board selector", create<BoardSelectorBox>, selector, false},
    {"SecuritySelectorBox", "securityselectorbox.h", "Security selector for the open sessions", create<SecuritySelectorBox>, selector, false},
    {"PartnerSelectorBox", "partnerselectorbox.h", "Partner (dealer client) selector", create<PartnerSelectorBox>, selector, false},
    {"StreamSelectorBox", "streamselectorbox.h", "Price stream selector", create<StreamSelectorBox>, selector, false},
};

} // namespace

VetrelDesignerPlugin::VetrelDesignerPlugin(QObject *parent)
    : QObject(parent)
{
    for (const WidgetEntry::Description &description : widgets)
        m_widgets.append(new WidgetEntry(description, this));
}

QList<QDesignerCustomWidgetInterface *> VetrelDesignerPlugin::customWidgets() const
{
    return m_widgets;
}
