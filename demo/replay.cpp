// A recording says when each block dies. A game knows as much: what is made for this frame, what for a moment, and
// what for the level. So the rules may ask for it.
#include "demo/replay.h"

#include "demo/gamememory.h"
#include "demo/report.h"

#include <string.h>

static const unsigned int sc_any = 0xffffffff;

static const BlockRule sc_scriptRules[] = {
    {sc_any, 0, BANK_FRAME},               // forgotten with its frame
    {48, 20, BANK_SCRIPT_VALUES},          // forgotten in a third of a second
    {64, 20, BANK_SCRIPT_OBJECTS},         // as well
    {1024, 20, BANK_SCRIPT_TABLES},        // as well
    {48, sc_any, BANK_LEVEL_VALUES},       // kept for longer
    {64, sc_any, BANK_LEVEL_OBJECTS},      // as well
    {1024, sc_any, BANK_LEVEL_TABLES},     // as well
    {sc_any, sc_any, BANK_SCRIPT_BUFFERS}, // large, and few
};

static const BlockRule sc_recordRules[] = {
    {sc_any, 0, BANK_FRAME},
    {128, sc_any, BANK_RECORD_FIELDS},
    {2048, sc_any, BANK_RECORD_ROWS},
    {sc_any, sc_any, BANK_RECORD_PAGES},
};

const Recording sc_scripts = {"lua-game", "lua-game.ctr", sc_scriptRules};
const Recording sc_records = {"sqlite", "sqlite.ctr", sc_recordRules};

Replay::Replay(const Recording& recording, const Session& session)
    : m_recording(recording), m_session(session), m_blocks(session.blocks.size())
{
}

bool Replay::playFrame(unsigned int frame)
{
    for (; m_operation < m_session.operations.size() && frameOf(m_operation) == frame; ++m_operation) {
        const unsigned int number = m_session.operations[m_operation];
        if (m_session.blocks[number].born == m_operation) {
            make(number);
        } else if (!free(number)) {
            return false;
        }
    }
    return true;
}

bool Replay::freeAll()
{
    for (unsigned int number = 0; number < m_blocks.size(); ++number) {
        if (m_blocks[number] && !free(number)) {
            return false;
        }
    }
    return true;
}

unsigned int Replay::liveAtEnd() const
{
    unsigned int count = 0;
    for (const SessionBlock& block : m_session.blocks) {
        count += block.died == sc_neverDied;
    }
    return count;
}

// Neighbours in time get different bytes.
static int fillOf(unsigned int number)
{
    return static_cast<unsigned char>(number * 37 + 1);
}

void Replay::make(unsigned int number)
{
    const SessionBlock& block = m_session.blocks[number];
    // A recording has no lines. Blocks of one size mostly come from one place, so the size stands for it.
    m_blocks[number] = g_MemoryPtr->alloc(bankOf(block), block.size, m_recording.name, block.size);
    memset(m_blocks[number], fillOf(number), block.size);
}

bool Replay::free(unsigned int number)
{
    const SessionBlock& block = m_session.blocks[number];
    unsigned char* bytes = static_cast<unsigned char*>(m_blocks[number]);
    const int bank = bankOf(block);
    // The first byte is right, and each byte is as the one before it.
    if (bytes[0] != fillOf(number) || memcmp(bytes, bytes + 1, block.size - 1) != 0) {
        ReportOverwritten(m_recording.name, number, block.size, bank);
        return false;
    }
    m_blocks[number] = nullptr;
    if (bank == BANK_FRAME) {
        return true; // they go all at once, at the frame's end
    }
    if (const int code = g_MemoryPtr->free(bank, bytes)) {
        ReportNotFreed(m_recording.name, number, block.size, bank, code);
        return false;
    }
    return true;
}

int Replay::bankOf(const SessionBlock& block) const
{
    const unsigned int frames = block.died == sc_neverDied ? sc_any : frameOf(block.died) - frameOf(block.born);
    const BlockRule* rule = m_recording.rules;
    while (block.size > rule->largest || frames > rule->frames) {
        ++rule;
    }
    return rule->bank;
}

unsigned int Replay::frameOf(unsigned int operation) const
{
    return static_cast<unsigned int>(static_cast<unsigned long long>(operation) * sc_frames /
                                     m_session.operations.size());
}
