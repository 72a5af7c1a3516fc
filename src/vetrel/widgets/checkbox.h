#ifndef VETREL_CHECKBOX_H
#define VETREL_CHECKBOX_H

#include <QCheckBox>

#include <vetrel/vetrel_export.h>

#include <memory>

class CheckBoxPrivate;

/**
 * A check box whose two states stand for the designer-set dynamic properties
 * "value_checked" and "value_unchecked".
 *
 * A user click always announces the "value_checked" text, whichever state it
 * leads to; getValue() tells the states apart, and it is what the binding
 * engine reads.
 */
class VETREL_EXPORT CheckBox : public QCheckBox
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QString Value READ getValue WRITE setValue NOTIFY changedValue
            STORED true SCRIPTABLE true DESIGNABLE true USER true)

public:
    explicit CheckBox(QWidget *parent = nullptr);
    ~CheckBox() override;

    QString getValue() const;
    /// Checks or unchecks the box silently; any other text is logged and
    /// leaves the box as it is.
    void setValue(const QString &newValue);

signals:
    void changedValue(const QString &value);

protected:
    void nextCheckState() override;

private:
    std::unique_ptr<CheckBoxPrivate> const d;
};

#endif
