// Sessions that are computed, not recorded: the allocations that games and other programs typically make. Each is the
// same in every run.
#pragma once

#include "recordings/session.h"

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

// Makes a session, one operation at a time. Blocks are named by their numbers, in the order of their allocation.
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

    // Frees one of these blocks, chosen at random, and removes it from the list.
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

// A thousand frames of a game. The level has 5000 blocks. Each frame replaces 20 of them, and allocates 200 small
// blocks that it frees at its end.
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

// Allocates 40,000 blocks and frees every second one, in random order, which leaves 20,000 holes. Then allocates and
// frees blocks among these holes.
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

// Ten levels, one after the other: most blocks are small, some are meshes of up to 8 KiB, a few are textures and
// sounds of up to 1 MiB. One block in 20 is freed only after the next level has been loaded.
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
        std::sort(things.begin(), things.begin() + 10000); // half in the order of allocation
        script.freeAll(things);
    }
    return script.take();
}

// Twelve levels. Each allocates 30,000 blocks and frees them in exactly the reverse order, so there is always one
// free node.
inline Session levelsInReverse()
{
    Script script(4);
    std::vector<unsigned int> things;
    for (int level = 0; level < 12; ++level) {
        for (int i = 0; i < 30000; ++i) {
            things.push_back(script.make(1 + script.below(script.below(10) ? 300 : 14000))); // 825 bytes on average
        }
        std::reverse(things.begin(), things.end());
        script.freeAll(things);
    }
    return script.take();
}

// Half of a region of size bytes is in use. It has at most 20,000 blocks, so the blocks of a large region are large.
// In each of 50,000 steps, a block is freed and another one is allocated.
inline Session halfInUse(unsigned int size)
{
    Script script(10);
    std::vector<unsigned int> blocks;
    const unsigned int count = std::min(20000u, size / 2048);
    for (unsigned int i = 0; i < count; ++i) {
        blocks.push_back(script.make(1 + script.below(size / count - 56)));
    }
    for (int i = 0; i < 50000; ++i) {
        script.freeAny(blocks);
        blocks.push_back(script.make(1 + script.below(size / count - 56)));
    }
    return script.take();
}

// An image editor, with few and large blocks. Layers consist of tiles of 64 KiB. Each of 4000 steps allocates buffers
// for rows and for a whole picture. The replaced tiles of the last twenty steps are kept, so that the user can undo
// them.
inline Session images()
{
    Script script(5);
    std::vector<unsigned int> tiles;
    std::vector<std::vector<unsigned int>> steps;
    for (int i = 0; i < 300; ++i) {
        tiles.push_back(script.make(64 << 10));
    }
    for (int step = 0; step < 4000; ++step) {
        const unsigned int picture = script.make((1 << 20) + script.below(4 << 20));
        std::vector<unsigned int> rows;
        for (unsigned int i = script.below(12); i > 0; --i) {
            rows.push_back(script.make(4000 + script.below(60000)));
        }
        steps.emplace_back();
        for (unsigned int i = script.below(20); i > 0; --i) {
            steps.back().push_back(tiles.back()); // the tile before this step
            tiles.back() = script.make(64 << 10);
            std::swap(tiles.back(), tiles[script.below(300)]);
        }
        script.shuffle(rows);
        script.freeAll(rows);
        script.free(picture);
        if (steps.size() > 20) {
            script.freeAll(steps.front());
            steps.erase(steps.begin());
        }
    }
    return script.take();
}

