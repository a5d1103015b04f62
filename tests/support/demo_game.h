// A game that has begun: one battle of three against three, in the memory of a game with no banks but the library's.
#pragma once

#include "demo/campaign.h"

class DemoGame {
public:
    DemoGame()
    {
        m_memory.defineCoreBank();
        m_memory.start();
        m_kind.health = 10;
        m_levels.resize(1);
        m_levels[0].title = "The Ford";
        m_levels[0].width = 60;
        m_levels[0].height = 24;
        m_levels[0].frames = 5;
        m_levels[0].squads = {{0, &m_kind, 3, 0, 0, 4}, {1, &m_kind, 3, 60, 24, 4}};
        m_campaign.playFrame();
    }

    Campaign& campaign() { return m_campaign; }

private:
    GameMemory m_memory;
    UnitKind m_kind;
    std::vector<Level> m_levels;
    BankPlans m_plans;
    Campaign m_campaign{m_levels, m_plans};
};
