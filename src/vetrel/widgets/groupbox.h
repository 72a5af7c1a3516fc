#ifndef VETREL_GROUPBOX_H
#define VETREL_GROUPBOX_H

#include <QGroupBox>

#include <vetrel/vetrel_export.h>

#include <memory>

class GroupBoxPrivate;

/**
 * A group box that can stand in a binding as the owner of a Value, for
 * instance around radio buttons bound to one name. It has no value of its own:
 * it never sets the bound value and ignores what it is told.
 */
class VETREL_EXPORT GroupBox : public QGroupBox
{
    Q_OBJECT

public:
    explicit GroupBox(QWidget *parent = nullptr);
    ~GroupBox() override;

signals:
    void setProp_Value(const QString &newValue);

public slots:
    void prop_Value_changed(const QString &newValue);

private:
    std::unique_ptr<GroupBoxPrivate> const d;
};

#endif
