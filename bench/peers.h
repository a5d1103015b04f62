// Measures one subject of the library beside its peers: each side does the same work, in turn, in one process.
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
// The first side is core. A peer that is not installed is left out of the list.
//
//  | Field of Side | Meaning                                                                                   |
//  |---------------|-------------------------------------------------------------------------------------------|
//  | name          | the side's name in the table                                                              |
//  | work          | does all operations of the subject once; should take 100 microseconds or more             |
//  |               | returns a count or a checksum, or 0; all sides must return the same number                |
//  | prepare       | may be empty; runs before each work and is not measured                                   |
//
// The common result of work proves that all sides do the same, and keeps the compiler from removing the work.
//
// compareNet also measures a loop: a side that does all that the other sides do, except for the operation itself. The
// time of the loop is subtracted from the time of each side. The operation's name should say so.
//
// Sides take turns in short samples, so a change of the processor's speed affects all sides. The loop is one of them.
// The result of a side is the median of its samples. The time is the processor time of this thread, which other programs hardly change. A
// subject that uses several threads, or waits for a disk or a screen, passes CLOCK_MONOTONIC.
//
// Each side prints one row: subject, operation, side and nanoseconds per operation, with tabs between them. ./run
// bench passes the rows of all programs to bench/table.py, which prints the table and draws the chart.
//
//     parser_bench [PART OF A SUBJECT]      measures only the subjects whose name contains this text
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

    // Returns true when the subject will be measured. Ask before a preparation that takes long.
    bool wants(const char* subject) const { return strstr(subject, m_part) != nullptr; }

    // operations: how many operations one work does. operation: the name of one operation, for the table.
    void compare(const char* subject, const char* operation, double operations, const std::vector<Side>& sides,
                 clockid_t clock = CLOCK_THREAD_CPUTIME_ID)
    {
        if (!wants(subject) || !agree(subject, sides)) {
            return;
        }
        const std::vector<double> times = medians(sides, clock);
        for (size_t side = 0; side < sides.size(); ++side) {
            tell(subject, operation, sides[side].name, times[side] / operations);
        }
    }

    // As compare, without the time of the loop.
    void compareNet(const char* subject, const char* operation, double operations, std::vector<Side> sides,
                    const Side& loop)
    {
        sides.push_back(loop);
        if (!wants(subject) || !agree(subject, sides)) {
            return;
        }
        const std::vector<double> times = medians(sides, CLOCK_THREAD_CPUTIME_ID);
        for (size_t side = 0; side + 1 < sides.size(); ++side) {
            tell(subject, operation, sides[side].name, (times[side] - times.back()) / operations);
        }
    }

    // Prints the row of one side.
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

    // The exit status for main: 1 when the sides of a subject returned different numbers, else 0.
    int result() const { return m_failed ? 1 : 0; }

private:
    static const int sc_rounds = 21;
    static constexpr double sc_sample = 5e6; // nanoseconds: the shortest sample

    // Returns the nanoseconds of one work for each side.
    static std::vector<double> medians(const std::vector<Side>& sides, clockid_t clock)
    {
        std::vector<std::vector<double>> samples(sides.size());
        for (int round = 0; round < sc_rounds; ++round) {
            for (size_t side = 0; side < sides.size(); ++side) {
                samples[side].push_back(sample(sides[side], clock));
            }
        }
        std::vector<double> result;
        result.reserve(sides.size());
        for (std::vector<double>& of : samples) {
            std::nth_element(of.begin(), of.begin() + sc_rounds / 2, of.end());
            result.push_back(of[sc_rounds / 2]);
        }
        return result;
    }

    // Returns the nanoseconds of one work, the mean of one sample.
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
