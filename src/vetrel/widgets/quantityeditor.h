#ifndef VETREL_QUANTITYEDITOR_H
#define VETREL_QUANTITYEDITOR_H

#include <vetrel/numbereditor.h>

#include <vetrel/vetrel_export.h>

#include <memory>

class QuantityEditorPrivate;

/**
 * A NumberEditor for whole, non-negative quantities (zero allowed). It binds
 * the number editor's properties, being nothing but a configuration of it.
 */
class VETREL_EXPORT QuantityEditor : public NumberEditor
{
    Q_OBJECT
    Q_CLASSINFO("Properties", "super")
public:
    explicit QuantityEditor(QWidget *parent = nullptr);
    ~QuantityEditor() override;

private:
    std::unique_ptr<QuantityEditorPrivate> const d;
};

#endif
