// A subject of the library's beside its peers: the same work, done by each side in turn, in one process.
//
//     int main(int argc, char** argv)
//     {
//         Bench bench(argc, argv);
//         std::vector<Side> sides = {{"core", [&] { return countWithParser(buffer); }, [&] { buffer = text; }},
//                                    {"strtok_r", [&] { return countWithStrtok(buffer); }, [&] { buffer = text; }}};
//         bench.compare("config file: lines", "line", lines, sides);
//         return bench.result();
//     }
//
// The first side is ours; a peer that the machine lacks is left out of the list. work does all of the subject's
// operations once, a hundred microseconds of them at least, and answers with a number that all sides have to agree on
// (a count, a checksum; 0 where there is nothing to compare): so nothing is computed in vain, and no side is fast because
// it does something else. prepare, if there is one, comes before each work and isn't timed.
//
// Sides take turns in short samples, so that a processor that changes its speed changes it for all of them, and each
// is told as the median of its samples. Time is this thread's processor time, which other programs on the machine don't
// lengthen; a subject whose work is shared among threads asks for CLOCK_MONOTONIC.
//
// Each side makes a row of standard output: subject, operation, side and nanoseconds for one operation, with tabs between
// them. bench/table.py makes the table and the chart of all programs' rows: ./run bench.
//
//     parser_bench [PART OF A SUBJECT]      only the subjects with that in their name
#pragma once

#include <algorithm>
#include <functional>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <vector>

struct Side {
    const char* name;
    std::function<unsigned long long()> work;
    std::function<void()> prepare = {};
};

class Bench {
public:
    Bench(int argc, char** argv) : m_part(argc > 1 ? argv[1] : "") {}

    // Whether the subject was asked for: what takes long to set up can be left out with it.
    bool wants(const char* subject) const { return strstr(subject, m_part) != nullptr; }

    // work does so many operations; operation is the name of one.
    void compare(const char* subject, const char* operation, double operations, const std::vector<Side>& sides,
                 clockid_t clock = CLOCK_THREAD_CPUTIME_ID)
    {
        if (!wants(subject) || !agree(subject, sides)) {
            return;
        }
        std::vector<std::vector<double>> samples(sides.size());
        for (int round = 0; round < sc_rounds; ++round) {
            for (size_t side = 0; side < sides.size(); ++side) {
                samples[side].push_back(sample(sides[side], clock) / operations);
            }
        }
        for (size_t side = 0; side < sides.size(); ++side) {
            std::vector<double>& of = samples[side];
            std::nth_element(of.begin(), of.begin() + sc_rounds / 2, of.end());
            tell(subject, operation, sides[side].name, of[sc_rounds / 2]);
        }
    }

    // One side's row.
    static void tell(const char* subject, const char* operation, const char* side, double nanoseconds)
    {
        printf("%s\t%s\t%s\t%.4g\n", subject, operation, side, nanoseconds);
        fflush(stdout);
    }

    static double now(clockid_t clock)
    {
        timespec time;
        clock_gettime(clock, &time);
        return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
    }

    // What main returns.
    int result() const { return m_failed ? 1 : 0; }

private:
    static const int sc_rounds = 21;
    static constexpr double sc_sample = 5e6; // nanoseconds, at least

    // The nanoseconds that one work takes.
    static double sample(const Side& side, clockid_t clock)
    {
        double total = 0;
        int count = 0;
        for (; total < sc_sample; ++count) {
            if (side.prepare) {
                side.prepare();
            }
            const double begin = now(clock);
            side.work();
            total += now(clock) - begin;
        }
        return total / count;
    }

    bool agree(const char* subject, const std::vector<Side>& sides)
    {
        unsigned long long first = 0;
        for (const Side& side : sides) {
            if (side.prepare) {
                side.prepare();
            }
            const unsigned long long answer = side.work();
            first = &side == &sides[0] ? answer : first;
            if (answer != first) {
                fprintf(stderr, "%s: %s says %llu, and %s %llu\n", subject, sides[0].name, first, side.name, answer);
                m_failed = true;
                return false;
            }
        }
        return true;
    }

    const char* m_part;
    bool m_failed = false;
};
