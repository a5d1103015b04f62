// The picture: the battle on the left, the banks on the right, the keys below.
//
// Sizes in this file are in units. In a view of 960 by 600 pixels a unit is a pixel. In another view a unit is the
// largest size with which 960 by 600 units still have room.
#include "demo/scene.h"

#include "demo/texts.h"

#include <algorithm>
#include <math.h>

DEMO_TEXT(sc_frameOf, "Frame %u of %u");
DEMO_TEXT(sc_army, "%s: %d of %d");
DEMO_TEXT(sc_won, "%s: %s wins");
DEMO_TEXT(sc_drawn, "%s: undecided");
DEMO_TEXT(sc_banks, "Memory banks");
DEMO_TEXT(sc_inUse, "in use");
DEMO_TEXT(sc_free, "free");
DEMO_TEXT(sc_fallback, "fallback");
DEMO_TEXT(sc_numbers, "%s of %s KiB");
DEMO_TEXT(sc_more, "+ %s KiB");
DEMO_TEXT(sc_oneBlock, "1 block");
DEMO_TEXT(sc_blocks, "%s blocks");
DEMO_TEXT(sc_aboutBars, "Each bar is a bank, from its first byte to its last.");
DEMO_TEXT(sc_aboutFallback, "Fallback blocks had no room in their bank.");
DEMO_TEXT(sc_lastKey, "Last key");
DEMO_TEXT(sc_none, "none");
DEMO_TEXT(sc_key, "Mac %d, engine %u");
DEMO_TEXT(sc_keySign, "Mac %d, engine %u: %c");
DEMO_TEXT(sc_mouse, "Mouse");
DEMO_TEXT(sc_place, "%d, %d");
DEMO_TEXT(sc_left, "left button");
DEMO_TEXT(sc_right, "right button");
DEMO_TEXT(sc_captured, "captured");
DEMO_TEXT(sc_released, "not captured");
DEMO_TEXT(sc_cursor, "Cursor");
DEMO_TEXT(sc_shown, "shown");
DEMO_TEXT(sc_hidden, "hidden");
DEMO_TEXT(sc_window, "Window");
DEMO_TEXT(sc_framed, "framed");
DEMO_TEXT(sc_full, "full screen");
DEMO_TEXT(sc_pressFramed, "back to the window");
DEMO_TEXT(sc_pressCapture, "captures the mouse");
DEMO_TEXT(sc_pressRelease, "releases the mouse");
DEMO_TEXT(sc_pressHide, "hides the cursor");
DEMO_TEXT(sc_pressShow, "shows the cursor");
DEMO_TEXT(sc_pressEnd, "ends the game");

static const unsigned int sc_bright = 0xf0f2f5;
static const unsigned int sc_plain = 0xb4bac2;
static const unsigned int sc_dim = 0x737b86;
static const unsigned int sc_ground = 0x14171b;
static const unsigned int sc_edge = 0x2a2f36;
static const unsigned int sc_used = 0x4cb5a5;
static const unsigned int sc_unused = 0x232a2f;
static const unsigned int sc_outside = 0xe0a63c;
static const unsigned int sc_armies[2] = {0x6fa8ff, 0xff7d6b};
static const unsigned int sc_shades = 12; // of colour in a bar, from free to in use

// Adds boxes and labels to a picture. Converts positions and sizes from units to pixels.
class Painter {
public:
    Painter(float width, float height)
        : m_unit(std::min(width / 960.0f, height / 600.0f)), m_width(width / m_unit), m_height(height / m_unit)
    {
    }

    float width() const { return m_width; }
    float height() const { return m_height; }
    Picture& picture() { return m_picture; }

    void box(float x, float y, float width, float height, unsigned int colour)
    {
        m_picture.boxes.push_back({x * m_unit, y * m_unit, width * m_unit, height * m_unit, colour});
    }

    void text(float x, float y, float width, float size, e_Align align, unsigned int colour, const std::string& text,
              bool isBold = false)
    {
        m_picture.labels.push_back(
            {x * m_unit, y * m_unit, width * m_unit, size * m_unit, align, isBold, colour, text});
    }

private:
    Picture m_picture;
    const float m_unit; // pixels per unit
    const float m_width, m_height;
};

static const float sc_margin = 24;
static const float sc_top = 76;      // y of the area below the header
static const float sc_footer = 52;   // height of the keys' line
static const float sc_split = 0.42f; // the share of the width that the battle has

static void drawHeader(Painter& painter, const Scene& scene)
{
    const float width = painter.width() - 2 * sc_margin;
    painter.text(sc_margin, 30, width / 2, 18, ALIGN_LEFT, sc_bright, "core demo", true);
    painter.text(sc_margin + width / 2, 30, width / 2, 14, ALIGN_RIGHT, sc_plain,
                 Compose(sc_frameOf, scene.frame, scene.frames));
    painter.box(sc_margin, 50, width, 2, sc_edge);
    painter.box(sc_margin, 50, width * static_cast<float>(scene.frame) / static_cast<float>(scene.frames), 2,
                sc_used);
}