// A window server: resources of clients, which live for a while; requests and answers, which are freed soon;
// sometimes a pixmap. A block has 856 bytes on average.
inline Session windowServer()
{
    Script script(6);
    std::vector<unsigned int> resources;
    std::vector<unsigned int> pending;
    for (int i = 0; i < 60000; ++i) {
        const unsigned int kind = script.below(100);
        if (kind < 55) {
            pending.push_back(script.make(32 + script.below(kind < 50 ? 250 : 4000)));
        } else if (kind < 98) {
            resources.push_back(script.make(24 + script.below(kind < 90 ? 200 : 2000)));
        } else {
            resources.push_back(script.make(1000 + script.below(54000)));
        }
        while (pending.size() > 3 + script.below(20)) {
            script.freeAny(pending);
        }
        if (resources.size() > 2500) {
            script.freeAny(resources);
        }
    }
    return script.take();
}

// A compiler. For each function it allocates a tree of small nodes and a list that is reallocated, at times to double
// its length; it frees both at the end of the function. Names, types and chunks of 4 KiB are freed at the end of the
// file, after 300 functions.
inline Session compiler()
{
    Script script(7);
    std::vector<unsigned int> file;
    for (int function = 0; function < 1500; ++function) {
        std::vector<unsigned int> nodes;
        unsigned int length = 64;
        unsigned int list = script.make(length);
        for (unsigned int i = 20 + script.below(400); i > 0; --i) {
            nodes.push_back(script.make(16 + 8 * script.below(script.below(8) ? 10 : 40)));
            if (script.below(12) == 0) {
                const unsigned int longer = script.make(length *= script.below(3) ? 1 : 2);
                script.free(list);
                list = longer;
                length = length > 64 << 10 ? 64 : length;
            }
            if (script.below(6) == 0) {
                script.freeAny(nodes); // a constant expression was computed: its node is not needed
            }
            if (script.below(15) == 0) {
                file.push_back(script.make(script.below(20) ? 10 + script.below(60) : 4064));
            }
        }
        script.free(list);
        script.freeAll(nodes);
        if (function % 300 == 299) {
            std::reverse(file.begin(), file.end());
            script.freeAll(file);
        }
    }
    return script.take();
}

// A database: a cache of 1000 pages; statements, each of 5 to 29 small blocks that are freed together; the last 400
// or fewer rows, of 1 to 5000 bytes.
inline Session database()
{
    Script script(8);
    std::vector<unsigned int> pages;
    std::vector<unsigned int> rows;
    for (int statement = 0; statement < 6000; ++statement) {
        std::vector<unsigned int> parts;
        for (unsigned int i = 5 + script.below(25); i > 0; --i) {
            parts.push_back(script.make(16 + script.below(240)));
        }
        for (unsigned int i = script.below(10); i > 0; --i) {
            if (pages.size() >= 1000) {
                script.freeAny(pages);
            }
            pages.push_back(script.make(4360));
        }
        for (unsigned int i = script.below(30); i > 0; --i) {
            rows.push_back(script.make(1 + script.below(script.below(20) ? 100 : 5000)));
        }
        while (rows.size() > 400) {
            script.freeAny(rows);
        }
        std::reverse(parts.begin(), parts.end());
        script.freeAll(parts);
    }
    return script.take();
}

// A game whose scripts make objects and texts. After each step a garbage collector frees one object in ten, in the
// order of their allocation; above 8000 objects also the 1100 oldest.
inline Session scriptedGame()
{
    Script script(9);
    std::vector<unsigned int> objects;
    for (int step = 0; step < 200; ++step) {
        for (int i = 0; i < 1200; ++i) {
            const unsigned int kind = script.below(100);
            objects.push_back(script.make(kind < 60   ? 40
                                          : kind < 90 ? 17 + script.below(80)
                                                      : 64 << script.below(7)));
        }
        std::vector<unsigned int> alive;
        for (const unsigned int object : objects) {
            if (script.below(10) == 0) {
                script.free(object);
            } else {
                alive.push_back(object);
            }
        }
        objects.swap(alive);
        if (objects.size() > 8000) {
            std::vector<unsigned int> oldest(objects.begin(), objects.begin() + 1100);
            objects.erase(objects.begin(), objects.begin() + 1100);
            script.freeAll(oldest);
        }
    }
    return script.take();
}
