#include "watch/summary.h"

#include <algorithm>

namespace watch {

static void addBlock(const Bank& bank, const Block& block, PlaceSum* sum)
{
    sum->firstSeen = sum->blocks == 0 ? block.born : std::min(sum->firstSeen, block.born); // -1 is the smallest
    sum->blocks += 1;
    sum->bytes += block.size;
    sum->fallbacks += block.state == BLOCK_FALLBACK;
    sum->largest = std::max(sum->largest, block.size);
    sum->banks |= 1u << (bank.index & 31);
}

std::vector<PlaceSum> sumPlaces(const Snapshot& snapshot, int wanted)
{
    std::unordered_map<uint64_t, PlaceSum> sums; // by name and line
    const auto add = [&](const Bank& bank, const Block& block) {
        PlaceSum& sum = sums[static_cast<uint64_t>(block.name) << 32 | block.line];
        if (sum.blocks == 0) {
            sum.place = snapshot.placeOf(block);
        }
        addBlock(bank, block, &sum);
    };
    for (const Bank& bank : snapshot.banks) {
        if (wanted != sc_allBanks && wanted != bank.index) {
            continue;
        }
        for (const Block& block : bank.blocks) {
            if (block.state == BLOCK_USED) {
                add(bank, block);
            }
        }
        for (const Block& block : bank.fallbacks) {
            add(bank, block);
        }
    }
    std::vector<PlaceSum> places;
    places.reserve(sums.size());
    for (auto& sum : sums) {
        places.push_back(std::move(sum.second));
    }
    std::sort(places.begin(), places.end(), [](const PlaceSum& left, const PlaceSum& right) {
        return left.bytes != right.bytes ? left.bytes > right.bytes : left.place < right.place;
    });
    return places;
}

double BankSum::fragmentation() const
{
    return freeBytes == 0 ? 0.0 : 1.0 - static_cast<double>(largestFree) / static_cast<double>(freeBytes);
}

static void addRest(const Bank& bank, BankSum* sum)
{
    sum->usedBytes = bank.cursor;
    sum->freeBytes = sum->largestFree = bank.size - std::min(bank.cursor, bank.size);
    sum->freeNodes = sum->freeBytes != 0;
    sum->usedBlocks = bank.blocks.size();
}

BankSum sumBank(const Bank& bank)
{
    BankSum sum;
    if (bank.type == BANK_LINEAR && bank.hasRegion) {
        addRest(bank, &sum);
    }
    for (const Block& block : bank.blocks) {
        if (bank.type == BANK_LINEAR) {
            break;
        }
        switch (block.state) {
        case BLOCK_FREE:
            sum.freeNodes += 1;
            sum.freeBytes += block.size;
            sum.largestFree = std::max<uint64_t>(sum.largestFree, block.size);
            break;
        case BLOCK_DAMAGED:
            sum.damagedBytes += block.size;
            break;
        default:
            sum.usedBlocks += 1;
            sum.usedBytes += block.size;
        }
    }
    for (const Block& block : bank.fallbacks) {
        sum.fallbackBlocks += 1;
        sum.fallbackBytes += block.size;
    }
    return sum;
}

std::string bankTitle(const Bank& bank)
{
    if (bank.index == -1) {
        return "(system)";
    }
    return bank.name.empty() ? "bank " + std::to_string(bank.index) : bank.name;
}

const char* typeName(const Bank& bank)
{
    return bank.type == BANK_HEAP ? "heap" : bank.type == BANK_LINEAR ? "linear" : "other";
}

static std::string neighbour(const char* title, const std::string& text)
{
    return text.empty() ? "" : "\n    " + std::string(title) + text;
}

std::string describeDamage(const Snapshot& snapshot, const Damage& damage)
{
    const Bank* bank = snapshot.bankOf(damage.bank);
    std::string text = nameOf(damage.kind);
    text += ": bank \"" + (bank ? bankTitle(*bank) : std::to_string(damage.bank)) + "\"";
    if (damage.offset != sc_noNumber) {
        text += ", offset " + std::to_string(damage.offset);
    }
    if (damage.fallback != sc_noNumber) {
        text += ", fallback block " + std::to_string(damage.fallback);
    }
    return text + ": " + damage.what + neighbour("block:  ", damage.block) + neighbour("before: ", damage.before) +
           neighbour("after:  ", damage.after);
}

uint32_t tunedSize(uint32_t bankSize, uint32_t peakBytes)
{
    const float size = static_cast<float>(bankSize);
    const float peak = static_cast<float>(peakBytes);
    const float total = size + peak;
    if (total == 0.0f) {
        return 0;
    }
    const float tuned = (peak / total) * peak + (size / total) * size;
    return tuned < 4294967296.0f ? static_cast<uint32_t>(tuned) : UINT32_MAX;
}

} // namespace watch
