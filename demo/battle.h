// A battle of two armies on the field of one level.
//
// In each frame, each unit hits the nearest enemy that it can hit, or walks towards that enemy. A battle ends in the
// same way on every host: it computes in single precision, always in the same order, and has its own random numbers.
//
// Each unit is a block of a heap bank. The block is freed when the unit dies, or when the battle is destroyed.
#pragma once

#include "demo/gamedata.h"

struct Unit {
    void* block; // the bank's block that contains this unit
    const UnitKind* kind;
    int army;
    int health;
    int pause; // frames until the unit can hit again
    float x, y;
};

class Battle {
public:
    Battle(const Level& level, int unitBank);
    ~Battle();

    Battle(const Battle&) = delete;
    Battle& operator=(const Battle&) = delete;

    void playFrame();
    bool isOver() const; // an army has no units left, or the level's number of frames was played

    const Level& level() const { return m_level; }
    const std::vector<Unit*>& units() const { return m_units; } // the units that are alive
    int left(int army) const;                                   // the number of units alive
    int atStart(int army) const;
    int winner() const;                              // the army, 0 or 1; -1 while both armies have units
    unsigned int frames() const { return m_frames; } // played
    unsigned int hits() const { return m_hits; }

private:
    void place(const Squad& squad);
    void act(Unit& unit);
    Unit* findEnemy(const Unit& unit) const;
    void bury();
    unsigned int random(unsigned int below);
    float randomUpTo(float limit);

    const Level& m_level;
    const int m_unitBank;
    std::vector<Unit*> m_units;
    unsigned int m_random;
    unsigned int m_frames = 0;
    unsigned int m_hits = 0;
};
