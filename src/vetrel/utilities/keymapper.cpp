#include <vetrel/keymapper.h>

#include <QKeyEvent>
#include <QX11Info>

#include <memory>

// After the Qt headers: Xlib's macros (None, Status, Bool...) clash with Qt's names.
#include <X11/XKBlib.h>
#include <X11/keysym.h>

namespace
{

constexpr unsigned int mapParts = XkbKeyTypesMask | XkbKeySymsMask | XkbModifierMapMask;

struct ClientMapFree
{
    // XkbFreeClientMap gives back the map's parts but not the keyboard
    // description XkbGetMap allocated around them; without XkbFreeKeyboard
    // every decimal-key lookup would leak it.
    void operator()(XkbDescPtr map) const
    {
        XkbFreeClientMap(map, mapParts, True);
        XkbFreeKeyboard(map, 0, True);
    }
};
using ClientMap = std::unique_ptr<XkbDescRec, ClientMapFree>;

int groupOf(const XkbDescRec &xkb, int keycode)
{
    const unsigned char info = XkbKeyGroupInfo(&xkb, keycode);
    if (XkbOutOfRangeGroupAction(info) != XkbClampIntoRange)
        return 0;
    // A key without groups lands on group 3 here; the caller rejects it.
    return (XkbNumGroups(info) - 1) & 0x3;
}

// The level that needs no real modifier held: NumLock-style virtual
// modifiers count, Shift and friends do not.
int unshiftedLevel(const XkbKeyTypeRec &type)
{
    int level = 0;
    for (int i = 0; i < type.map_count; ++i) {
        const XkbKTMapEntryRec &entry = type.map[i];
        if (entry.active && entry.mods.real_mods == 0)
            level = entry.level;
    }
    return level;
}

KeySym symbolOnKey(const XkbDescRec &xkb, int keycode)
{
    if (!xkb.map || keycode < xkb.min_key_code || keycode > xkb.max_key_code)
        return NoSymbol;
    const int group = groupOf(xkb, keycode);
    if (group >= XkbKeyNumGroups(&xkb, keycode))
        return NoSymbol;
    const int level = unshiftedLevel(*XkbKeyKeyType(&xkb, keycode, group));
    if (level >= XkbKeyGroupWidth(&xkb, keycode, group))
        return NoSymbol;
    return XkbKeySymEntry(&xkb, keycode, level, group);
}

KeySym visibleSymbol(int keycode)
{
    Display *display = QX11Info::display();
    if (!display)
        return NoSymbol;
    const ClientMap map(XkbGetMap(display, mapParts, XkbUseCoreKbd));
    if (!map)
        return NoSymbol;
    return symbolOnKey(*map, keycode);
}

}

namespace KeyMapper
{

bool isDecimal(QKeyEvent *event)
{
    const quint32 symbol = event->nativeVirtualKey();
    return symbol == XK_KP_Separator || symbol == XK_KP_Decimal;
}

bool isAsciiControl(int code)
{
    return code < 32 || code == 127;
}

int visibleKeycodeByNative(QKeyEvent *event)
{
    if (event->text().isEmpty())
        return event->key();
    const int symbol = int(visibleSymbol(event->nativeScanCode() & 0xFF));
    return isAsciiControl(symbol) ? event->key() : symbol;
}

}
