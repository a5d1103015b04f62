// The memory manager once more, written to be read: nodes in plain vectors, each rule in the most obvious way, nothing
// done for speed.
//
// It has no memory. A place inside a bank is a number of bytes from the bank's start; a block that a location gave is
// known by its number, in the order in which the locations gave them, which is how Source counts. What the locations
// are asked for is written down in Source's words.
#pragma once

#include "core/memorymgr.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

struct ModelNode {
    unsigned int at;   // inside its bank; of a fallback block, its number
    unsigned int size; // header included
    unsigned int line; // of the request; 0 in a free node
};

// What alloc answers: where the block's header is.
struct ModelPlace {
    bool isOutside; // a fallback block
    bool isBare;    // in a linear bank: there is no header, the block itself is here
    unsigned int at;
};

// As MemoryBank_s. The first node of a list is its head.
struct ModelBank {
    e_MemoryLocation location = MEMLOC_DEFAULT;
    e_MemoryBankType type = MEMBANK_HEAP;
    std::string name;
    unsigned int size = 0;
    unsigned int allocCount = 0;
    unsigned int freeCount = 0;
    unsigned int usedNodeCount = 0;
    unsigned int freeNodeCount = 0;
    unsigned int extNodeCount = 0;
    unsigned int bytesInUse = 0;
    unsigned int peakBytes = 0;
    int block = 0;         // the number of the block that the bank lies in; 0 when it has no memory
    unsigned int base = 0; // where in that block it begins
    unsigned int cursor = 0;
    std::vector<ModelNode> freeList;
    std::vector<ModelNode> usedList;
    std::vector<ModelNode> extList;
};

class Model {
public:
    std::vector<ModelBank> banks;
    ModelBank systemBank;

    ModelBank& bank(int index) { return index == -1 ? systemBank : banks[index]; }

    void defineBank(e_MemoryLocation location, e_MemoryBankType type, const std::string& name, unsigned int size)
    {
        ModelBank bank;
        bank.location = location;
        bank.type = type;
        bank.name = name;
        bank.size = (size + 31) / 32 * 32;
        bank.freeNodeCount = 1;
        banks.push_back(bank);
    }

    // Good lines only; Reading, in memorymgr_sizes_test, is about all others.
    void readBankSizes(const std::string& file)
    {
        std::istringstream lines(file);
        for (std::string name, value; std::getline(lines, name, '=') && std::getline(lines, value);) {
            for (ModelBank& bank : banks) {
                if (bank.name == name) {
                    bank.size = static_cast<unsigned int>(std::stoul(value));
                }
            }
        }
    }

    void initialize()
    {
        int blocks[2];
        for (const e_MemoryLocation location : {MEMLOC_DEFAULT, MEMLOC_CUSTOM}) {
            unsigned int total = 0;
            for (const ModelBank& bank : banks) {
                total += bank.location == location && bank.type == MEMBANK_HEAP ? bank.size : 0;
            }
            blocks[location] = total ? take("alloc " + std::to_string(total)) : 0;
        }
        unsigned int carved[2] = {0, 0};
        for (ModelBank& bank : banks) {
            if (bank.type == MEMBANK_HEAP) {
                bank.base = carved[bank.location];
                carved[bank.location] += bank.size;
                if (bank.size >= 24) {
                    bank.block = blocks[bank.location];
                    bank.freeList = {{0, bank.size, 0}};
                }
            } else if (bank.type == MEMBANK_LINEAR && bank.size > 0) {
                bank.block = take("alloc " + std::to_string(bank.size));
            }
        }
    }

    ModelPlace alloc(int index, unsigned int size, unsigned int line)
    {
        ModelBank& bank = this->bank(index);
        if (bank.type == MEMBANK_HEAP) {
            const unsigned int nodeSize = 32 * ((size + 24) / 32 + 1);
            for (size_t i = 0; i < bank.freeList.size(); ++i) {
                if (bank.freeList[i].size >= nodeSize) {
                    return takeFreeNode(bank, i, nodeSize, line);
                }
            }
            return fallback(bank, nodeSize, line);
        }
        if (bank.type == MEMBANK_LINEAR) {
            const unsigned int rounded = (size + 31) / 32 * 32;
            if (bank.block == 0 || bank.size < bank.bytesInUse + rounded) {
                return fallback(bank, rounded + 24, line);
            }
            const ModelPlace place = {false, true, bank.cursor};
            bank.cursor += rounded;
            count(bank, rounded);
            return place;
        }
        return fallback(bank, std::max(size, 24u), line);
    }

    // Of a heap bank: place is of a live block.
    void free(int index, const ModelPlace& place)
    {
        ModelBank& bank = this->bank(index);
        ModelNode node = remove(place.isOutside ? bank.extList : bank.usedList, place.at);
        bank.freeCount += 1;
        bank.bytesInUse -= node.size;
        if (place.isOutside) {
            note("free #" + std::to_string(node.at));
            return;
        }
        bank.usedNodeCount -= 1;
        bank.freeNodeCount += 1;
        node.line = 0;
        addFreeNode(bank, joinNeighbours(bank, node));
    }

