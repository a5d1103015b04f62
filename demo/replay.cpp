// The rules of the banks use the lifetime of a block. A recording has it, because it contains the operation that
// frees each block. A real game knows it, too: a block lives for a frame, for a short time or for the level.
#include "demo/replay.h"

#include "demo/options.h"
#include "demo/texts.h"

#include <algorithm>
#include <string.h>

DEMO_TEXT(sc_overwritten, "Block %u of %s, %u bytes in the bank \"%s\", was overwritten.\n");
DEMO_TEXT(sc_notFreed, "Block %u of %s, %u bytes in the bank \"%s\", could not be freed (%d).\n");

const Recording sc_scripts = {"lua-game", "lua-game.ctr"};
const Recording sc_records = {"sqlite", "sqlite.ctr"};

Replay::Replay(const Recording& recording, const Session& session, const BankPlans& banks)
    : m_recording(recording), m_session(session), m_banks(banks), m_blocks(session.blocks.size())
{
    for (const SessionBlock& block : session.blocks) {
        m_bankOf.push_back(findBank(block));
    }
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

bool Replay::hasBanks() const
{
    return std::find(m_bankOf.begin(), m_bankOf.end(), -1) == m_bankOf.end();
}

unsigned int Replay::liveNow() const
{
    return static_cast<unsigned int>(
        std::count_if(m_blocks.begin(), m_blocks.end(), [](const void* block) { return block != nullptr; }));
}

// Blocks that are allocated one after the other get different bytes.
static int fillOf(unsigned int number)
{
    return static_cast<unsigned char>(number * 37 + 1);
}

void Replay::make(unsigned int number)
{
    const SessionBlock& block = m_session.blocks[number];
    // A recording has no line numbers. Blocks of one size mostly come from one place in the program, so the block's
    // size is used as its line.
    m_blocks[number] = g_MemoryPtr->alloc(m_bankOf[number], block.size, m_recording.name, block.size);
    memset(m_blocks[number], fillOf(number), block.size);
}

bool Replay::free(unsigned int number)
{
    const SessionBlock& block = m_session.blocks[number];
    unsigned char* bytes = static_cast<unsigned char*>(m_blocks[number]);
    const int bank = m_bankOf[number];
    // The first byte has the right value, and each byte equals the byte before it.
    if (bytes[0] != fillOf(number) || memcmp(bytes, bytes + 1, block.size - 1) != 0) {
        Complain(sc_overwritten, number, m_recording.name, block.size, m_banks.banks[bank].name.c_str());
        return false;
    }
    m_blocks[number] = nullptr;
    if (bank == m_banks.frameBank) {
        return true; // the game empties the frame bank as a whole at the end of the frame
    }
    if (const int code = g_MemoryPtr->free(bank, bytes)) {
        Complain(sc_notFreed, number, m_recording.name, block.size, m_banks.banks[bank].name.c_str(), code);
        return false;
    }
    return true;
}

int Replay::findBank(const SessionBlock& block) const
{
    const unsigned int frames = block.died == sc_neverDied ? sc_any : frameOf(block.died) - frameOf(block.born);
    for (size_t index = 0; index < m_banks.banks.size(); ++index) {
        const BankPlan& bank = m_banks.banks[index];
        const bool takes = bank.session == "all" || bank.session == m_recording.name;
        if (takes && block.size <= bank.largest && frames <= bank.frames) {
            return static_cast<int>(index);
        }
    }
    return -1;
}

unsigned int Replay::frameOf(unsigned int operation) const
{
    return static_cast<unsigned int>(static_cast<unsigned long long>(operation) * sc_frames /
                                     m_session.operations.size());
}
