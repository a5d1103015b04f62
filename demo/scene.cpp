// The picture: the armies above, the map, three panes below it, and the keys at the bottom.
//
// Sizes in this file are in units. In a view of 640 by 480 pixels a unit is a pixel. In a smaller view everything
// becomes smaller; in a larger view a unit grows more slowly than the view, so that there is more room for the map.
#include "demo/scene.h"

#include "demo/table.h"
#include "demo/texts.h"

#include <algorithm>
#include <math.h>

DEMO_TEXT(sc_frameOf, "Frame %u of %u");
DEMO_TEXT(sc_paused, "Paused");
DEMO_TEXT(sc_army, "%s: %d of %d");
DEMO_TEXT(sc_won, "%s: %s wins");
DEMO_TEXT(sc_drawn, "%s: undecided");
DEMO_TEXT(sc_battles, "Battles");
DEMO_TEXT(sc_clickUnit, "Click a unit for details.");
DEMO_TEXT(sc_damage, "damage");
DEMO_TEXT(sc_armour, "armour");
DEMO_TEXT(sc_reach, "reach");
DEMO_TEXT(sc_speed, "speed");
DEMO_TEXT(sc_ofMost, "%d of %d");
DEMO_TEXT(sc_toMost, "%d to %d");
DEMO_TEXT(sc_reserves, "Reserves");
DEMO_TEXT(sc_clickMap, "Click the left of the map.");
DEMO_TEXT(sc_banks, "Banks, KiB");
DEMO_TEXT(sc_inUse, "in use");
DEMO_TEXT(sc_free, "free");
DEMO_TEXT(sc_fallback, "fallback");
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
DEMO_TEXT(sc_full, "full screen");
DEMO_TEXT(sc_pressFramed, "back to the window");
DEMO_TEXT(sc_pressCapture, "captures the mouse");
DEMO_TEXT(sc_pressRelease, "releases the mouse");
DEMO_TEXT(sc_pressHide, "hides the cursor");
DEMO_TEXT(sc_pressShow, "shows the cursor");
DEMO_TEXT(sc_pressPause, "pause");
DEMO_TEXT(sc_pressGoOn, "goes on");
DEMO_TEXT(sc_pressEnd, "ends the game");

static const unsigned int sc_bright = 0xf2f0e8;
static const unsigned int sc_plain = 0xc3c6c4;
static const unsigned int sc_dim = 0x8f979b;
static const unsigned int sc_ground = 0x1b2024;
static const unsigned int sc_raised = 0x262d32;
static const unsigned int sc_edge = 0x3d464c;
static const unsigned int sc_used = 0x23796d;
static const unsigned int sc_unused = 0x2b3338;
static const unsigned int sc_outside = 0x9c6514;
static const unsigned int sc_gold = 0xe8b84a;
static const unsigned int sc_armyTexts[2] = {0x86b2ff, 0xff9384};
static const unsigned int sc_shades = 12; // number of colours of a bar's cells, from free to in use

static const float sc_header = 36;
static const float sc_strip = 130; // height of the three panes below the map
static const float sc_footer = 42;
static const float sc_margin = 10;
static const float sc_line = 14;
static const float sc_small = 10; // sizes of fonts
static const float sc_large = 12;
static const float sc_row = 26;       // height of a reserve's row
static const float sc_leastView = 16; // pixels; a smaller view shows nothing

static float unitOf(float width, float height)
{
    const float fit = std::min(width / 640.0f, height / 480.0f);
    return fit < 1 ? fit : powf(fit, 0.75f);
}

// The areas of the panes, in pixels.
struct Places {
    float unit;
    Rect header, map, details, reserves, banks, footer;
};

