#include "demo/map.h"

#include <algorithm>
#include <math.h>

const unsigned int sc_armyColours[2] = {0x3f7fe0, 0xd8493a};

static const float sc_drawingsField = 10; // units of a drawing in the width of a field

MapView ViewMap(const Level& level, const Rect& pane)
{
    const float scale = std::min(pane.width / level.width, pane.height / level.height);
    return {pane, pane.x + (pane.width - level.width * scale) / 2, pane.y + (pane.height - level.height * scale) / 2,
            scale};
}

Shape FilledRect(const Rect& rect, unsigned int colour, float alpha)
{
    const float right = rect.x + rect.width;
    const float bottom = rect.y + rect.height;
    return {colour, alpha, false, 0, {{{rect.x, rect.y}, {right, rect.y}, {right, bottom}, {rect.x, bottom}}}};
}

// A round shape has curves that touch the middle of each edge. So a rectangle becomes nearly an ellipse.
Shape Ellipse(Point middle, float width, float height, unsigned int colour, float alpha)
{
    Shape shape = FilledRect({middle.x - width / 2, middle.y - height / 2, width, height}, colour, alpha);
    shape.isRound = true;
    return shape;
}

// ---- The ground

// Returns 0 to 1, always the same number for the same three arguments.
static float noise(int x, int y, unsigned int which)
{
    unsigned int hash = static_cast<unsigned int>(x) * 374761393u + static_cast<unsigned int>(y) * 668265263u;
    hash = (hash ^ (hash >> 13)) * 1274126177u + which * 2246822519u;
    hash = (hash ^ (hash >> 15)) * 2654435761u;
    return static_cast<float>(hash >> 16 & 0xfff) / 4095.0f;
}

// The fields that the pane shows. For each corner of a field, m_edges has the edges that begin at the corner: bit N
// is the edge in direction N.
class GroundMap {
public:
    GroundMap(const Level& level, const MapView& view) : m_level(level), m_view(view)
    {
        m_firstX = static_cast<int>(floorf((view.pane.x - view.left) / view.scale)) - 1;
        m_firstY = static_cast<int>(floorf((view.pane.y - view.top) / view.scale)) - 1;
        m_columns = static_cast<int>(view.pane.width / view.scale) + 4;
        m_rows = static_cast<int>(view.pane.height / view.scale) + 4;
    }

    // Returns the borders of all areas of this ground.
    std::vector<Outline> outlines(size_t ground);
    void addDrawings(size_t ground, Shapes* shapes) const;

private:
    bool isInside(int column, int row, size_t ground) const;
    void addEdges(size_t ground);
    Outline follow(int column, int row);
    Point cornerAt(int column, int row) const;
    unsigned char& edgesAt(int column, int row) { return m_edges[row * (m_columns + 1) + column]; }

    const Level& m_level;
    const MapView& m_view;
    int m_firstX, m_firstY; // the field in the upper left corner
    int m_columns, m_rows;
    std::vector<unsigned char> m_edges;
};

static const int sc_stepX[4] = {1, 0, -1, 0};
static const int sc_stepY[4] = {0, 1, 0, -1};

bool GroundMap::isInside(int column, int row, size_t ground) const
{
    if (column < 0 || row < 0 || column >= m_columns || row >= m_rows) {
        return false;
    }
    const size_t here = m_level.groundAt(m_firstX + column, m_firstY + row);
    return here == ground ||
           (*m_level.grounds)[here].over.find((*m_level.grounds)[ground].letter) != std::string::npos;
}

// Adds the edges of the areas of this ground. Each edge has its area on the right side.
void GroundMap::addEdges(size_t ground)
{
    m_edges.assign(static_cast<size_t>(m_columns + 1) * static_cast<size_t>(m_rows + 1), 0);
    for (int row = 0; row < m_rows; ++row) {
        for (int column = 0; column < m_columns; ++column) {
            if (isInside(column, row, ground)) {
                edgesAt(column, row) |= isInside(column, row - 1, ground) ? 0 : 1;
                edgesAt(column + 1, row) |= isInside(column + 1, row, ground) ? 0 : 2;
                edgesAt(column + 1, row + 1) |= isInside(column, row + 1, ground) ? 0 : 4;
                edgesAt(column, row + 1) |= isInside(column - 1, row, ground) ? 0 : 8;
            }
        }
    }
}

// Returns the corner's place in the view, moved a little at random so that the border looks natural.
Point GroundMap::cornerAt(int column, int row) const
{
    const int x = m_firstX + column;
    const int y = m_firstY + row;
    return m_view.at(static_cast<float>(x) + (noise(x, y, 1) - 0.5f) * 0.5f,
                     static_cast<float>(y) + (noise(x, y, 2) - 0.5f) * 0.5f);
}

