#include <vetrel/vetrelcombobox.h>

VetrelComboBox::VetrelComboBox(QWidget *parent)
    : QComboBox(parent)
{
    connect(
        this, qOverload<int>(&QComboBox::currentIndexChanged), this, &VetrelComboBox::onCurrentIndexChanged);
}

QString VetrelComboBox::getValue() const
{
    return m_value.toString();
}

void VetrelComboBox::setValue(const QVariant &newValue)
{
    if (m_value == newValue)
        return;
    int chosen = -1;
    for (int i = 0, n = count(); i < n; ++i) {
        if (itemData(i, Qt::UserRole) == newValue)
            chosen = i;
    }
    if (chosen < 0)
        return;
    // Stored first, so that the index change below finds nothing new to report.
    m_value = newValue;
    setCurrentIndex(chosen);
    emit changedValue(newValue);
}

void VetrelComboBox::onCurrentIndexChanged(int index)
{
    if (index == -1)
        return;
    const QVariant data = itemData(index, Qt::UserRole);
    if (data == m_value)
        return;
    m_value = data;
    emit changedValue(data);
}
