#ifndef VETREL_SLIDERGROUP_H
#define VETREL_SLIDERGROUP_H

#include <QGroupBox>

#include <vetrel/vetrel_export.h>

#include <memory>

class SliderGroupPrivate;

/**
 * One optional whole number (a limit, say): a check box switches it on, and
 * it is then set by typing into a quantity field or by dragging a slider.
 * The two stay in step: a typed number beyond the slider's range is replaced
 * by the bound it passed.
 * While switched off the value is 0 and both are disabled.
 */
class VETREL_EXPORT SliderGroup : public QGroupBox
{
    Q_OBJECT

public:
    explicit SliderGroup(QWidget *parent = nullptr);
    SliderGroup(const QString &checkedText, const QString &title, QWidget *parent = nullptr);
    ~SliderGroup() override;

    bool getRestrict() const;
    int getValue() const;

    void setCheckedText(const QString &text);
    void setPlaceholderText(const QString &text);
    void setMinimum(int minimum);
    void setMaximum(int maximum);
    int getMinimum() const;
    int getMaximum() const;

public Q_SLOTS:
    void setRestrict(bool restrict);
    void setValue(int value);

Q_SIGNALS:
    void changedRestrict(bool restrict);
    void changedValue(int value);

private Q_SLOTS:
    void slotStateChanged(int state);
    void slotTextChanged(const QString &text);
    void slotValueChanged(int value);

private:
    std::unique_ptr<SliderGroupPrivate> const d;
};

#endif
