// The levels of the game, one battle after the other.
#pragma once

#include "demo/battle.h"
#include "demo/gamememory.h"

#include <memory>

class Campaign {
public:
    Campaign(const std::vector<Level>& levels, const BankPlans& banks) : m_levels(levels), m_banks(banks) {}

    // A battle that is over makes way for the next one.
    void playFrame();

    // How things stand; in the frame's bank.
    const char* status() const;

    // Those that have begun. They stay, with the units that are left, until the end.
    const std::vector<std::unique_ptr<Battle>>& battles() const { return m_battles; }
    void end() { m_battles.clear(); }

private:
    const std::vector<Level>& m_levels;
    const BankPlans& m_banks;
    std::vector<std::unique_ptr<Battle>> m_battles;
};
