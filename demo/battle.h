// A battle of two armies on the field of one level.
//
// Each frame each unit hits the nearest enemy it can, or walks towards it. All numbers are computed in single
// precision, in the same order, from random numbers of the battle's own: it ends the same way on every host.
//
// Units live in a heap bank, from the battle's start to its end or theirs.
#pragma once

#include "demo/gamedata.h"

struct Unit {
    void* block; // of the bank's, and around this
    const UnitKind* kind;
    int army;
    int health;
    int pause; // frames until it can hit again
    float x, y;
};

class Battle {
public:
    Battle(const Level& level, int unitBank);
    ~Battle();

    Battle(const Battle&) = delete;
    Battle& operator=(const Battle&) = delete;

    void playFrame();
    bool isOver() const; // for good, or because its time is up

    const Level& level() const { return m_level; }
    const std::vector<Unit*>& units() const { return m_units; } // those alive
    int left(int army) const;                                   // units
    int atStart(int army) const;
    int winner() const;                              // 0 or 1; -1 while both are there
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