static unsigned int mix(unsigned int from, unsigned int to, unsigned int part, unsigned int whole)
{
    unsigned int colour = 0;
    for (int shift = 0; shift <= 16; shift += 8) {
        const unsigned int first = (from >> shift) & 0xff;
        const unsigned int second = (to >> shift) & 0xff;
        colour |= (first * (whole - part) + second * part) / whole << shift;
    }
    return colour;
}

// A unit with less health has a dimmer colour.
static unsigned int colourOf(const Unit& unit)
{
    const unsigned int most = static_cast<unsigned int>(unit.kind->health);
    return mix(sc_dim, sc_armies[unit.army], static_cast<unsigned int>(unit.health), most);
}

// Draws the field of the battle as large as this area allows. Returns the height of the drawing.
static float drawField(Painter& painter, const Battle& battle, float x, float y, float width, float height)
{
    const Level& level = battle.level();
    const float scale = std::min(width / level.width, height / level.height);
    const float dot = std::max(4.0f, scale);
    const float fieldWidth = level.width * scale;
    const float fieldHeight = level.height * scale;
    painter.box(x, y, width, fieldHeight, sc_ground);
    const float left = x + (width - fieldWidth) / 2;
    for (const Unit* unit : battle.units()) {
        painter.box(left + unit->x / level.width * (fieldWidth - dot),
                    y + unit->y / level.height * (fieldHeight - dot), dot, dot, colourOf(*unit));
    }
    return fieldHeight;
}

static std::string outcomeOf(const Battle& battle)
{
    const Level& level = battle.level();
    const int winner = battle.winner();
    return winner < 0 ? Compose(sc_drawn, Text(level.title))
                      : Compose(sc_won, Text(level.title), Text(level.armies[winner]));
}

static void drawBattles(Painter& painter, const Campaign& campaign, float x, float width)
{
    static const float line = 20;
    const Battle& battle = *campaign.battles().back();
    const Level& level = battle.level();
    painter.text(x, sc_top + 8, width, 20, ALIGN_LEFT, sc_bright, Text(level.title), true);
    for (int army = 0; army < 2; ++army) {
        painter.text(x + static_cast<float>(army) * width / 2, sc_top + 36, width / 2, 13,
                     army == 0 ? ALIGN_LEFT : ALIGN_RIGHT, sc_armies[army],
                     Compose(sc_army, Text(level.armies[army]), battle.left(army), battle.atStart(army)));
    }
    const float room = painter.height() - sc_top - sc_footer - 280;
    float y = sc_top + 52 + drawField(painter, battle, x, sc_top + 52, width, room) + line;
    for (const auto& each : campaign.battles()) {
        if (each->isOver()) {
            painter.text(x, y, width, 13, ALIGN_LEFT, sc_plain, outcomeOf(*each));
            y += line;
        }
    }
}

static std::string keyText(const Input& input)
{
    if (!input.hasKey) {
        return Text(sc_none);
    }
    const bool hasSign = input.key > ' ' && input.key < 127;
    return hasSign ? Compose(sc_keySign, input.macKey, input.key, static_cast<int>(input.key))
                   : Compose(sc_key, input.macKey, input.key);
}

static std::string mouseText(const Input& input)
{
    std::string text = Compose(sc_place, input.mouseX, input.mouseY);
    text += std::string(", ") + Text(input.isCaptured ? sc_captured : sc_released);
    text += (input.mouseButtons & 1u) ? std::string(", ") + Text(sc_left) : "";
    text += (input.mouseButtons & 2u) ? std::string(", ") + Text(sc_right) : "";
    return text;
}

static void drawNotes(Painter& painter, const Input& input, float x, float width)
{
    static const float line = 22;
    static const float caption = 84;
    const struct {
        const char* caption;
        std::string text;
    } rows[] = {{sc_lastKey, keyText(input)},
                {sc_mouse, mouseText(input)},
                {sc_cursor, Text(input.isCursorShown ? sc_shown : sc_hidden)},
                {sc_window, Text(input.isFullScreen ? sc_full : sc_framed)}};
    float y = painter.height() - sc_footer - 6 * line;
    for (const char* text : {sc_aboutBars, sc_aboutFallback}) {
        painter.text(x, y, width, 12, ALIGN_LEFT, sc_dim, Text(text));
        y += line - 4;
    }
    y += 8;
    for (const auto& row : rows) {
        painter.text(x, y, caption, 13, ALIGN_LEFT, sc_dim, Text(row.caption));
        painter.text(x + caption, y, width - caption, 13, ALIGN_LEFT, sc_plain, row.text);
        y += line;
    }
}