// Returns the outline that begins at this corner, and clears the bits of its edges. Two areas that touch only at a
// corner get one common outline.
Outline GroundMap::follow(int column, int row)
{
    Outline outline;
    int direction = 0; // the first edge of an outline, from above, is the upper edge of a field
    while (edgesAt(column, row) & 1 << direction) {
        edgesAt(column, row) &= static_cast<unsigned char>(~(1 << direction));
        outline.push_back(cornerAt(column, row));
        column += sc_stepX[direction];
        row += sc_stepY[direction];
        for (int turn : {3, 0, 1}) {
            const int next = (direction + turn) % 4;
            if (edgesAt(column, row) & 1 << next) {
                direction = next;
                break;
            }
        }
    }
    return outline;
}

// Smooths an outline: moves each corner towards the corner before it and the corner after it.
static Outline smooth(const Outline& outline)
{
    Outline smooth;
    for (size_t index = 0; index < outline.size(); ++index) {
        const Point& last = outline[(index + outline.size() - 1) % outline.size()];
        const Point& next = outline[(index + 1) % outline.size()];
        smooth.push_back(
            {(last.x + 2 * outline[index].x + next.x) / 4, (last.y + 2 * outline[index].y + next.y) / 4});
    }
    return smooth;
}

std::vector<Outline> GroundMap::outlines(size_t ground)
{
    addEdges(ground);
    std::vector<Outline> outlines;
    for (int row = 0; row < m_rows; ++row) {
        for (int column = 0; column < m_columns; ++column) {
            while (edgesAt(column, row) & 1) {
                outlines.push_back(smooth(smooth(follow(column, row))));
            }
        }
    }
    return outlines;
}

void GroundMap::addDrawings(size_t ground, Shapes* shapes) const
{
    const Ground& kind = (*m_level.grounds)[ground];
    for (int y = m_firstY; kind.drawing && y < m_firstY + m_rows; ++y) {
        for (int x = m_firstX; x < m_firstX + m_columns; ++x) {
            if (m_level.groundAt(x, y) == ground && noise(x, y, 3) * 100 < static_cast<float>(kind.often)) {
                const float size = m_view.scale / sc_drawingsField * (0.85f + noise(x, y, 4) * 0.3f);
                const Point at = m_view.at(static_cast<float>(x) + 0.25f + noise(x, y, 5) * 0.5f,
                                           static_cast<float>(y) + 0.5f + noise(x, y, 6) * 0.4f);
                AddDrawing(*kind.drawing, at, noise(x, y, 7) < 0.5f ? size : -size, 0, 1, shapes);
            }
        }
    }
}

// Adds a dark area over the part of the pane outside of the field, and the edge of the field.
static void addSurroundings(const Level& level, const MapView& view, Shapes* shapes)
{
    Shape outside = FilledRect(view.pane, 0x10140f, 0.45f);
    const Rect field = {view.left, view.top, level.width * view.scale, level.height * view.scale};
    outside.outlines.push_back(FilledRect(field, 0).outlines[0]);
    shapes->push_back(outside);
}

Shapes GroundOf(const Level& level, const MapView& view)
{
    Shapes shapes;
    if (level.rows.empty()) {
        return {FilledRect(view.pane, 0x5d7f43)};
    }
    shapes.push_back(FilledRect(view.pane, (*level.grounds)[0].colour));
    GroundMap map(level, view);
    map.addDrawings(0, &shapes);
    for (size_t ground = 1; ground < level.grounds->size(); ++ground) {
        const Ground& kind = (*level.grounds)[ground];
        const std::vector<Outline> outlines = map.outlines(ground);
        if (kind.border > 0) {
            shapes.push_back({kind.edge, 1, true, kind.border * 2 * view.scale, outlines});
        }
        shapes.push_back({kind.colour, 1, true, 0, outlines});
    }
    for (size_t ground = 1; ground < level.grounds->size(); ++ground) {
        map.addDrawings(ground, &shapes);
    }
    addSurroundings(level, view, &shapes);
    return shapes;
}

// ---- The units

void AddDrawing(const Drawing& drawing, Point at, float size, unsigned int armyColour, float alpha, Shapes* shapes)
{
    for (const Part& part : drawing.parts) {
        Shape shape = {part.isArmys ? armyColour : part.colour, alpha * part.alpha, part.isRound, 0, {part.outline}};
        for (Point& point : shape.outlines[0]) {
            point = {at.x + point.x * size, at.y + point.y * fabsf(size)};
        }
        shapes->push_back(shape);
    }
}

void AddUnit(const UnitKind& kind, int army, Point at, float scale, float alpha, bool looksLeft, Shapes* shapes)
{
    const float size = scale / sc_drawingsField;
    for (const Drawing* drawing : kind.drawings) {
        AddDrawing(*drawing, at, looksLeft ? -size : size, sc_armyColours[army], alpha, shapes);
    }
}

// Several units may stand on the same place. Each unit is drawn a little beside its place, so that all can be seen.
static Point placeOf(const Unit& unit, float phase)
{
    const int number = static_cast<int>(unit.number);
    return {unit.lastX + (unit.x - unit.lastX) * phase + (noise(number, 0, 8) - 0.5f) * 2.2f,
            unit.lastY + (unit.y - unit.lastY) * phase + (noise(number, 0, 9) - 0.5f) * 2.2f};
}

