#include "demo/battle.h"

#include "core/allocator.h"

#include <algorithm>
#include <math.h>

static const float sc_shot = 4; // fields; a hit from a unit with this reach is a shot

Battle::Battle(const Level& level, const BankPlans& banks) : m_level(level), m_banks(banks), m_random(level.seed)
{
    for (const Squad& squad : level.squads) {
        place(squad);
    }
}

Battle::~Battle()
{
    for (Unit* unit : m_units) {
        FreeAlignedInBank(m_banks.unitBank, unit);
    }
}

// Returns a number from 0 to below - 1. Uses the high bits of the linear congruential generator, because its low bits
// repeat after few steps.
unsigned int Battle::random(unsigned int below)
{
    m_random = m_random * 1664525u + 1013904223u;
    return (m_random >> 16) % below;
}

float Battle::randomUpTo(float limit)
{
    return static_cast<float>(random(1001)) * limit / 1000.0f;
}

// Makes an object in the bank. A block may begin at an address that is not aligned for the object (docs/surprises.md).
template <class Object>
static Object* makeIn(int bank, unsigned int line)
{
    return ::new (AllocAlignedInBank(bank, sizeof(Object), alignof(Object), "demo/battle", line)) Object();
}

void Battle::place(const Squad& squad)
{
    for (int number = 0; number < squad.count; ++number) {
        const float spread = number == 0 ? 0 : squad.spread;
        const float x = squad.x - spread + randomUpTo(2 * spread);
        const float y = squad.y - spread + randomUpTo(2 * spread);
        join(*squad.kind, squad.army, x, y);
    }
}

void Battle::join(const UnitKind& kind, int army, float x, float y)
{
    Unit* unit = makeIn<Unit>(m_banks.unitBank, __LINE__);
    unit->kind = &kind;
    unit->army = army;
    unit->health = kind.health;
    unit->x = unit->lastX = std::min(std::max(x, 0.0f), m_level.width);
    unit->y = unit->lastY = std::min(std::max(y, 0.0f), m_level.height);
    unit->number = ++m_made;
    m_started[army] += 1;
    m_units.push_back(unit);
}

void Battle::playFrame()
{
    m_lastHit = nullptr;
    for (Unit* unit : m_units) {
        unit->lastX = unit->x;
        unit->lastY = unit->y;
    }
    if (isOver()) {
        return;
    }
    for (Unit* unit : m_units) {
        if (unit->health > 0) {
            act(*unit);
        }
    }
    bury();
    ++m_frames;
}

static float distance(const Unit& from, const Unit& to)
{
    const float x = to.x - from.x;
    const float y = to.y - from.y;
    return sqrtf(x * x + y * y);
}

void Battle::act(Unit& unit)
{
    unit.pause -= unit.pause > 0;
    Unit* enemy = findEnemy(unit);
    if (!enemy) {
        return;
    }
    const float away = distance(unit, *enemy);
    if (away > unit.kind->reach) {
        walk(unit, *enemy, away);
    } else if (unit.pause == 0) {
        hit(unit, *enemy);
    }
}

void Battle::walk(Unit& unit, const Unit& enemy, float away)
{
    const float pace = unit.kind->flies ? 1 : m_level.paceAt(unit.x, unit.y);
    const float step = std::min(unit.kind->speed * pace, away);
    unit.x += (enemy.x - unit.x) * step / away;
    unit.y += (enemy.y - unit.y) * step / away;
}

void Battle::hit(Unit& unit, Unit& enemy)
{
    const UnitKind& kind = *unit.kind;
    const int span = kind.mostDamage - kind.leastDamage + 1;
    const int damage = kind.leastDamage + static_cast<int>(random(static_cast<unsigned int>(span)));
    enemy.health -= std::max(damage - enemy.kind->armour, 1);
    unit.pause = kind.pause;
    ++m_hits;
    Hit* hit = makeIn<Hit>(m_banks.frameBank, __LINE__); // freed with its bank
    *hit = {unit.x, unit.y, enemy.x, enemy.y, unit.army, kind.reach >= sc_shot, enemy.health <= 0, m_lastHit};
    m_lastHit = hit;
}

// Returns the nearest enemy that the unit can hit, now or after a walk towards the enemy; null if it can hit no enemy.
Unit* Battle::findEnemy(const Unit& unit) const
{
    Unit* nearest = nullptr;
    float shortest = 0;
    for (Unit* other : m_units) {
        const float away = distance(unit, *other);
        const bool canHit = other->army != unit.army && other->health > 0 && away >= unit.kind->nearest &&
                            (unit.kind->hitsFlying || !other->kind->flies);
        if (canHit && (!nearest || away < shortest)) {
            nearest = other;
            shortest = away;
        }
    }
    return nearest;
}

void Battle::bury()
{
    const auto firstDead =
        std::stable_partition(m_units.begin(), m_units.end(), [](const Unit* unit) { return unit->health > 0; });
    for (auto dead = firstDead; dead != m_units.end(); ++dead) {
        FreeAlignedInBank(m_banks.unitBank, *dead);
    }
    m_units.erase(firstDead, m_units.end());
}

bool Battle::isOver() const
{
    return m_frames == static_cast<unsigned int>(m_level.frames) || left(0) == 0 || left(1) == 0;
}

int Battle::left(int army) const
{
    return static_cast<int>(
        std::count_if(m_units.begin(), m_units.end(), [army](const Unit* unit) { return unit->army == army; }));
}

int Battle::winner() const
{
    if (left(0) > 0 && left(1) > 0) {
        return -1;
    }
    return left(0) > 0 ? 0 : 1;
}
