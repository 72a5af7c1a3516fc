#ifndef VETREL_FORMVALIDATION_H
#define VETREL_FORMVALIDATION_H

#include <QList>
#include <QStringList>

#include <vetrel/vetrel_export.h>

#include <memory>

class Properties;
class QWidget;

class FormValidationPrivate;

/**
 * Paints red the captions of a form's invalid fields.
 *
 * A caption is a QLabel whose buddy is a bound widget; the binding names of
 * the buddy come from the form's Properties. Whatever checks the request hands
 * set() the names that failed. The widgets are not owned and must outlive this
 * object; a caption's own style sheet is replaced the first time it is painted.
 */
class VETREL_EXPORT FormValidation
{
public:
    FormValidation();
    FormValidation(const FormValidation &other);
    FormValidation &operator=(const FormValidation &other);
    ~FormValidation();

    /// Registers every caption under \a root, depth first. Call it once the
    /// form is bound; calling it again registers the captions again.
    void setupPropWidgets(const Properties &properties, QWidget *root);

    /// Paints the captions of \a invalidProperties red and restores the others.
    void set(const QStringList &invalidProperties);
    /// The same with the captions given directly.
    void setInvalidWidgets(const QList<QWidget *> &widgets);
    /// Paints one caption; anything but a QLabel is left alone.
    void setWidgetState(QWidget *widget, bool valid);

private:
    std::unique_ptr<FormValidationPrivate> const d;
};

#endif
