#include "demo/player.h"

static const float sc_zone = 0.4f; // the share of the field, from its left edge, where the player may place units
static const float sc_near = 1.6f; // fields; a click at most this far from a unit selects it

void Player::beginFrame()
{
    if (m_battle == m_campaign.battles().size()) {
        return;
    }
    m_battle = m_campaign.battles().size();
    m_left.clear();
    for (const Squad& reserve : m_campaign.battle().level().reserves) {
        m_left.push_back(reserve.count);
    }
    m_chosen = 0;
    m_selected = 0;
}

void Player::choose(size_t reserve)
{
    m_chosen = reserve < m_left.size() ? reserve : m_chosen;
}

bool Player::mayPlace(float x, float y) const
{
    const Battle& battle = m_campaign.battle();
    const Level& level = battle.level();
    return m_chosen < m_left.size() && m_left[m_chosen] > 0 && !battle.isOver() && x >= 0 && y >= 0 &&
           x <= level.width * sc_zone && y <= level.height;
}

void Player::click(float x, float y)
{
    float nearest = sc_near * sc_near;
    unsigned int number = 0;
    for (const Unit* unit : m_campaign.battle().units()) {
        const float away = (unit->x - x) * (unit->x - x) + (unit->y - y) * (unit->y - y);
        if (away <= nearest) {
            nearest = away;
            number = unit->number;
        }
    }
    if (number == 0 && mayPlace(x, y)) {
        m_campaign.battle().join(*m_campaign.battle().level().reserves[m_chosen].kind, sc_playersArmy, x, y);
        m_left[m_chosen] -= 1;
        number = m_campaign.battle().units().back()->number;
    }
    m_selected = number;
}

const Unit* Player::selected() const
{
    for (const Unit* unit : m_campaign.battle().units()) {
        if (unit->number == m_selected) {
            return unit;
        }
    }
    return nullptr;
}
