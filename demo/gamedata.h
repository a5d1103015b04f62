// The units and levels of the game, read from Game/units.txt and Game/levels.txt.
#pragma once

#include "core/hashtable.h"

#include <deque>
#include <string>
#include <vector>

class DataFile;

struct UnitKind {
    std::string name;  // the name that levels.txt uses
    std::string title; // a key of the string table
    std::string symbol;
    int health = 0;
    int armour = 0; // subtracted from the damage of each hit
    int leastDamage = 0;
    int mostDamage = 0;
    int pause = 1;     // frames from one hit to the next
    float speed = 0;   // fields per frame
    float reach = 1;   // fields
    float nearest = 0; // fields; the unit can't hit an enemy that is closer
    bool flies = false;
    bool hitsFlying = false;
};

// Some units of one kind.
struct Squad {
    int army = 0; // 0 or 1
    const UnitKind* kind = nullptr;
    int count = 0;
    float x = 0, y = 0; // the position of the first unit, in fields
    float spread = 1;   // the largest distance of the other units from there, in fields on each axis
};

struct Level {
    std::string title;
    std::string armies[2];
    float width = 0, height = 0; // fields
    int frames = 0;
    unsigned int seed = 0; // of the battle's random numbers
    std::vector<Squad> squads;
};

class GameData {
public:
    GameData() : m_kindsByName(61, 128) {}

    // Each returns false on a fault; file.fault() describes the fault. Call readUnits first: levels name units.
    bool readUnits(DataFile& file);
    bool readLevels(DataFile& file);

    const std::deque<UnitKind>& kinds() const { return m_kinds; }
    const std::vector<Level>& levels() const { return m_levels; }

private:
    Squad readSquad(DataFile& file, const Level& level);

    std::deque<UnitKind> m_kinds; // a deque, because squads keep pointers to its elements
    HashTable<UnitKind> m_kindsByName;
    std::vector<Level> m_levels;
};
