// The shapes, grounds, units and levels of the game, read from shapes.txt, grounds.txt, units.txt and levels.txt.
#pragma once

#include "demo/picture.h"

#include "core/hashtable.h"

#include <deque>
#include <string>
#include <vector>

class DataFile;

// A filled outline of a drawing. The point 0, 0 of a drawing is the place where the unit stands. x grows to the
// right, the direction in which the unit looks; y grows downward. A field is 10 wide.
struct Part {
    bool isArmys = false; // true: the part has the army's colour; false: it has `colour`
    unsigned int colour = 0;
    float alpha = 1;
    bool isRound = false;
    Outline outline;
};

struct Drawing {
    std::string name;
    std::vector<Part> parts; // from back to front
};

// A kind of terrain.
struct Ground {
    std::string letter;
    unsigned int colour = 0;
    unsigned int edge = 0; // the colour of its border
    float border = 0;      // width of the border, in fields
    float pace = 1;        // of a unit that walks here; 1 is its full speed
    std::string over;      // the letters of the grounds that lie below this one, such as the water below a bridge
    std::string shape;     // the name of a drawing that is scattered over the ground; may be empty
    const Drawing* drawing = nullptr; // the drawing with the name `shape`
    int often = 0;                    // how many of 100 fields have that drawing
};

struct UnitKind {
    std::string name;                     // the name that levels.txt uses
    std::string title;                    // a key of the string table
    std::string shape;                    // the names of its drawings, from back to front, with blanks between them
    std::vector<const Drawing*> drawings; // the drawings with these names
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
    float spread = 1;   // the largest distance of other units from the first one, in fields on each axis
};

static const size_t sc_mostReserves = 3; // kinds of units that the player may place in a level

struct Level {
    std::string title;
    std::string armies[2];
    float width = 0, height = 0; // fields
    int frames = 0;
    unsigned int seed = 0; // of the battle's random numbers
    std::vector<Squad> squads;
    std::vector<Squad> reserves;   // the units that the player may place; only kind and count are used
    std::vector<std::string> rows; // a letter for each field: its ground. Empty: all fields have the first ground
    const std::deque<Ground>* grounds = nullptr;

    // Returns the index of the ground of the field x, y. Outside of the map, returns the ground of the nearest field.
    size_t groundAt(int x, int y) const;
    float paceAt(float x, float y) const;
};

class GameData {
public:
    GameData() : m_kindsByName(61, 128) {}

    // Each returns false on a fault; file.fault() describes the fault. Call them in this order: each function uses
    // names that the functions before it have read.
    bool readShapes(DataFile& file);
    bool readGrounds(DataFile& file);
    bool readUnits(DataFile& file);
    bool readLevels(DataFile& file);

    const std::deque<UnitKind>& kinds() const { return m_kinds; }
    const std::vector<Level>& levels() const { return m_levels; }
    const std::deque<Ground>& grounds() const { return m_grounds; }
    const Drawing* findDrawing(const std::string& name) const; // null when there is none

private:
    Squad readSquad(DataFile& file, const Level& level, bool isReserve);
    void readUnit(DataFile& file, UnitKind* kind);

    std::deque<Drawing> m_drawings;
    std::deque<Ground> m_grounds;
    std::deque<UnitKind> m_kinds; // a deque, because squads keep pointers to its elements
    HashTable<UnitKind> m_kindsByName;
    std::vector<Level> m_levels;
};
