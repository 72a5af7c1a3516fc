#include <vetrel/dateedit.h>

#include <vetrel/datevalidator.h>

#include <QCalendarWidget>
#include <QDateTime>
#include <QKeyEvent>
#include <QLineEdit>
#include <QLocale>
#include <QScopedValueRollback>

namespace
{

const QString canonicalFormat = QStringLiteral("yyyy.MM.dd HH:mm:ss.zzz");

QString shortDateFormat()
{
    return QLocale::system().dateFormat(QLocale::ShortFormat);
}

QDateTime utcDateTime(qint64 msecs)
{
    return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
}

QString canonicalText(qint64 msecs)
{
    return msecs == 0 ? QString() : utcDateTime(msecs).toString(canonicalFormat);
}

// Date and time are read apart and joined as UTC: a whole date-time read by
// Qt would be local time, shifted or refused in a daylight-saving gap.
qint64 parseValue(const QString &text)
{
    struct Notation
    {
        QString date;
        QString time; // empty: a date alone, meaning midnight
    };
    static const Notation notations[] = {
        { QStringLiteral("yyyy.MM.dd"), QStringLiteral("HH:mm:ss.zzz") },
        { QStringLiteral("yyyy-MM-dd"), QStringLiteral("HH:mm:ss") },
        { QStringLiteral("yyyy.MM.dd"), QString() },
        { QStringLiteral("yyyy-MM-dd"), QString() },
    };
    const int blank = text.indexOf(QLatin1Char(' '));
    for (const Notation &notation : notations) {
        const bool withTime = !notation.time.isEmpty();
        if (withTime == (blank < 0))
            continue;
        const QDate date = QDate::fromString(withTime ? text.left(blank) : text, notation.date);
        const QTime time = withTime ? QTime::fromString(text.mid(blank + 1), notation.time) : QTime(0, 0);
        if (date.isValid() && time.isValid())
            return QDateTime(date, time, Qt::UTC).toMSecsSinceEpoch();
    }
    return 0;
}

}

class DateEditPrivate
{
public:
    explicit DateEditPrivate(DateEdit *q)
        : q(q)
        , calendar(new QCalendarWidget(q))
    { }

    void showValueText();

    DateEdit *const q;
    QCalendarWidget *const calendar;
    // Milliseconds since the epoch of the UTC-read wall clock; 0 is no date.
    qint64 value = 0;
    // Set while the field is being filled from the value, so that a text that
    // reads back differently (no time of day, a two-digit year) keeps it.
    bool showingValue = false;
};

void DateEditPrivate::showValueText()
{
    const QScopedValueRollback<bool> showing(showingValue, true);
    q->lineEdit()->setText(value == 0 ? QString() : utcDateTime(value).date().toString(shortDateFormat()));
}

DateEdit::DateEdit(QWidget *parent)
    : QComboBox(parent)
    , d(new DateEditPrivate(this))
{
    setEditable(true);
    // Enter must not collect typed dates as items: the Down key would then
    // step through them and change the date behind the calendar.
    setInsertPolicy(QComboBox::NoInsert);

    QLineEdit *edit = lineEdit();
    edit->setValidator(new DateValidator(edit));
    edit->setAlignment(Qt::AlignHCenter);
    const QString format = shortDateFormat();
    edit->setPlaceholderText(format);
    edit->setToolTip(tr("Дата в формате: %1").arg(format));
    connect(edit, &QLineEdit::textChanged, this, &DateEdit::onTextChanged);

    d->calendar->setWindowFlags(Qt::Popup);
    d->calendar->setFirstDayOfWeek(QLocale::system().firstDayOfWeek());
    connect(d->calendar, &QCalendarWidget::activated, this, &DateEdit::calendarActivated);
    d->calendar->hide();
}

DateEdit::~DateEdit() = default;

QString DateEdit::getValue() const
{
    return canonicalText(d->value);
}

void DateEdit::setValue(const QString &text)
{
    setValue(text, true);
}

void DateEdit::setValue(const QString &text, bool updateText)
{
    const qint64 value = parseValue(text);
    const QString canonical = canonicalText(value);
    if (canonical == text && value == d->value)
        return;
    d->value = value;
    if (updateText)
        d->showValueText();
    emit changedValue(canonical);
}

void DateEdit::onTextChanged()
{
    QLineEdit *edit = lineEdit();
    if (!d->showingValue)
        setValue(canonicalText(DateValidator::shortDateMSecs(edit->text())), false);

    const QString style = edit->hasAcceptableInput() ? QString() : QStringLiteral("color: red");
    if (edit->styleSheet() != style)
        edit->setStyleSheet(style);
}

void DateEdit::calendarActivated(const QDate &date)
{
    // Set as a value rather than as text, so that a two-digit-year format
    // cannot move a picked date into another century.
    setValue(canonicalText(QDateTime(date, QTime(0, 0), Qt::UTC).toMSecsSinceEpoch()));
    hidePopup();
}

void DateEdit::showPopup()
{
    d->calendar->move(mapToGlobal(QPoint(0, height() - 1)));
    d->calendar->setSelectedDate(d->value == 0 ? QDate::currentDate() : utcDateTime(d->value).date());
    d->calendar->show();
    d->calendar->setFocus(Qt::PopupFocusReason);
}

void DateEdit::hidePopup()
{
    d->calendar->hide();
}

void DateEdit::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Down)
        showPopup();
    QComboBox::keyPressEvent(event);
}