static void addHealth(const Unit& unit, Point feet, float scale, Shapes* shapes)
{
    const float part = static_cast<float>(unit.health) / static_cast<float>(unit.kind->health);
    const float width = scale * (unit.kind->health > 200 ? 3.4f : 2.0f);
    const float height = std::max(2.0f, roundf(scale * 0.22f));
    const Rect bar = {feet.x - width / 2, feet.y + scale * 0.5f, width, height};
    shapes->push_back(FilledRect({bar.x - 1, bar.y - 1, bar.width + 2, bar.height + 2}, 0x15181a, 0.75f));
    shapes->push_back(FilledRect({bar.x, bar.y, bar.width * part, bar.height}, part > 0.6f   ? 0x6fdc5a
                                                                               : part > 0.3f ? 0xf0c43c
                                                                                             : 0xf0563c));
}

static void addUnit(const Unit& unit, const MapView& view, float phase, bool isSelected, Shapes* shapes)
{
    const Point place = placeOf(unit, phase);
    const Point feet = view.at(place.x, place.y);
    const float scale = view.scale;
    const float width = scale * (unit.kind->health > 200 ? 3.4f : 1.9f);
    shapes->push_back(Ellipse(feet, width, width * 0.45f, isSelected ? 0xffffff : sc_armyColours[unit.army],
                              isSelected ? 0.9f : 0.55f));
    shapes->push_back(Ellipse(feet, width * 0.8f, width * 0.34f, 0x1a2216, 0.6f));
    const float moved = fabsf(unit.x - unit.lastX) + fabsf(unit.y - unit.lastY);
    const float step = moved > 0 ? fabsf(sinf(phase * 6.2832f)) * 0.18f : 0;
    const bool looksLeft = unit.x == unit.lastX ? unit.army == 1 : unit.x < unit.lastX;
    AddUnit(*unit.kind, unit.army, {feet.x, feet.y - (step + (unit.kind->flies ? 1.6f : 0)) * scale}, scale, 1,
            looksLeft, shapes);
    addHealth(unit, feet, scale, shapes);
}

// A star with eight points.
static Shape starOf(Point middle, float size, unsigned int colour, float alpha)
{
    Shape star = {colour, alpha, false, 0, {{}}};
    for (int point = 0; point < 16; ++point) {
        const float radius = point % 2 == 0 ? size : size * 0.45f;
        const float angle = static_cast<float>(point) * 0.3927f;
        star.outlines[0].push_back({middle.x + cosf(angle) * radius, middle.y + sinf(angle) * radius});
    }
    return star;
}

static void addShot(const Hit& hit, const MapView& view, float phase, Shapes* shapes)
{
    const auto along = [&](float part) {
        const float height = 1.2f + 4.0f * part * (1 - part); // fields above the ground
        return view.at(hit.fromX + (hit.toX - hit.fromX) * part, hit.fromY + (hit.toY - hit.fromY) * part - height);
    };
    const Point front = along(phase);
    const Point tail = along(std::max(phase - 0.16f, 0.0f));
    shapes->push_back({0xfff3c8, 0.95f, false, std::max(1.5f, view.scale * 0.16f), {{tail, front}}});
}

// A shot flies in the first part of the frame. Then the hit flashes, and a dead unit leaves smoke.
static void addHit(const Hit& hit, const MapView& view, float phase, Shapes* shapes)
{
    static const float arrives = 0.6f;
    if (hit.isShot && phase < arrives) {
        addShot(hit, view, phase / arrives, shapes);
        return;
    }
    const float rest = 1 - phase;
    const Point at = view.at(hit.toX, hit.toY - 1);
    if (hit.isDeadly) {
        const float size = view.scale * (1.4f + 1.6f * phase);
        shapes->push_back(Ellipse({at.x - size * 0.3f, at.y}, size, size, 0x4a4642, 0.1f + 0.45f * rest));
        shapes->push_back(
            Ellipse({at.x + size * 0.3f, at.y - size * 0.3f}, size, size, 0x6b655e, 0.1f + 0.45f * rest));
    }
    shapes->push_back(starOf(at, view.scale * (0.5f + 0.5f * rest), 0xffb02e, 0.9f));
    shapes->push_back(starOf(at, view.scale * (0.25f + 0.25f * rest), 0xfff6d8, 0.95f));
}

Shapes UnitsOf(const Battle& battle, const MapView& view, float phase, const Unit* selected)
{
    std::vector<const Unit*> units(battle.units().begin(), battle.units().end());
    std::stable_sort(units.begin(), units.end(), [](const Unit* one, const Unit* other) {
        return one->kind->flies != other->kind->flies ? other->kind->flies : one->y < other->y;
    });
    Shapes shapes;
    for (const Unit* unit : units) {
        addUnit(*unit, view, phase, unit == selected, &shapes);
    }
    for (const Hit* hit = battle.lastHit(); hit; hit = hit->next) {
        addHit(*hit, view, phase, &shapes);
    }
    return shapes;
}
