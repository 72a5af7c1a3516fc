// Random forms edited at random: after every step each widget still bound
// shows the stored value of its name. The seed is printed; VETREL_STRESS_SEED
// replays a run.
#include <vetrel/checkbox.h>
#include <vetrel/dateedit.h>
#include <vetrel/groupbox.h>
#include <vetrel/lineedit.h>
#include <vetrel/numbereditor.h>
#include <vetrel/properties.h>
#include <vetrel/quantityeditor.h>
#include <vetrel/radiobutton.h>

#include <QPointer>
#include <QTest>

#include <random>

class tst_BindingStress : public QObject
{
    Q_OBJECT

private slots:
    void randomFormsStayInStep()
    {
        const QByteArray replay = qgetenv("VETREL_STRESS_SEED");
        const uint seed = replay.isEmpty() ? std::random_device()() : replay.toUInt();
        qInfo("seed %u (VETREL_STRESS_SEED=%u replays this run)", seed, seed);
        m_random.seed(seed);
        makeForm();

        for (int step = 0; step < 10000; ++step) {
            dropBound([](const Bound &b) { return !b.widget; });
            const int action = pick(100);
            if (action < 55 && !m_bound.isEmpty()) {
                userEdit(pickFrom(m_bound));
            } else if (action < 75) {
                setRandomValues();
            } else if (action < 78) {
                m_properties.reset(); // empties the store and writes nothing
                m_stale = QSet<QString>(m_names.cbegin(), m_names.cend());
            } else if (action < 83) {
                disconnectRandomSubtree();
            } else if (action < 90) {
                destroyRandomWidget();
            } else if (m_forms.size() - m_forms.count(nullptr) < 4) {
                makeForm();
            }
            QCoreApplication::processEvents();
            const QString wrong = mismatch();
            QVERIFY2(wrong.isEmpty(),
                qPrintable(QStringLiteral("step %1, seed %2: %3").arg(step).arg(seed).arg(wrong)));
        }
        qDeleteAll(m_forms);
    }

private:
    // A name's first letter picks its widgets' kind, so each can show every value stored.
    const QStringList m_names = QStringLiteral("T0 T1 N0 Q0 C0 R0 R1 D0").split(QLatin1Char(' '));
    const QStringList m_radioValues = QStringLiteral("r1 r2 r3").split(QLatin1Char(' '));

    struct Bound { QPointer<QWidget> widget; QString name; };

