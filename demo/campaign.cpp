#include "demo/campaign.h"

#include "demo/texts.h"

DEMO_TEXT(sc_status, "%s: %d against %d");

void Campaign::playFrame()
{
    if ((m_battles.empty() || m_battles.back()->isOver()) && m_battles.size() < m_levels.size()) {
        m_battles.push_back(std::make_unique<Battle>(m_levels[m_battles.size()], m_banks.unitBank));
    }
    m_battles.back()->playFrame();
}

const char* Campaign::status() const
{
    const Battle& battle = *m_battles.back();
    return ComposeInBank(m_banks.frameBank, sc_status, Text(battle.level().title), battle.left(0), battle.left(1));
}