static Places placesOf(float width, float height)
{
    Places places = {unitOf(width, height), {}, {}, {}, {}, {}, {}};
    const float top = roundf(sc_header * places.unit);
    const float foot = roundf(height - sc_footer * places.unit);
    const float strip = roundf(height - (sc_footer + sc_strip) * places.unit);
    const float first = roundf(width * 0.24f);
    const float second = roundf(width * 0.50f);
    places.header = {0, 0, width, top};
    places.map = {0, top, width, strip - top};
    places.details = {0, strip, first, foot - strip};
    places.reserves = {first, strip, second - first, foot - strip};
    places.banks = {second, strip, width - second, foot - strip};
    places.footer = {0, foot, width, height - foot};
    return places;
}

// Fills a pane. Converts positions and sizes from units to pixels; the pane's upper left corner is 0, 0.
class Painter {
public:
    Painter(const Rect& area, float unit) : m_pane{area, nullptr, {FilledRect(area, sc_ground)}, {}}, m_unit(unit) {}

    float width() const { return m_pane.area.width / m_unit; }
    float height() const { return m_pane.area.height / m_unit; }
    Pane& pane() { return m_pane; }

    Point at(float x, float y) const { return {m_pane.area.x + x * m_unit, m_pane.area.y + y * m_unit}; }

    void box(float x, float y, float width, float height, unsigned int colour)
    {
        const Point corner = at(x, y);
        const Point end = at(x + width, y + height);
        const float left = roundf(corner.x), top = roundf(corner.y);
        m_pane.shapes.push_back(FilledRect({left, top, roundf(end.x) - left, roundf(end.y) - top}, colour));
    }

    void text(float x, float y, float width, float size, e_Align align, unsigned int colour, const std::string& text,
              bool isBold = false)
    {
        const Point corner = at(x, y);
        m_pane.labels.push_back({corner.x, corner.y, width * m_unit, size * m_unit, align, isBold, colour, text});
    }

    // A heading, and a line below the pane's upper edge.
    void heading(const std::string& title)
    {
        box(0, 0, width(), 1, sc_edge);
        text(sc_margin, 13, width() - 2 * sc_margin, sc_large, ALIGN_LEFT, sc_gold, title, true);
    }

    void unit(const UnitKind& kind, int army, float x, float y, float size)
    {
        AddUnit(kind, army, at(x, y), size * m_unit, 1, false, &m_pane.shapes);
    }

private:
    Pane m_pane;
    const float m_unit; // pixels per unit
};

static Pane headerOf(const Scene& scene, const Places& places)
{
    Painter painter(places.header, places.unit);
    const Battle& battle = scene.campaign.battle();
    const Level& level = battle.level();
    const float width = painter.width();
    const float middle = width * 0.2f;
    const float side = (width - middle) / 2 - 2 * sc_margin;
    for (int army = 0; army < 2; ++army) {
        const float x = army == 0 ? sc_margin : width - sc_margin - side;
        const float share = static_cast<float>(battle.left(army)) / static_cast<float>(battle.atStart(army));
        painter.text(x, 12, side, sc_large, army == 0 ? ALIGN_LEFT : ALIGN_RIGHT, sc_armyTexts[army],
                     Compose(sc_army, Text(level.armies[army]), battle.left(army), battle.atStart(army)), true);
        painter.box(x, 24, side, 5, sc_edge);
        painter.box(army == 0 ? x : x + side * (1 - share), 24, side * share, 5, sc_armyColours[army]);
    }
    const float x = (width - middle) / 2;
    painter.text(x, 12, middle, 14, ALIGN_CENTRE, sc_bright, Text(level.title), true);
    painter.text(x, 26, middle, sc_small, ALIGN_CENTRE, scene.input.isPaused ? sc_gold : sc_dim,
                 scene.input.isPaused ? Text(sc_paused) : Compose(sc_frameOf, scene.frame, scene.frames));
    return painter.pane();
}

// Returns the ground of the level. Makes it again only when the level, or the size or position of the pane has
// changed.
static std::shared_ptr<const Shapes> groundOf(const Level& level, const MapView& view)
{
    static const Level* s_level;
    static Rect s_pane;
    static std::shared_ptr<const Shapes> s_ground;
    const Rect& pane = view.pane;
    if (s_level != &level || s_pane.width != pane.width || s_pane.height != pane.height || s_pane.y != pane.y) {
        s_ground = std::make_shared<const Shapes>(GroundOf(level, view));
        s_level = &level;
        s_pane = pane;
    }
    return s_ground;
}

