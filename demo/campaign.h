// Plays the game's levels one after the other. Each level is one battle.
#pragma once

#include "demo/battle.h"

#include <memory>

class Campaign {
public:
    Campaign(const std::vector<Level>& levels, const BankPlans& banks) : m_levels(levels), m_banks(banks) {}

    // Plays a frame of the current battle. When that battle is over, the next level's battle begins first.
    void playFrame();

    Battle& battle() const { return *m_battles.back(); } // the current one; call playFrame first

    const std::vector<Level>& levels() const { return m_levels; }

    // The battles that have begun, the current one last.
    const std::vector<std::unique_ptr<Battle>>& battles() const { return m_battles; }

private:
    const std::vector<Level>& m_levels;
    const BankPlans& m_banks;
    std::vector<std::unique_ptr<Battle>> m_battles;
};
