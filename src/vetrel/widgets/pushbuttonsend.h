#ifndef VETREL_PUSHBUTTONSEND_H
#define VETREL_PUSHBUTTONSEND_H

#include <QPushButton>

#include <vetrel/vetrel_export.h>

#include <memory>

class PushButtonSendPrivate;

/**
 * A form's send button: when it is the default button it carries the style's
 * OK icon, so the trader sees which button Enter presses.
 */
class VETREL_EXPORT PushButtonSend : public QPushButton
{
    Q_OBJECT

public:
    explicit PushButtonSend(QWidget *parent = nullptr);
    ~PushButtonSend() override;

    /// Hides QPushButton::setDefault() (not virtual) to keep the icon in step.
    void setDefault(bool isDefault);

private:
    std::unique_ptr<PushButtonSendPrivate> const d;
};

#endif
