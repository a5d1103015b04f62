// The player's part in a battle: selects a unit to see its details, and places the level's reserves.
#pragma once

#include "demo/campaign.h"

static const int sc_playersArmy = 0;

class Player {
public:
    explicit Player(Campaign& campaign) : m_campaign(campaign) {}

    void beginFrame();            // call it after Campaign::playFrame: a new battle has its own reserves
    void choose(size_t reserve);  // the reserve that a click places; ignored when the level has no such reserve
    void click(float x, float y); // a place of the field: selects the unit there; without one, places a unit
    bool mayPlace(float x, float y) const; // a unit of the chosen reserve, here

    size_t chosen() const { return m_chosen; }
    int left(size_t reserve) const { return m_left[reserve]; }
    const Unit* selected() const; // null when no unit is selected, or when it is dead

private:
    Campaign& m_campaign;
    size_t m_battle = 0; // the number of battles at the last beginFrame
    size_t m_chosen = 0;
    std::vector<int> m_left; // for each reserve of the level: the units not placed yet
    unsigned int m_selected = 0;
};
