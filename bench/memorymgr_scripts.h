// Sessions that nobody recorded, the same in each run: what games do to their heap.
#pragma once

#include "recordings/session.h"

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

// Writes a session, operation by operation.
class Script {
public:
    explicit Script(unsigned int seed) : m_random(seed) {}

    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(m_random() % limit); }

    unsigned int make(unsigned int size)
    {
        const unsigned int number = static_cast<unsigned int>(m_session.blocks.size());
        m_session.blocks.push_back({size, now(), sc_neverDied});
        m_session.operations.push_back(number);
        return number;
    }

    void free(unsigned int number)
    {
        m_session.blocks[number].died = now();
        m_session.operations.push_back(number);
    }

    void freeAll(std::vector<unsigned int>& numbers)
    {
        for (const unsigned int number : numbers) {
            free(number);
        }
        numbers.clear();
    }

    // One of them, which leaves the list.
    void freeAny(std::vector<unsigned int>& numbers)
    {
        std::swap(numbers[below(static_cast<unsigned int>(numbers.size()))], numbers.back());
        free(numbers.back());
        numbers.pop_back();
    }

    void shuffle(std::vector<unsigned int>& numbers)
    {
        for (size_t i = numbers.size(); i > 1; --i) {
            std::swap(numbers[i - 1], numbers[below(static_cast<unsigned int>(i))]);
        }
    }

    Session take() { return std::move(m_session); }

private:
    unsigned int now() const { return static_cast<unsigned int>(m_session.operations.size()); }

    std::mt19937 m_random;
    Session m_session;
};

// A thousand frames of a game: 5000 things of the level stay, in each frame twenty are replaced, and 200 small blocks
// live for the frame alone.
inline Session gameFrames()
{
    Script script(1);
    std::vector<unsigned int> things;
    std::vector<unsigned int> frame;
    for (int i = 0; i < 5000; ++i) {
        things.push_back(script.make(16 + script.below(1000)));
    }
    for (int i = 0; i < 1000; ++i) {
        for (int j = 0; j < 200; ++j) {
            frame.push_back(script.make(8 + script.below(400)));
        }
        for (int j = 0; j < 20; ++j) {
            script.freeAny(things);
            things.push_back(script.make(16 + script.below(1000)));
        }
        script.shuffle(frame);
        script.freeAll(frame);
    }
    return script.take();
}

// Every other one of 40,000 blocks is freed, in no order, which leaves 20,000 holes; then blocks come and go among them.
inline Session manyHoles()
{
    Script script(2);
    std::vector<unsigned int> stay;
    std::vector<unsigned int> go;
    for (int i = 0; i < 20000; ++i) {
        go.push_back(script.make(1 + script.below(2000)));
        stay.push_back(script.make(1 + script.below(2000)));
    }
    script.shuffle(go);
    script.freeAll(go);
    for (int i = 0; i < 200000; ++i) {
        go.push_back(script.make(1 + script.below(1000)));
        script.freeAny(script.below(2) ? go : stay);
        if (go.size() > 4000) {
            script.freeAny(go);
            stay.push_back(script.make(1 + script.below(2000)));
        }
        if (stay.size() < 20000) {
            stay.push_back(script.make(1 + script.below(2000)));
        }
    }
    return script.take();
}

// Ten levels, one after the other: mostly small things, some meshes of up to 8 KiB, textures and sounds of up to 1 MiB.
// A twentieth stays until the level after the next.
inline Session levels()
{
    Script script(3);
    std::vector<unsigned int> older;
    for (int level = 0; level < 10; ++level) {
        std::vector<unsigned int> things;
        for (int i = 0; i < 20000; ++i) {
            const unsigned int kind = script.below(1000);
            const unsigned int largest = kind < 850 ? 256 : kind < 997 ? 8 << 10 : 1 << 20;
            things.push_back(script.make(16 + script.below(largest)));
        }
        script.freeAll(older);
        script.shuffle(things);
        older.assign(things.end() - 1000, things.end());
        things.resize(things.size() - 1000);
        std::sort(things.begin(), things.begin() + 10000); // half of it goes in the order it came
        script.freeAll(things);
    }
    return script.take();
}
