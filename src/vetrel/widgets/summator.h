#ifndef VETREL_SUMMATOR_H
#define VETREL_SUMMATOR_H

#include <QObject>
#include <QString>

#include <vetrel/vetrel_export.h>

#include <memory>

class SummatorPrivate;

/**
 * An invisible form member that adds two bound numbers: the binding writes
 * "Summand" and "Addendum" (canonical decimal text) and reads the sum from
 * the read-only "Value". When either operand is not a number the value is the
 * summand as it stands.
 */
class VETREL_EXPORT Summator : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "this")
    Q_PROPERTY(QString Value READ getValue NOTIFY changedValue USER true)
    Q_PROPERTY(QString Summand READ getSummand WRITE setSummand)
    Q_PROPERTY(QString Addendum READ getAddendum WRITE setAddendum)

public:
    explicit Summator(QObject *parent = nullptr);
    ~Summator() override;

    QString getValue() const;
    QString getSummand() const;
    QString getAddendum() const;

public Q_SLOTS:
    void setSummand(const QString &summand);
    void setAddendum(const QString &addendum);
    void update();

Q_SIGNALS:
    void changedValue(QString value);

private:
    std::unique_ptr<SummatorPrivate> const d;
};

#endif
