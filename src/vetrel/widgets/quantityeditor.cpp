#include <vetrel/quantityeditor.h>

class QuantityEditorPrivate
{
};

QuantityEditor::QuantityEditor(QWidget *parent)
    : NumberEditor(parent, 0)
    , d(new QuantityEditorPrivate)
{
    setCanNegative(false);
}

QuantityEditor::~QuantityEditor() = default;
