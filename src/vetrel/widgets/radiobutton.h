#ifndef VETREL_RADIOBUTTON_H
#define VETREL_RADIOBUTTON_H

#include <QRadioButton>

#include <vetrel/vetrel_export.h>

#include <memory>

class RadioButtonPrivate;

/**
 * A radio button standing for one value of a group.
 *
 * The value the button stands for is the designer-set dynamic property
 * "value". All buttons of a group are bound to the same name, and every one of
 * them reports the group's current value, checked or not.
 */
class VETREL_EXPORT RadioButton : public QRadioButton
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QString Value READ getValue WRITE setValue NOTIFY changedValue
            STORED true SCRIPTABLE true DESIGNABLE true USER true)

public:
    explicit RadioButton(QWidget *parent = nullptr);
    ~RadioButton() override;

    /// "value" while checked, otherwise the group's value last seen.
    QString getValue() const;
    /// Checks the button when \a newValue is its "value", unchecks it
    /// otherwise (also out of an exclusive group); emits no changedValue.
    void setValue(const QString &newValue);

signals:
    void changedValue(const QString &value);

protected:
    /// Runs for user clicks only: the group takes this button's value.
    void nextCheckState() override;

private:
    std::unique_ptr<RadioButtonPrivate> const d;
};

#endif