static Pane mapOf(const Scene& scene, const Places& places)
{
    const Battle& battle = scene.campaign.battle();
    const MapView view = ViewMap(battle.level(), places.map);
    Pane pane = {places.map, groundOf(battle.level(), view), {}, {}};
    pane.shapes = UnitsOf(battle, view, scene.phase, scene.player.selected());
    const Target target = TargetOf(battle.level(), scene.input);
    if (target.isField && scene.player.mayPlace(target.x, target.y)) {
        const UnitKind& kind = *battle.level().reserves[scene.player.chosen()].kind;
        AddUnit(kind, sc_playersArmy, view.at(target.x, target.y), view.scale, 0.6f, false, &pane.shapes);
    }
    return pane;
}

static std::string outcomeOf(const Battle& battle)
{
    const Level& level = battle.level();
    const int winner = battle.winner();
    return winner < 0 ? Compose(sc_drawn, Text(level.title))
                      : Compose(sc_won, Text(level.title), Text(level.armies[winner]));
}

// Draws a list of all battles: the finished battles with their outcome, the current battle in a bright colour, and
// the battles that have not begun.
static void drawBattles(Painter& painter, const Campaign& campaign)
{
    const float width = painter.width() - 2 * sc_margin;
    painter.heading(Text(sc_battles));
    float y = 32;
    for (size_t index = 0; index < campaign.levels().size() && y < painter.height() - 25; ++index) {
        const bool hasBegun = index < campaign.battles().size();
        const bool isOver = hasBegun && campaign.battles()[index]->isOver();
        painter.text(sc_margin, y, width, sc_small, ALIGN_LEFT,
                     isOver     ? sc_plain
                     : hasBegun ? sc_bright
                                : sc_dim,
                     isOver ? outcomeOf(*campaign.battles()[index]) : Text(campaign.levels()[index].title),
                     hasBegun && !isOver);
        y += sc_line + 2;
    }
    painter.text(sc_margin, painter.height() - 13, width, sc_small, ALIGN_LEFT, sc_dim, Text(sc_clickUnit));
}

static void drawUnit(Painter& painter, const Unit& unit, const Level& level)
{
    const UnitKind& kind = *unit.kind;
    const int health = std::max(unit.health, 0);
    const struct {
        const char* caption;
        std::string text;
    } rows[] = {{sc_damage, Compose(sc_toMost, kind.leastDamage, kind.mostDamage)},
                {sc_armour, std::to_string(kind.armour)},
                {sc_reach, WithTenths(kind.reach)},
                {sc_speed, WithTenths(kind.speed)}};
    const float width = painter.width() - 2 * sc_margin;
    const float left = sc_margin + 46;
    painter.heading(Text(kind.title));
    painter.text(sc_margin, 29, width, sc_small, ALIGN_LEFT, sc_armyTexts[unit.army], Text(level.armies[unit.army]));
    painter.box(sc_margin, 39, 40, 38, sc_raised);
    painter.unit(kind, unit.army, sc_margin + 19, 73, kind.health > 200 ? 7.5f : 11);
    painter.text(left, 47, width - 46, sc_small, ALIGN_LEFT, sc_bright, Compose(sc_ofMost, health, kind.health));
    painter.box(left, 57, width - 46, 6, sc_edge);
    painter.box(left, 57, (width - 46) * static_cast<float>(health) / static_cast<float>(kind.health), 6, 0x6fdc5a);
    float y = 85;
    for (const auto& row : rows) {
        painter.text(sc_margin, y, width * 0.6f, sc_small, ALIGN_LEFT, sc_dim, Text(row.caption));
        painter.text(sc_margin + width * 0.6f, y, width * 0.4f, sc_small, ALIGN_RIGHT, sc_bright, row.text);
        y += sc_line - 1.5f;
    }
}

