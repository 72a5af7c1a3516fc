#include <vetrel/pushbuttonsend.h>

#include <QIcon>
#include <QStyle>

class PushButtonSendPrivate
{
};

PushButtonSend::PushButtonSend(QWidget *parent)
    : QPushButton(parent)
    , d(new PushButtonSendPrivate)
{ }

PushButtonSend::~PushButtonSend() = default;

void PushButtonSend::setDefault(bool isDefault)
{
    QPushButton::setDefault(isDefault);
    setIcon(isDefault ? style()->standardIcon(QStyle::SP_DialogOkButton) : QIcon());
}
