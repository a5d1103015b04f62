#include "demo/gamedata.h"

#include "demo/datafile.h"

#include <algorithm>
#include <sstream>

static const size_t sc_longestText = 60;
static const size_t sc_longestRow = 255;
static const float sc_widestField = 1000;

size_t Level::groundAt(int x, int y) const
{
    if (rows.empty()) {
        return 0;
    }
    const std::string& row = rows[std::min<size_t>(std::max(y, 0), rows.size() - 1)];
    const char letter = row[std::min<size_t>(std::max(x, 0), row.size() - 1)];
    size_t index = 0;
    while ((*grounds)[index].letter[0] != letter) { // readLevels refuses letters that no ground has
        ++index;
    }
    return index;
}

float Level::paceAt(float x, float y) const
{
    return rows.empty() ? 1 : (*grounds)[groundAt(static_cast<int>(x), static_cast<int>(y))].pace;
}

const Drawing* GameData::findDrawing(const std::string& name) const
{
    const auto found = std::find_if(m_drawings.begin(), m_drawings.end(),
                                    [&](const Drawing& drawing) { return drawing.name == name; });
    return found != m_drawings.end() ? &*found : nullptr;
}

static Part readPart(DataFile& file)
{
    Part part;
    while (file.nextLine()) {
        file.readBool("army", &part.isArmys) || file.readColour("colour", &part.colour) ||
            file.readFloat("alpha", 0, 1, &part.alpha) || file.readBool("round", &part.isRound) ||
            file.readPoints("points", &part.outline) || file.refuseLine();
    }
    file.require(!part.outline.empty(), "points = string");
    return part;
}

bool GameData::readShapes(DataFile& file)
{
    while (file.nextBlock("shape")) {
        Drawing drawing;
        while (file.nextLine()) {
            if (file.beginBlock("part")) {
                drawing.parts.push_back(readPart(file));
            } else {
                file.readString("name", &drawing.name, sc_longestText) || file.refuseLine();
            }
        }
        file.require(!drawing.name.empty(), "name = string");
        m_drawings.push_back(drawing);
    }
    return file.isGood();
}

bool GameData::readGrounds(DataFile& file)
{
    while (file.nextBlock("ground")) {
        Ground ground;
        while (file.nextLine()) {
            file.readString("letter", &ground.letter, 1) || file.readColour("colour", &ground.colour) ||
                file.readColour("edge", &ground.edge) || file.readFloat("border", 0, 1, &ground.border) ||
                file.readFloat("pace", 0, 1, &ground.pace) || file.readString("over", &ground.over, sc_longestText) ||
                file.readString("shape", &ground.shape, sc_longestText) ||
                file.readInt("often", 0, 100, &ground.often) || file.refuseLine();
        }
        file.require(!ground.letter.empty(), "letter = string");
        ground.drawing = findDrawing(ground.shape);
        file.require(ground.shape.empty() || ground.drawing, "shape = string, from shapes.txt");
        m_grounds.push_back(ground);
    }
    file.require(!m_grounds.empty(), "ground");
    return file.isGood();
}

void GameData::readUnit(DataFile& file, UnitKind* kind)
{
    while (file.nextLine()) {
        file.readString("name", &kind->name, sc_longestText) ||
            file.readString("title", &kind->title, sc_longestText) ||
            file.readString("shape", &kind->shape, sc_longestText) ||
            file.readInt("health", 1, 10000, &kind->health) || file.readInt("armour", 0, 1000, &kind->armour) ||
            file.readInts("damage", 0, 1000, &kind->leastDamage, &kind->mostDamage) ||
            file.readInt("pause", 1, 100, &kind->pause) || file.readFloat("speed", 0, 10, &kind->speed) ||
            file.readRange("reach", 0, 100, &kind->reach, &kind->nearest) || file.readBool("flies", &kind->flies) ||
            file.readBool("hitsFlying", &kind->hitsFlying) || file.refuseLine();
    }
    file.require(!kind->name.empty(), "name = string");
    file.require(!kind->title.empty(), "title = string");
    file.require(kind->health > 0, "health = int32");
    file.require(kind->mostDamage > 0, "damage = int32 int32");
    std::istringstream names(kind->shape);
    for (std::string name; names >> name;) {
        kind->drawings.push_back(findDrawing(name));
        file.require(kind->drawings.back(), "shape = string, from shapes.txt");
    }
}

