#ifndef VETREL_DATEEDIT_H
#define VETREL_DATEEDIT_H

#include <QComboBox>

#include <vetrel/vetrel_export.h>

#include <memory>

class QDate;

class DateEditPrivate;

/**
 * A date entry for order forms: an editable combo box that shows the date in
 * the system locale's short format and drops down a calendar.
 *
 * Its Value is locale-independent: "yyyy.MM.dd HH:mm:ss.zzz", or empty for no
 * date. The digits are wall-clock digits kept as if they were UTC, so no time
 * zone ever shifts them. Unlike the plain value widgets, setValue() announces
 * every change through changedValue(), in the canonical notation.
 */
class VETREL_EXPORT DateEdit : public QComboBox
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "thisOnly")
    Q_PROPERTY(QString Value READ getValue WRITE setValue NOTIFY changedValue
            STORED true SCRIPTABLE true DESIGNABLE true USER true)

public:
    explicit DateEdit(QWidget *parent = nullptr);
    ~DateEdit() override;

    QString getValue() const;
    /**
     * Takes the canonical notation, or the date alone with dots or dashes
     * between its parts, or a dashed date with a time to the second. Any
     * other text clears the date. With \a updateText the field shows it.
     */
    void setValue(const QString &text, bool updateText);
    void setValue(const QString &text);

    /// Opens the calendar under the field, on the current date or today.
    void showPopup() override;
    void hidePopup() override;

signals:
    void changedValue(const QString &newValue);

protected slots:
    void calendarActivated(const QDate &date);
    void onTextChanged();

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    std::unique_ptr<DateEditPrivate> const d;
};

#endif
