// The units and levels of the game, as Game/units.txt and Game/levels.txt have them.
#pragma once

#include "core/hashtable.h"

#include <deque>
#include <string>
#include <vector>

class DataFile;

struct UnitKind {
    std::string name;  // by which levels call it
    std::string title; // a text to be translated
    std::string symbol;
    int health = 0;
    int armour = 0; // taken off each hit
    int leastDamage = 0;
    int mostDamage = 0;
    int pause = 1;     // frames from one hit to the next
    float speed = 0;   // fields a frame
    float reach = 1;   // fields
    float nearest = 0; // it can't hit what is closer
    bool flies = false;
    bool hitsFlying = false;
};

// Some units of one kind.
struct Squad {
    int army = 0; // 0 or 1
    const UnitKind* kind = nullptr;
    int count = 0;
    float x = 0, y = 0; // where its first unit stands
    float spread = 1;   // how far from there the others do
};

struct Level {
    std::string title;
    std::string armies[2];
    float width = 0, height = 0; // fields
    int frames = 0;
    unsigned int seed = 0; // of its random numbers
    std::vector<Squad> squads;
};

class GameData {
public:
    GameData() : m_kindsByName(61, 128) {}

    // Both false with the fault in the file. Units come first: levels name them.
    bool readUnits(DataFile& file);
    bool readLevels(DataFile& file);

    const std::deque<UnitKind>& kinds() const { return m_kinds; }
    const std::vector<Level>& levels() const { return m_levels; }

private:
    Squad readSquad(DataFile& file, const Level& level);

    std::deque<UnitKind> m_kinds; // which never moves them
    HashTable<UnitKind> m_kindsByName;
    std::vector<Level> m_levels;
};