    // Of a linear bank.
    void reset(int index)
    {
        ModelBank& bank = this->bank(index);
        if (bank.bytesInUse > bank.size) {
            for (const ModelNode& node : bank.extList) {
                note("free #" + std::to_string(node.at));
            }
            bank.extList.clear();
            bank.size += static_cast<unsigned int>(static_cast<float>(bank.size) * 0.5f);
            bank.size = std::max(bank.size, bank.bytesInUse);
            const std::string old = bank.block ? "#" + std::to_string(bank.block) : "null";
            bank.block = take("realloc " + old + " " + std::to_string(bank.size));
        }
        bank.cursor = 0;
        bank.freeCount += 1;
        bank.bytesInUse = 0;
    }

    unsigned int getSize(int index, const ModelPlace& place)
    {
        for (const ModelNode& node : place.isOutside ? bank(index).extList : bank(index).usedList) {
            if (node.at == place.at) {
                return node.size - 24;
            }
        }
        return 0;
    }

    int checkMemory(int index, unsigned int* largestFree, bool expectEmpty)
    {
        const ModelBank& bank = banks[index];
        *largestFree = 0;
        if (bank.type != MEMBANK_HEAP) {
            *largestFree = bank.type == MEMBANK_LINEAR ? bank.size - bank.bytesInUse : 0;
            return 0;
        }
        unsigned int used = 0;
        for (const ModelNode& node : bank.usedList) {
            used += node.size;
        }
        unsigned int unused = 0;
        for (const ModelNode& node : bank.freeList) {
            unused += node.size;
            *largestFree = std::max(*largestFree, node.size);
        }
        if ((expectEmpty && used > 0) || used + unused != bank.size) {
            return MEMERR_SIZE;
        }
        if (bank.usedList.size() != bank.usedNodeCount) {
            return MEMERR_USED_COUNT;
        }
        if (bank.freeList.size() != bank.freeNodeCount) {
            return MEMERR_FREE_COUNT;
        }
        return bank.extNodeCount ? MEMERR_OVERFLOW : MEMERR_NONE;
    }

    // What the bank-size file holds at the end of the run.
    std::string bankSizes() const
    {
        std::string lines;
        for (const ModelBank& bank : banks) {
            const float size = static_cast<float>(bank.size);
            const float peak = static_cast<float>(bank.peakBytes);
            const float total = size + peak;
            if (total > 0) {
                const float mean = (peak / total) * peak + (size / total) * size;
                lines += bank.name + "=" + std::to_string(static_cast<unsigned int>(mean)) + "\n";
            }
        }
        return lines;
    }

    // What the locations were asked for since the last call.
    std::string takeLog() { return std::exchange(m_log, ""); }

private:
    static void count(ModelBank& bank, unsigned int size)
    {
        bank.allocCount += 1;
        bank.bytesInUse += size;
        bank.peakBytes = std::max(bank.peakBytes, bank.bytesInUse);
    }

    static ModelNode remove(std::vector<ModelNode>& list, unsigned int at)
    {
        const auto found = std::find_if(list.begin(), list.end(), [at](const ModelNode& n) { return n.at == at; });
        const ModelNode node = *found;
        list.erase(found);
        return node;
    }

    // In front of the first that is as large.
    static void addFreeNode(ModelBank& bank, const ModelNode& node)
    {
        const auto place = std::find_if(bank.freeList.begin(), bank.freeList.end(),
                                        [&node](const ModelNode& n) { return n.size >= node.size; });
        bank.freeList.insert(place, node);
    }

    static ModelPlace takeFreeNode(ModelBank& bank, size_t i, unsigned int nodeSize, unsigned int line)
    {
        ModelNode node = bank.freeList[i];
        bank.freeList.erase(bank.freeList.begin() + static_cast<long>(i));
        bank.freeNodeCount -= 1;
        if (nodeSize + 24 < node.size) {
            addFreeNode(bank, {node.at + nodeSize, node.size - nodeSize, 0});
            bank.freeNodeCount += 1;
            node.size = nodeSize;
        }
        node.line = line;
        bank.usedList.insert(bank.usedList.begin(), node);
        bank.usedNodeCount += 1;
        count(bank, node.size);
        return {false, false, node.at};
    }

    // The node together with the free ones it touches, which leave the list.
    static ModelNode joinNeighbours(ModelBank& bank, ModelNode node)
    {
        for (size_t i = 0; i < bank.freeList.size(); ++i) {
            const ModelNode other = bank.freeList[i];
            if (other.at + other.size == node.at || node.at + node.size == other.at) {
                bank.freeList.erase(bank.freeList.begin() + static_cast<long>(i));
                bank.freeNodeCount -= 1;
                return joinNeighbours(bank, {std::min(node.at, other.at), node.size + other.size, 0});
            }
        }
        return node;
    }

    ModelPlace fallback(ModelBank& bank, unsigned int size, unsigned int line)
    {
        const unsigned int number = take("alloc " + std::to_string(size));
        bank.extList.insert(bank.extList.begin(), {number, size, line});
        bank.extNodeCount += 1;
        count(bank, size);
        return {true, false, number};
    }

    int take(const std::string& what)
    {
        note(what + " = #" + std::to_string(++m_blocksMade));
        return m_blocksMade;
    }

    void note(const std::string& what) { m_log += (m_log.empty() ? "" : ", ") + what; }

    int m_blocksMade = 0;
    std::string m_log;
};
