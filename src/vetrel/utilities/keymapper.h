#ifndef VETREL_KEYMAPPER_H
#define VETREL_KEYMAPPER_H

#include <vetrel/vetrel_export.h>

class QKeyEvent;

/**
 * Key helpers for the X11 desktop. Judgements are made on the native key
 * data of an event (its X key symbol and scan code) rather than on the text
 * that the keyboard layout and modifiers produced.
 */
namespace KeyMapper
{

// The keypad's decimal or separator key, whatever the layout makes it type.
VETREL_EXPORT bool isDecimal(QKeyEvent *event);

// Codes below 32 and 127 (DEL).
VETREL_EXPORT bool isAsciiControl(int code);

// What the key cap shows, ignoring Shift, NumLock and the like: a keypad
// key gives its digit whether or not NumLock is on.
// Falls back to event->key() for events without text, when the keyboard map
// cannot be read (no X11 display) or when the symbol is a control code.
VETREL_EXPORT int visibleKeycodeByNative(QKeyEvent *event);

}

#endif
