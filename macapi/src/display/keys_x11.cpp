// The keys of an X server.
//
// Servers may give a key different numbers, but the same name. A name tells the place of the key: AC01 is the first
// key in the third row from below, the A of American keyboards. So a key is found by its name. If a server has no
// names, its numbers are taken for those of Linux's input events plus 8.
#include "macapi/src/display/keys.h"
#include "macapi/src/display/windowserver_x11.h"

#include <X11/XKBlib.h>

#include <string.h>

namespace macapi {

struct Key {
    char name[5];       // the key's name in XKB
    unsigned char code; // the key's number in Linux's input events
    unsigned char mac;  // the Mac's virtual key code
};

// Some keys of a PC do not exist on a Mac's own keyboard. They get the codes that a Mac gives to them: PRSC, SCLK and
// PAUS are F13, F14 and F15; NMLK is Clear; INS is Help; LALT and RALT are Option; LWIN and RWIN are Command. LSGT is
// left of Z on keyboards that have it. AB11 and AE13 are the Japanese underscore and yen; HNGL and HJCV are the
// Japanese Kana and Eisu.
static const Key s_keys[] = {
    {"ESC", 1, 53},     {"AE01", 2, 18},    {"AE02", 3, 19},    {"AE03", 4, 20},    {"AE04", 5, 21},
    {"AE05", 6, 23},    {"AE06", 7, 22},    {"AE07", 8, 26},    {"AE08", 9, 28},    {"AE09", 10, 25},
    {"AE10", 11, 29},   {"AE11", 12, 27},   {"AE12", 13, 24},   {"BKSP", 14, 51},   {"TAB", 15, 48},
    {"AD01", 16, 12},   {"AD02", 17, 13},   {"AD03", 18, 14},   {"AD04", 19, 15},   {"AD05", 20, 17},
    {"AD06", 21, 16},   {"AD07", 22, 32},   {"AD08", 23, 34},   {"AD09", 24, 31},   {"AD10", 25, 35},
    {"AD11", 26, 33},   {"AD12", 27, 30},   {"RTRN", 28, 36},   {"LCTL", 29, 59},   {"AC01", 30, 0},
    {"AC02", 31, 1},    {"AC03", 32, 2},    {"AC04", 33, 3},    {"AC05", 34, 5},    {"AC06", 35, 4},
    {"AC07", 36, 38},   {"AC08", 37, 40},   {"AC09", 38, 37},   {"AC10", 39, 41},   {"AC11", 40, 39},
    {"TLDE", 41, 50},   {"LFSH", 42, 56},   {"BKSL", 43, 42},   {"AB01", 44, 6},    {"AB02", 45, 7},
    {"AB03", 46, 8},    {"AB04", 47, 9},    {"AB05", 48, 11},   {"AB06", 49, 45},   {"AB07", 50, 46},
    {"AB08", 51, 43},   {"AB09", 52, 47},   {"AB10", 53, 44},   {"RTSH", 54, 60},   {"KPMU", 55, 67},
    {"LALT", 56, 58},   {"SPCE", 57, 49},   {"CAPS", 58, 57},   {"FK01", 59, 122},  {"FK02", 60, 120},
    {"FK03", 61, 99},   {"FK04", 62, 118},  {"FK05", 63, 96},   {"FK06", 64, 97},   {"FK07", 65, 98},
    {"FK08", 66, 100},  {"FK09", 67, 101},  {"FK10", 68, 109},  {"NMLK", 69, 71},   {"SCLK", 70, 107},
    {"KP7", 71, 89},    {"KP8", 72, 91},    {"KP9", 73, 92},    {"KPSU", 74, 78},   {"KP4", 75, 86},
    {"KP5", 76, 87},    {"KP6", 77, 88},    {"KPAD", 78, 69},   {"KP1", 79, 83},    {"KP2", 80, 84},
    {"KP3", 81, 85},    {"KP0", 82, 82},    {"KPDL", 83, 65},   {"LSGT", 86, 10},   {"FK11", 87, 103},
    {"FK12", 88, 111},  {"AB11", 89, 94},   {"KPEN", 96, 76},   {"RCTL", 97, 62},   {"KPDV", 98, 75},
    {"PRSC", 99, 105},  {"RALT", 100, 61},  {"HOME", 102, 115}, {"UP", 103, 126},   {"PGUP", 104, 116},
    {"LEFT", 105, 123}, {"RGHT", 106, 124}, {"END", 107, 119},  {"DOWN", 108, 125}, {"PGDN", 109, 121},
    {"INS", 110, 114},  {"DELE", 111, 117}, {"MUTE", 113, 74},  {"VOL-", 114, 73},  {"VOL+", 115, 72},
    {"KPEQ", 117, 81},  {"PAUS", 119, 113}, {"HNGL", 122, 104}, {"HJCV", 123, 102}, {"AE13", 124, 93},
    {"LWIN", 125, 55},  {"RWIN", 126, 54},  {"COMP", 127, 110}, {"HELP", 138, 114}, {"FK13", 183, 105},
    {"FK14", 184, 107}, {"FK15", 185, 113}, {"FK16", 186, 106}, {"FK17", 187, 64},  {"FK18", 188, 79},
    {"FK19", 189, 80},  {"FK20", 190, 90},
};

// Reads the name of a key, with a NUL; empty if the server has no name for this key. Returns false if the server has
// no key names at all.
static bool readName(const ServerLock& xserver, unsigned int key, char (*name)[XkbKeyNameLength + 1])
{
    const XResource<XkbDescRec> keyboard(XkbAllocKeyboard(),
                                         [](XkbDescPtr description) { XkbFreeKeyboard(description, 0, True); });
    if (!keyboard) {
        return false;
    }
    int least, most;
    XDisplayKeycodes(xserver.display(), &least, &most);
    keyboard->device_spec = XkbUseCoreKbd;
    keyboard->min_key_code = static_cast<KeyCode>(least);
    keyboard->max_key_code = static_cast<KeyCode>(most);
    if (XkbGetNames(xserver.display(), XkbKeyNamesMask, keyboard.get()) != Success || !keyboard->names ||
        !keyboard->names->keys || key < keyboard->min_key_code || key > keyboard->max_key_code) {
        return false;
    }
    memcpy(*name, keyboard->names->keys[key].name, XkbKeyNameLength);
    (*name)[XkbKeyNameLength] = '\0';
    return true;
}

unsigned short virtualKeyOf(unsigned int serversKey)
{
    const ServerLock xserver;
    char name[XkbKeyNameLength + 1];
    const bool isNamed = xserver && readName(xserver, serversKey, &name);
    for (const Key& key : s_keys) {
        if (isNamed ? strcmp(key.name, name) == 0 : key.code + 8u == serversKey) {
            return key.mac;
        }
    }
    return sc_noKey;
}

} // namespace macapi
