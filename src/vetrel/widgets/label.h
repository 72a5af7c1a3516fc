#ifndef VETREL_LABEL_H
#define VETREL_LABEL_H

#include <QLabel>

#include <vetrel/vetrel_export.h>

#include <memory>

class LabelPrivate;

/**
 * A caption that can show an error: red text, with the error as its tool tip.
 *
 * clearError() keeps the tool tip, so the trader can still read what was
 * wrong until the next error replaces it.
 */
class VETREL_EXPORT Label : public QLabel
{
    Q_OBJECT

public:
    explicit Label(QWidget *parent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());
    explicit Label(const QString &text, QWidget *parent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());
    ~Label() override;

    bool hasError() const;
    QString errorText() const;

public Q_SLOTS:
    void setError(QString text);
    void setError();
    void clearError();

private:
    void init_label();

    std::unique_ptr<LabelPrivate> const d;
};

#endif
