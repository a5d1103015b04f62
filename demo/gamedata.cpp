#include "demo/gamedata.h"

#include "demo/datafile.h"

static const size_t sc_longestText = 60;
static const float sc_widestField = 1000;

static void readUnit(DataFile& file, UnitKind* kind)
{
    while (file.nextLine()) {
        file.readString("name", &kind->name, sc_longestText) ||
            file.readString("title", &kind->title, sc_longestText) || file.readString("symbol", &kind->symbol, 1) ||
            file.readInt("health", 1, 10000, &kind->health) || file.readInt("armour", 0, 1000, &kind->armour) ||
            file.readInts("damage", 0, 1000, &kind->leastDamage, &kind->mostDamage) ||
            file.readInt("pause", 1, 100, &kind->pause) || file.readFloat("speed", 0, 10, &kind->speed) ||
            file.readRange("reach", 0, 100, &kind->reach, &kind->nearest) || file.readBool("flies", &kind->flies) ||
            file.readBool("hitsFlying", &kind->hitsFlying) || file.refuseLine();
    }
    file.require(!kind->name.empty(), "name = string");
    file.require(!kind->title.empty(), "title = string");
    file.require(kind->symbol >= "a" && kind->symbol <= "z", "symbol = string, a..z");
    file.require(kind->health > 0, "health = int32");
    file.require(kind->mostDamage > 0, "damage = int32 int32");
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

Squad GameData::readSquad(DataFile& file, const Level& level)
{
    Squad squad;
    std::string unit;
    while (file.nextLine()) {
        file.readInt("army", 0, 1, &squad.army) || file.readString("unit", &unit, sc_longestText) ||
            file.readInt("count", 1, 100, &squad.count) ||
            file.readFloats("position", 0, sc_widestField, &squad.x, &squad.y) ||
            file.readFloat("spread", 0, 100, &squad.spread) || file.refuseLine();
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

bool GameData::readLevels(DataFile& file)
{
    while (file.nextBlock("level")) {
        Level level;
        int units[2] = {0, 0};
        while (file.nextLine()) {
            if (file.beginBlock("squad")) {
                level.squads.push_back(readSquad(file, level));
                units[level.squads.back().army] += level.squads.back().count;
            } else {
                readLevelLine(file, &level);
            }
        }
        file.require(!level.title.empty(), "title = string");
        file.require(!level.armies[0].empty() && !level.armies[1].empty(), "first = string, second = string");
        file.require(level.width > 0, "field = float32 float32");
        file.require(level.frames > 0, "frames = int32");
        file.require(units[0] > 0 && units[1] > 0, "squad { army = 0 }, squad { army = 1 }");
        m_levels.push_back(level);
    }
    file.require(!m_levels.empty(), "level");
    return file.isGood();
}
