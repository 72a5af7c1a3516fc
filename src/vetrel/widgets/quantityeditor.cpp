#include <vetrel/quantityeditor.h>

QuantityEditor::QuantityEditor(QWidget *parent)
    : NumberEditor(parent, 0)
{
    setCanNegative(false);
}
