#ifndef VETREL_VETRELCOMBOBOX_H
#define VETREL_VETRELCOMBOBOX_H

#include <QComboBox>
#include <QVariant>

#include <vetrel/vetrel_export.h>

#include <memory>

class VetrelComboBoxPrivate;

/**
 * A combo box whose value is the Qt::UserRole data of the chosen item; the
 * item texts are only for the user.
 *
 * Unlike the other value widgets, setValue() announces the change with one
 * changedValue(), so that whoever set it learns the item that was chosen.
 */
class VETREL_EXPORT VetrelComboBox : public QComboBox
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "thisOnly")
    Q_PROPERTY(QVariant Value READ getValue WRITE setValue NOTIFY changedValue
            STORED true SCRIPTABLE true DESIGNABLE true USER true)

public:
    explicit VetrelComboBox(QWidget *parent = nullptr);
    ~VetrelComboBox() override;

    /// The value as text (empty while nothing has been chosen).
    QString getValue() const;
    /// Chooses the last item whose data equals \a newValue; a value that no
    /// item carries is ignored.
    void setValue(const QVariant &newValue);

signals:
    void changedValue(const QVariant &newValue);

protected slots:
    void onCurrentIndexChanged(int index);

private:
    std::unique_ptr<VetrelComboBoxPrivate> const d;
};

#endif
