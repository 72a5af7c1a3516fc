#ifndef VETREL_WIDGETUTILS_H
#define VETREL_WIDGETUTILS_H

#include <QChar>
#include <QString>
#include <Qt>

#include <vetrel/vetrel_export.h>

class QWidget;

// The window that holds the widget: the widget itself when it is a window or
// has no parent, else its nearest window ancestor, else its topmost ancestor.
VETREL_EXPORT QWidget *appTopLevelWidget(QWidget *widget);

// Moves the widget to the place of the anchor (or, with no anchor, of the
// widget's screen) that the alignment names: the edges named stand 5 % inside
// the reference rectangle, a centre flag centres. Not clamped to the screen.
VETREL_EXPORT void moveWidgetRelatively(QWidget *widget, const QWidget *anchor, Qt::Alignment alignment);

// Centres text in a field of the given width using fill; when the padding
// cannot be split evenly, the right side gets one more.
VETREL_EXPORT QString centerJustified(const QString &text, int width, QChar fill);

#endif