static Pane detailsOf(const Scene& scene, const Places& places)
{
    Painter painter(places.details, places.unit);
    if (const Unit* unit = scene.player.selected()) {
        drawUnit(painter, *unit, scene.campaign.battle().level());
    } else {
        drawBattles(painter, scene.campaign);
    }
    return painter.pane();
}

static Pane reservesOf(const Scene& scene, const Places& places)
{
    Painter painter(places.reserves, places.unit);
    const float width = painter.width() - 2 * sc_margin;
    painter.heading(Text(sc_reserves));
    float y = sc_row;
    const std::vector<Squad>& reserves = scene.campaign.battle().level().reserves;
    for (size_t index = 0; index < reserves.size(); ++index) {
        const int left = scene.player.left(index);
        const unsigned int colour = left == 0 ? sc_dim : sc_bright;
        const bool isChosen = index == scene.player.chosen() && left > 0;
        painter.box(sc_margin, y, width, sc_row - 3, isChosen ? sc_gold : sc_raised);
        painter.box(sc_margin + 1, y + 1, width - 2, sc_row - 5, isChosen ? sc_edge : sc_raised);
        painter.text(sc_margin + 2, y + 12, 12, sc_small, ALIGN_CENTRE, sc_gold, std::to_string(index + 1), true);
        painter.unit(*reserves[index].kind, sc_playersArmy, sc_margin + 27, y + 19, 5.4f);
        painter.text(sc_margin + 43, y + 12, width - 57, sc_small, ALIGN_LEFT, colour,
                     Text(reserves[index].kind->title));
        painter.text(sc_margin + width - 16, y + 12, 12, sc_small, ALIGN_RIGHT, colour, std::to_string(left), true);
        y += sc_row;
    }
    painter.text(sc_margin, painter.height() - 13, width, sc_small, ALIGN_LEFT, sc_dim, Text(sc_clickMap));
    return painter.pane();
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

// Draws the bank and, to its right in the same scale, its fallback blocks. The bank's name and numbers lie on the bar.
static void drawBank(Painter& painter, const BankBar& bank, float x, float y, float width, float height)
{
    const float whole = static_cast<float>(bank.size) + static_cast<float>(bank.fallback);
    const float inside = whole > 0 ? width * static_cast<float>(bank.size) / whole : 0;
    drawCells(painter, bank.cells, x, y, inside, height);
    if (bank.fallback > 0) {
        painter.box(x + inside, y, width - inside, height, sc_outside);
    }
    const float size = std::min(sc_small - 0.5f, height * 0.8f);
    const std::string used = InKiB(bank.used);
    painter.text(x + 3, y + height / 2, width * 0.49f, size, ALIGN_LEFT, sc_bright, bank.name);
    painter.text(x + width * 0.5f, y + height / 2, width * 0.5f - 3, size, ALIGN_RIGHT, sc_bright,
                 used + (bank.fallback > 0 ? " + " + InKiB(bank.fallback) : " / " + InKiB(bank.size)));
}

static void drawLegend(Painter& painter, float x, float y, float width)
{
    static const struct {
        const char* text;
        unsigned int colour;
    } entries[] = {{sc_inUse, sc_used}, {sc_free, sc_unused}, {sc_fallback, sc_outside}};
    const float step = width / 3;
    for (const auto& entry : entries) {
        painter.box(x, y - 4, 8, 8, entry.colour);
        painter.text(x + 11, y, step - 13, sc_small, ALIGN_LEFT, sc_plain, Text(entry.text));
        x += step;
    }
}

static Pane banksOf(const Scene& scene, const Places& places)
{
    Painter painter(places.banks, places.unit);
    static const size_t columns = 2;
    const float width = painter.width() - 2 * sc_margin;
    painter.heading(Text(sc_banks));
    drawLegend(painter, sc_margin + width * 0.44f, 13, width * 0.56f);
    const size_t rows = (scene.banks.size() + columns - 1) / columns;
    const float row = std::min(24.0f, (painter.height() - 26) / static_cast<float>(std::max<size_t>(rows, 1)));
    const float column = (width - sc_margin) / columns;
    for (size_t index = 0; index < scene.banks.size(); ++index) {
        drawBank(painter, scene.banks[index], sc_margin + static_cast<float>(index / rows) * (column + sc_margin),
                 25 + static_cast<float>(index % rows) * row, column, row - std::min(2.0f, row / 8));
    }
    return painter.pane();
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

// Each key has as much room as its text needs, and an equal share of the rest.
static void drawKeys(Painter& painter, const Input& input)
{
    const struct {
        const char* key;
        std::string text;
    } keys[] = {{"F", Text(input.isFullScreen ? sc_pressFramed : sc_full)},
                {"P", Text(input.isPaused ? sc_pressGoOn : sc_pressPause)},
                {"C", Text(input.isCaptured ? sc_pressRelease : sc_pressCapture)},
                {"H", Text(input.isCursorShown ? sc_pressHide : sc_pressShow)},
                {"Esc", Text(sc_pressEnd)}};
    static const float letter = 6.2f; // the width of a letter, on average
    float needed = 0;
    for (const auto& key : keys) {
        needed += 36 + static_cast<float>(ColumnsOf(key.text)) * letter;
    }
    const float rest = std::max(0.0f, painter.width() - 2 * sc_margin - needed) / 5;
    float x = sc_margin;
    for (const auto& key : keys) {
        const float width = 6 + static_cast<float>(ColumnsOf(key.text)) * letter;
        painter.box(x, 5, 24, 15, sc_edge);
        painter.text(x, 12.5f, 24, sc_small, ALIGN_CENTRE, sc_bright, key.key, true);
        painter.text(x + 28, 12.5f, width, sc_small, ALIGN_LEFT, sc_plain, Text(key.text));
        x += 30 + width + rest;
    }
}

static Pane footerOf(const Scene& scene, const Places& places)
{
    Painter painter(places.footer, places.unit);
    const float half = painter.width() / 2;
    painter.box(0, 0, painter.width(), 1, sc_edge);
    drawKeys(painter, scene.input);
    painter.text(sc_margin, 31, 70, sc_small, ALIGN_LEFT, sc_dim, Text(sc_lastKey));
    painter.text(sc_margin + 72, 31, half - 92, sc_small, ALIGN_LEFT, sc_plain, keyText(scene.input));
    painter.text(half, 31, 50, sc_small, ALIGN_LEFT, sc_dim, Text(sc_mouse));
    painter.text(half + 52, 31, half - 62, sc_small, ALIGN_LEFT, sc_plain, mouseText(scene.input));
    return painter.pane();
}

Picture LayOut(const Scene& scene, float width, float height)
{
    if (width < sc_leastView || height < sc_leastView) {
        return {};
    }
    const Places places = placesOf(width, height);
    return {headerOf(scene, places),   mapOf(scene, places),   detailsOf(scene, places),
            reservesOf(scene, places), banksOf(scene, places), footerOf(scene, places)};
}

static bool isIn(const Rect& area, float x, float y)
{
    return x >= area.x && x < area.x + area.width && y >= area.y && y < area.y + area.height;
}

Target TargetOf(const Level& level, const Input& input)
{
    Target target;
    const float x = static_cast<float>(input.mouseX);
    const float y = input.height - 1 - static_cast<float>(input.mouseY);
    const Places places = placesOf(input.width, input.height);
    if (isIn(places.map, x, y)) {
        const MapView view = ViewMap(level, places.map);
        target.isField = true;
        target.x = (x - view.left) / view.scale;
        target.y = (y - view.top) / view.scale;
    } else if (isIn(places.reserves, x, y)) {
        const int row = static_cast<int>((y - places.reserves.y) / places.unit / sc_row) - 1;
        target.reserve = row < static_cast<int>(level.reserves.size()) ? row : -1;
    }
    return target;
}