bool GameData::readUnits(DataFile& file)
{
    while (file.nextBlock("unit")) {
        m_kinds.emplace_back();
        UnitKind& kind = m_kinds.back();
        readUnit(file, &kind);
        file.require(!m_kindsByName.getData(kind.name.c_str()), "name = string, once");
        file.require(m_kindsByName.insert(kind.name.c_str(), &kind), "unit, 1..128");
    }
    file.require(!m_kinds.empty(), "unit");
    return file.isGood();
}

Squad GameData::readSquad(DataFile& file, const Level& level, bool isReserve)
{
    Squad squad;
    std::string unit;
    while (file.nextLine()) {
        file.readString("unit", &unit, sc_longestText) || file.readInt("count", 1, 100, &squad.count) ||
            (!isReserve && (file.readInt("army", 0, 1, &squad.army) ||
                            file.readFloats("position", 0, sc_widestField, &squad.x, &squad.y) ||
                            file.readFloat("spread", 0, 100, &squad.spread))) ||
            file.refuseLine();
        if (!unit.empty() && !squad.kind) {
            squad.kind = m_kindsByName.getData(unit.c_str());
            file.require(squad.kind, "unit = string, from units.txt");
        }
    }
    file.require(squad.kind, "unit = string");
    file.require(squad.count > 0, "count = int32");
    file.require(squad.x <= level.width && squad.y <= level.height, "position = float32 float32, inside the field");
    return squad;
}

static void readLevelLine(DataFile& file, Level* level)
{
    file.readString("title", &level->title, sc_longestText) ||
        file.readString("first", &level->armies[0], sc_longestText) ||
        file.readString("second", &level->armies[1], sc_longestText) ||
        file.readFloats("field", 1, sc_widestField, &level->width, &level->height) ||
        file.readInt("frames", 1, 100000, &level->frames) || file.readWord("seed", &level->seed) || file.refuseLine();
}

// Reads the line if it is a row of the ground. Returns true if it is one.
static bool readRow(DataFile& file, const std::deque<Ground>& grounds, Level* level)
{
    std::string letters, row;
    for (const Ground& ground : grounds) {
        letters += ground.letter;
    }
    if (!file.readString("row", &row, sc_longestRow)) {
        return false;
    }
    file.require(row.find_first_not_of(letters) == std::string::npos, "row = string, letters of grounds.txt");
    level->rows.push_back(row);
    return true;
}

bool GameData::readLevels(DataFile& file)
{
    while (file.nextBlock("level")) {
        Level level;
        level.grounds = &m_grounds;
        int units[2] = {0, 0};
        while (file.nextLine()) {
            if (file.beginBlock("squad")) {
                level.squads.push_back(readSquad(file, level, false));
                units[level.squads.back().army] += level.squads.back().count;
            } else if (file.beginBlock("reserve")) {
                level.reserves.push_back(readSquad(file, level, true));
            } else if (!readRow(file, m_grounds, &level)) {
                readLevelLine(file, &level);
            }
        }
        file.require(!level.title.empty(), "title = string");
        file.require(!level.armies[0].empty() && !level.armies[1].empty(), "first = string, second = string");
        file.require(level.width > 0, "field = float32 float32");
        file.require(level.frames > 0, "frames = int32");
        file.require(units[0] > 0 && units[1] > 0, "squad { army = 0 }, squad { army = 1 }");
        file.require(level.reserves.size() <= sc_mostReserves, "reserve, 0..3");
        m_levels.push_back(level);
    }
    file.require(!m_levels.empty(), "level");
    return file.isGood();
}
