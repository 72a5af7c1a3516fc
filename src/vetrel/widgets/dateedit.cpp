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

DateEdit::DateEdit(QWidget *parent)
    : QComboBox(parent)
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

    m_calendar = new QCalendarWidget(this);
    m_calendar->setWindowFlags(Qt::Popup);
    m_calendar->setFirstDayOfWeek(QLocale::system().firstDayOfWeek());
    connect(m_calendar, &QCalendarWidget::activated, this, &DateEdit::calendarActivated);
    m_calendar->hide();
}

QString DateEdit::getValue() const
{
    return canonicalText(m_value);
}

void DateEdit::setValue(const QString &text)
{
    setValue(text, true);
}

void DateEdit::setValue(const QString &text, bool updateText)
{
    const qint64 value = parseValue(text);
    const QString canonical = canonicalText(value);
    if (canonical == text && value == m_value)
        return;
    m_value = value;
    if (updateText)
        showValueText();
    emit changedValue(canonical);
}

void DateEdit::showValueText()
{
    const QScopedValueRollback<bool> showing(m_showingValue, true);
    lineEdit()->setText(m_value == 0 ? QString() : utcDateTime(m_value).date().toString(shortDateFormat()));
}

void DateEdit::onTextChanged()
{
    QLineEdit *edit = lineEdit();
    if (!m_showingValue)
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
    m_calendar->move(mapToGlobal(QPoint(0, height() - 1)));
    m_calendar->setSelectedDate(m_value == 0 ? QDate::currentDate() : utcDateTime(m_value).date());
    m_calendar->show();
    m_calendar->setFocus(Qt::PopupFocusReason);
}

void DateEdit::hidePopup()
{
    m_calendar->hide();
}

void DateEdit::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Down)
        showPopup();
    QComboBox::keyPressEvent(event);
}
