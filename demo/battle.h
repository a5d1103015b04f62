// A battle of two armies on the field of one level.
//
// In each frame, each unit hits the nearest enemy that it can hit, or walks towards that enemy. A battle ends in the
// same way on every host: it computes in single precision, always in the same order, and has its own random numbers.
//
// Each unit is a block of a heap bank. The block is freed when the unit dies, or when the battle is destroyed. Each hit is
// a block of the bank that the game empties at the end of the frame.
#pragma once

#include "demo/gamedata.h"
#include "demo/gamememory.h"

struct Unit {
    const UnitKind* kind;
    int army;
    int health;
    int pause; // frames until the unit can hit again
    float x, y;
    float lastX, lastY;  // before this frame
    unsigned int number; // from 1; no other unit of the battle has it
};

// A hit of this frame.
struct Hit {
    float fromX, fromY, toX, toY;
    int army; // of the unit that hits
    bool isShot;
    bool isDeadly;
    const Hit* next; // the previous hit of this frame; null for the first hit
};

class Battle {
public:
    Battle(const Level& level, const BankPlans& banks);
    ~Battle();

    Battle(const Battle&) = delete;
    Battle& operator=(const Battle&) = delete;

    void playFrame();
    void join(const UnitKind& kind, int army, float x, float y); // a new unit, with all its health
    bool isOver() const; // true when an army has no units left, or when all frames of the level were played

    const Level& level() const { return m_level; }
    const std::vector<Unit*>& units() const { return m_units; } // the units that are alive
    int left(int army) const;                                   // the number of units alive
    int atStart(int army) const { return m_started[army]; }     // all units of the army that have joined
    const Hit* lastHit() const { return m_lastHit; } // of this frame; valid until the frame bank is emptied
    int winner() const;                              // the army, 0 or 1; -1 while both armies have units
    unsigned int frames() const { return m_frames; } // played
    unsigned int hits() const { return m_hits; }

private:
    void place(const Squad& squad);
    void walk(Unit& unit, const Unit& enemy, float away);
    void hit(Unit& unit, Unit& enemy);
    void act(Unit& unit);
    Unit* findEnemy(const Unit& unit) const;
    void bury();
    unsigned int random(unsigned int below);
    float randomUpTo(float limit);

    const Level& m_level;
    const BankPlans& m_banks;
    std::vector<Unit*> m_units;
    const Hit* m_lastHit = nullptr;
    unsigned int m_made = 0;   // units so far
    int m_started[2] = {0, 0}; // units of each army so far
    unsigned int m_random;
    unsigned int m_frames = 0;
    unsigned int m_hits = 0;
};
