#include <vetrel/widgetutils.h>

#include <QRect>
#include <QScreen>
#include <QWidget>

QWidget *appTopLevelWidget(QWidget *widget)
{
    if (!widget || widget->isWindow() || !widget->parentWidget())
        return widget;
    QWidget *ancestor = widget->parentWidget();
    while (!ancestor->isWindow() && ancestor->parentWidget())
        ancestor = ancestor->parentWidget();
    return ancestor;
}

namespace
{

// Position along one axis: the near edge plus the margin, the middle, or the
// far edge less the margin; the first flag present wins.
int targetCoordinate(int first, int last, int margin, bool nearFlag, bool centreFlag, bool farFlag)
{
    if (nearFlag)
        return first + margin;
    if (centreFlag)
        return (first + last) / 2;
    if (farFlag)
        return last - margin;
    return first;
}

// Shift that puts the named edge of a widget of the given extent (size - 1) on the target.
int edgeOffset(int extent, bool nearFlag, bool centreFlag, bool farFlag)
{
    if (nearFlag)
        return 0;
    if (centreFlag)
        return -(extent / 2);
    if (farFlag)
        return -extent;
    return 0;
}

QRect referenceRect(const QWidget *widget, const QWidget *anchor)
{
    if (anchor)
        return anchor->rect();
    const QScreen *screen = widget->screen();
    return screen ? screen->geometry() : QRect();
}

}

void moveWidgetRelatively(QWidget *widget, const QWidget *anchor, Qt::Alignment alignment)
{
    const QRect area = referenceRect(widget, anchor);
    const int mx = int(area.width() * 0.05);
    const int my = int(area.height() * 0.05);

    const bool left = alignment & Qt::AlignLeft;
    const bool hCentre = alignment & Qt::AlignHCenter;
    const bool right = alignment & Qt::AlignRight;
    const bool top = alignment & Qt::AlignTop;
    const bool vCentre = alignment & Qt::AlignVCenter;
    const bool bottom = alignment & Qt::AlignBottom;

    QPoint target(targetCoordinate(area.left(), area.right(), mx, left, hCentre, right),
        targetCoordinate(area.top(), area.bottom(), my, top, vCentre, bottom));
    if (anchor)
        target = anchor->mapToGlobal(target);
    target += QPoint(edgeOffset(widget->width() - 1, left, hCentre, right),
        edgeOffset(widget->height() - 1, top, vCentre, bottom));
    widget->move(widget->mapToParent(widget->mapFromGlobal(target)));
}

QString centerJustified(const QString &text, int width, QChar fill)
{
    const int padding = width - text.size();
    if (padding <= 0)
        return text;
    const int leftPadding = padding / 2;
    return QString(leftPadding, fill) + text + QString(padding - leftPadding, fill);
}
