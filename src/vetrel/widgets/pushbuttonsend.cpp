#include <vetrel/pushbuttonsend.h>

#include <QIcon>
#include <QStyle>

PushButtonSend::PushButtonSend(QWidget *parent)
    : QPushButton(parent)
{
}

void PushButtonSend::setDefault(bool isDefault)
{
    QPushButton::setDefault(isDefault);
    setIcon(isDefault ? style()->standardIcon(QStyle::SP_DialogOkButton) : QIcon());
}