    int pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(m_random); }
    template<class T> const T &pickFrom(const QList<T> &list) { return list.at(pick(list.size())); }
    template<class F> void dropBound(F f)
    {
        m_bound.erase(std::remove_if(m_bound.begin(), m_bound.end(), f), m_bound.end());
    }

    QString randomValue(QChar kind)
    {
        QString text;
        for (int i = pick(5); i > 0; --i)
            text += QChar(u'a' + pick(26));
        // The first day of 1970 at midnight is a date edit's "no date": never a value.
        QDate date(1950 + pick(100), 1 + pick(12), 1 + pick(28));
        if (date == QDate(1970, 1, 1))
            date = date.addDays(1);
        return kind == u'T' ? text
            : kind == u'N'  ? QStringLiteral("%1.%2").arg(pick(200000) - 100000).arg(10 + pick(90))
            : kind == u'Q'  ? QString::number(pick(100000))
            : kind == u'C'  ? QString(pick(2) ? u'Y' : u'N')
            : kind == u'R'  ? pickFrom(m_radioValues)
                            : date.toString(QStringLiteral("yyyy.MM.dd")) + QStringLiteral(" 00:00:00.000");
    }

    QWidget *makeWidget(const QString &name, QWidget *parent)
    {
        const QChar kind = name.at(0);
        QWidget *widget = kind == u'T' ? new LineEdit(parent)
            : kind == u'N'             ? new NumberEditor(parent, 2)
            : kind == u'Q'             ? new QuantityEditor(parent)
            : kind == u'C'             ? new CheckBox(parent)
            : kind == u'R'             ? new RadioButton(parent)
                                       : static_cast<QWidget *>(new DateEdit(parent));
        widget->setProperty("field", name);
        widget->setProperty("value_checked", QStringLiteral("Y")); // read by check boxes only
        widget->setProperty("value_unchecked", QStringLiteral("N"));
        if (auto *radio = qobject_cast<RadioButton *>(widget)) {
            radio->setProperty("value", pickFrom(m_radioValues));
            radio->setAutoExclusive(false);
        }
        return widget;
    }

    void makeForm()
    {
        auto *form = new QWidget;
        QList<QWidget *> containers { form };
        for (int i = pick(3); i > 0; --i)
            containers << new GroupBox(pickFrom(containers));
        for (int i = 4 + pick(10); i > 0; --i) {
            const QString name = pickFrom(m_names);
            m_bound.append({ makeWidget(name, pickFrom(containers)), name });
        }
        m_properties.connectAll(form);
        m_forms << form;
    }

    void userEdit(const Bound &bound)
    {
        const QString before = m_properties.values().value(bound.name).toString();
        if (auto *button = qobject_cast<QAbstractButton *>(bound.widget)) {
            // A click that unchecks a CheckBox reports its checked value: the
            // widget's contract, which would leave it apart from its name.
            if (!button->isChecked())
                QTest::mouseClick(button, Qt::LeftButton);
        } else if (auto *edit = qobject_cast<QLineEdit *>(bound.widget)) {
            const char *keys = bound.name.startsWith(QLatin1Char('T')) ? "abcxyz" : "0123456789.-";
            QTest::keyClick(edit, pick(4) == 0 ? '\b' : keys[pick(int(strlen(keys)))]);
        } // a DateEdit is only written from the store
        // Only a change of the stored text is written into the name's widgets
        // (an absent entry reads as the empty text).
        if (m_properties.values().value(bound.name).toString() != before)
            m_stale.remove(bound.name);
    }

    void setRandomValues()
    {
        const Values before = m_properties.values();
        Values values;
        for (int i = 1 + pick(3); i > 0; --i) {
            const QString name = pickFrom(m_names);
            values.insert(name, randomValue(name.at(0)));
        }
        m_properties.setValues(values);
        // A value equal to the stored one is not written again.
        for (auto it = values.cbegin(); it != values.cend(); ++it)
            if (before.value(it.key()).toString() != it.value().toString())
                m_stale.remove(it.key());
    }

    // The forms and the widgets in them: all of them, or only the forms' direct children.
    QList<QWidget *> widgets(Qt::FindChildOptions options) const
    {
        QList<QWidget *> found;
        for (const QPointer<QWidget> &form : qAsConst(m_forms))
            if (form)
                found << form.data() << form->findChildren<QWidget *>(QString(), options);
        return found;
    }

    void disconnectRandomSubtree()
    {
        const QList<QWidget *> roots = widgets(Qt::FindChildrenRecursively);
        if (roots.isEmpty())
            return;
        QWidget *root = pickFrom(roots);
        m_properties.disconnectAll(root);
        // A QuantityEditor ("super") keeps its bindings: disconnectAll does not
        // follow "super". Every other widget under the root is off the form now.
        dropBound([root](const Bound &b) {
            return b.widget && (b.widget == root || root->isAncestorOf(b.widget))
                && !qobject_cast<QuantityEditor *>(b.widget);
        });
    }

    void destroyRandomWidget()
    {
        if (const QList<QWidget *> candidates = widgets(Qt::FindDirectChildrenOnly); !candidates.isEmpty())
            delete pickFrom(candidates);
    }

    QString mismatch() const
    {
        const Values store = m_properties.values();
        for (const Bound &bound : m_bound) {
            if (!bound.widget || !store.contains(bound.name) || m_stale.contains(bound.name))
                continue;
            const QString shown = bound.widget->property("Value").toString();
            if (shown != store.value(bound.name).toString())
                return QStringLiteral("%1 bound as %2 shows \"%3\", the store holds \"%4\"")
                    .arg(QLatin1String(bound.widget->metaObject()->className()), bound.name, shown,
                        store.value(bound.name).toString());
        }
        return QString();
    }

    std::mt19937 m_random;
    Properties m_properties;
    QList<QPointer<QWidget>> m_forms;
    QList<Bound> m_bound;
    QSet<QString> m_stale; // emptied by reset(): no widget was written since
};

QTEST_MAIN(tst_BindingStress)
#include "tst_bindingstress.moc"
