#include <vetrel/groupbox.h>

class GroupBoxPrivate
{
};

GroupBox::GroupBox(QWidget *parent)
    : QGroupBox(parent)
    , d(new GroupBoxPrivate)
{ }

GroupBox::~GroupBox() = default;

void GroupBox::prop_Value_changed(const QString &newValue)
{
    Q_UNUSED(newValue)
}
