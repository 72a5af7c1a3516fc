#include <vetrel/vetrelcombobox.h>

class VetrelComboBoxPrivate
{
public:
    QVariant value;
};

VetrelComboBox::VetrelComboBox(QWidget *parent)
    : QComboBox(parent)
    , d(new VetrelComboBoxPrivate)
{
    connect(
        this, qOverload<int>(&QComboBox::currentIndexChanged), this, &VetrelComboBox::onCurrentIndexChanged);
}

VetrelComboBox::~VetrelComboBox() = default;

QString VetrelComboBox::getValue() const
{
    return d->value.toString();
}

void VetrelComboBox::setValue(const QVariant &newValue)
{
    if (d->value == newValue)
        return;
    int chosen = -1;
    for (int i = 0, n = count(); i < n; ++i) {
        if (itemData(i, Qt::UserRole) == newValue)
            chosen = i;
    }
    if (chosen < 0)
        return;
    // Stored first, so that the index change below finds nothing new to report.
    d->value = newValue;
    setCurrentIndex(chosen);
    emit changedValue(newValue);
}

void VetrelComboBox::onCurrentIndexChanged(int index)
{
    if (index == -1)
        return;
    const QVariant data = itemData(index, Qt::UserRole);
    if (data == d->value)
        return;
    d->value = data;
    emit changedValue(data);
}