static void drawKeys(Painter& painter, const Input& input)
{
    const struct {
        const char* key;
        const char* text;
    } keys[] = {{"F", input.isFullScreen ? sc_pressFramed : sc_full},
                {"C", input.isCaptured ? sc_pressRelease : sc_pressCapture},
                {"H", input.isCursorShown ? sc_pressHide : sc_pressShow},
                {"Esc", sc_pressEnd}};
    const float y = painter.height() - sc_footer / 2;
    const float width = (painter.width() - 2 * sc_margin) / 4;
    float x = sc_margin;
    for (const auto& key : keys) {
        painter.box(x, y - 10, 34, 20, sc_edge);
        painter.text(x, y, 34, 12, ALIGN_CENTRE, sc_bright, key.key, true);
        painter.text(x + 44, y, width - 54, 13, ALIGN_LEFT, sc_plain, Text(key.text));
        x += width;
    }
}

static unsigned int shadeOf(float cell)
{
    return static_cast<unsigned int>(ceilf(cell * static_cast<float>(sc_shades)));
}

// Adjacent cells of the same shade become one box.
static void drawCells(Painter& painter, const std::vector<float>& cells, float x, float y, float width, float height)
{
    const float step = width / static_cast<float>(cells.size());
    for (size_t begin = 0, end = 0; begin < cells.size(); begin = end) {
        const unsigned int shade = shadeOf(cells[begin]);
        while (end < cells.size() && shadeOf(cells[end]) == shade) {
            ++end;
        }
        painter.box(x + step * static_cast<float>(begin), y, step * static_cast<float>(end - begin), height,
                    mix(sc_unused, sc_used, shade, sc_shades));
    }
}

// Draws the bank and, to its right in the same scale, its fallback blocks.
static void drawBar(Painter& painter, const BankBar& bank, float x, float y, float width, float height)
{
    const float whole = static_cast<float>(bank.size) + static_cast<float>(bank.fallback);
    const float inside = whole > 0 ? width * static_cast<float>(bank.size) / whole : 0;
    drawCells(painter, bank.cells, x, y, inside, height);
    if (bank.fallback > 0) {
        painter.box(x + inside, y, width - inside, height, sc_outside);
    }
}

static void drawBank(Painter& painter, const BankBar& bank, float x, float y, float width, float height)
{
    const float size = std::min(12.0f, height * 0.4f);
    const float middle = y + height * 0.22f;
    painter.text(x, middle, width * 0.3f, size, ALIGN_LEFT, sc_bright, bank.name);
    if (bank.blocks > 0) {
        painter.text(x + width * 0.3f, middle, width * 0.22f, size, ALIGN_RIGHT, sc_dim,
                     bank.blocks == 1 ? Text(sc_oneBlock) : Compose(sc_blocks, Grouped(bank.blocks).c_str()));
    }
    if (bank.fallback > 0) {
        painter.text(x + width * 0.52f, middle, width * 0.18f, size, ALIGN_RIGHT, sc_outside,
                     Compose(sc_more, InKiB(bank.fallback).c_str()));
    }
    painter.text(x + width * 0.7f, middle, width * 0.3f, size, ALIGN_RIGHT, sc_plain,
                 Compose(sc_numbers, InKiB(bank.used).c_str(), InKiB(bank.size).c_str()));
    drawBar(painter, bank, x, y + height * 0.46f, width, height * 0.34f);
}

static void drawLegend(Painter& painter, float x, float y, float width)
{
    static const struct {
        const char* text;
        unsigned int colour;
    } entries[] = {{sc_inUse, sc_used}, {sc_free, sc_unused}, {sc_fallback, sc_outside}};
    const float step = width / 3;
    for (const auto& entry : entries) {
        painter.box(x, y - 5, 10, 10, entry.colour);
        painter.text(x + 16, y, step - 22, 12, ALIGN_LEFT, sc_plain, Text(entry.text));
        x += step;
    }
}

static void drawBanks(Painter& painter, const std::vector<BankBar>& banks, float x, float width)
{
    painter.text(x, sc_top + 8, width * 0.4f, 14, ALIGN_LEFT, sc_bright, Text(sc_banks), true);
    drawLegend(painter, x + width * 0.4f, sc_top + 8, width * 0.6f);
    const float top = sc_top + 28;
    const float room = painter.height() - sc_footer - top;
    const float row = std::min(48.0f, room / static_cast<float>(banks.size()));
    float y = top;
    for (const BankBar& bank : banks) {
        drawBank(painter, bank, x, y, width, row);
        y += row;
    }
}

Picture LayOut(const Scene& scene, float width, float height)
{
    Painter painter(width, height);
    const float battles = painter.width() * sc_split - sc_margin;
    const float banks = painter.width() - battles - 3.5f * sc_margin;
    drawHeader(painter, scene);
    drawBattles(painter, scene.campaign, sc_margin, battles);
    drawNotes(painter, scene.input, sc_margin, battles);
    drawBanks(painter, scene.banks, sc_margin * 2.5f + battles, banks);
    drawKeys(painter, scene.input);
    return painter.picture();
}
