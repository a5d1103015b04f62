// A game that has begun: one battle of three against three, and two reserves. Its memory has no banks but the library's.
#pragma once

#include "demo/player.h"

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
        m_levels[0].reserves = {{0, &m_kind, 2, 0, 0, 0}, {0, &m_kind, 1, 0, 0, 0}};
        m_campaign.playFrame();
        m_player.beginFrame();
    }

    Campaign& campaign() { return m_campaign; }
    Player& player() { return m_player; }
    UnitKind& kind() { return m_kind; }

private:
    GameMemory m_memory;
    UnitKind m_kind;
    std::vector<Level> m_levels;
    BankPlans m_plans;
    Campaign m_campaign{m_levels, m_plans};
    Player m_player{m_campaign};
};
