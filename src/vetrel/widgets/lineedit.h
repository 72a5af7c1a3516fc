#ifndef VETREL_LINEEDIT_H
#define VETREL_LINEEDIT_H

#include <QLineEdit>

#include <vetrel/vetrel_export.h>

#include <memory>

class LineEditPrivate;

/**
 * A free-text field whose value is its text.
 *
 * changedValue() reports the user's edits only (it follows textEdited());
 * setValue() updates the text silently, so two line edits bound to each
 * other never echo a value back and forth.
 */
class VETREL_EXPORT LineEdit : public QLineEdit
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "thisOnly")
    Q_PROPERTY(QString Value READ getValue WRITE setValue NOTIFY changedValue
            STORED true SCRIPTABLE true DESIGNABLE true USER true)

public:
    explicit LineEdit(QWidget *parent = nullptr);
    ~LineEdit() override;

    QString getValue() const;
    void setValue(const QString &value);

Q_SIGNALS:
    void changedValue(QString newValue);

private Q_SLOTS:
    void edit_changed(QString newValue);

private:
    std::unique_ptr<LineEditPrivate> const d;
};

#endif
