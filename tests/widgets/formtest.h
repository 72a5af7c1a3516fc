// Small forms for the widget tests: widgets bound by name, typed into, spied on.
#pragma once

#include <vetrel/properties.h>

#include <QLayout>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

// An object bound under @p field; a widget is laid out if the parent has a layout.
template<typename T, typename... Args>
T *bound(QWidget *parent, const QString &field, Args... args)
{
    auto *object = new T(parent, args...);
    object->setProperty("field", field);
    if constexpr (std::is_base_of_v<QWidget, T>) {
        if (parent->layout())
            parent->layout()->addWidget(object);
    }
    return object;
}

inline QString stored(const Properties &properties, const QString &name)
{
    return properties.values().value(name).toString();
}

// The first argument of every emission so far; the spy starts afresh.
inline QStringList emitted(QSignalSpy &spy)
{
    QStringList values;
    for (const QList<QVariant> &arguments : qAsConst(spy))
        values << arguments.at(0).toString();
    spy.clear();
    return values;
}

// Binds the form's widgets and shows it.
inline bool connectAndShow(QWidget &form, Properties &properties)
{
    form.show();
    return properties.connectAll(&form) && QTest::qWaitForWindowExposed(&form);
}

inline void retype(QLineEdit *edit, const QString &text)
{
    edit->selectAll();
    QTest::keyClicks(edit, text);
}
