#ifndef VETREL_NUMBEREDITOR_H
#define VETREL_NUMBEREDITOR_H

#include <QLineEdit>

#include <host/decimal.h>

#include <vetrel/vetrel_export.h>

#include <memory>

class NumberEditorPrivate;

/**
 * Entry field for prices and amounts. Shows the number in the system
 * locale's notation (grouped, the locale's decimal point) while its "Value"
 * carries it in the canonical decimal notation, so bindings never see
 * locale-dependent text. User edits emit changedValue; setValue is silent.
 *
 * While the user types an unfinished text (such as "-") that text itself is
 * the value; isValid() tells it apart from a number.
 */
class VETREL_EXPORT NumberEditor : public QLineEdit
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "thisOnly")
    Q_PROPERTY(int digits READ digits WRITE setDigits STORED true DESIGNABLE true SCRIPTABLE true)
    Q_PROPERTY(int numDigits READ numDigits WRITE setNumDigits STORED true DESIGNABLE true SCRIPTABLE true)
    Q_PROPERTY(
        bool CanNegative READ getCanNegative WRITE setCanNegative STORED true DESIGNABLE true SCRIPTABLE true)
    Q_PROPERTY(
        bool CanBeZero READ getCanBeZero WRITE setCanBeZero STORED true DESIGNABLE true SCRIPTABLE true)
    Q_PROPERTY(QString Value READ getValue WRITE setValue NOTIFY changedValue
            STORED true DESIGNABLE true SCRIPTABLE true USER true)
public:
    // digits: fraction digits allowed. Negative numbers and zero are allowed
    // and the integer part is not limited until the properties say otherwise.
    explicit NumberEditor(QWidget *parent = nullptr, int digits = 0);
    ~NumberEditor() override;

    // The settings apply from the next keystroke; the current text is not re-checked.
    int digits() const;
    void setDigits(int digits);
    int numDigits() const;
    void setNumDigits(int numDigits);
    bool getCanNegative() const;
    void setCanNegative(bool canNegative);
    bool getCanBeZero() const;
    void setCanBeZero(bool canBeZero);

    QString getValue() const;

    // A number is stored (and non-zero unless CanBeZero).
    bool isValid() const;
    // The stored number, or zero when there is no valid one.
    decimal getDecimal() const;

public slots:
    void setValue(const QString &newValue);
    void setValue(const decimal &newValue);

signals:
    void changedValue(const QString &newValue);

protected:
    void keyPressEvent(QKeyEvent *event) override;

private slots:
    void edit_changed(const QString &newValue);

private:
    std::unique_ptr<NumberEditorPrivate> const d;
};

#endif
