#include "demo/campaign.h"

void Campaign::playFrame()
{
    if ((m_battles.empty() || m_battles.back()->isOver()) && m_battles.size() < m_levels.size()) {
        m_battles.push_back(std::make_unique<Battle>(m_levels[m_battles.size()], m_banks));
    }
    m_battles.back()->playFrame();
}
