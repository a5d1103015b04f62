// What reading a config file costs: the parser, with strtok and sscanf by hand beside it, and memchr, which does no more
// than find the line feeds, as the limit.
//
// All sides run in one process over the same 5 MB, a fresh copy for each pass. Those that read values have to find the
// same ones.
//
//     parser_bench [--benchmark_filter=Lines]
#include "core/parser.h"

#include "file/file.h"

#include <benchmark/benchmark.h>

#include <stdio.h>
#include <string.h>
#include <string>
#include <vector>

static const size_t sc_textSize = 5 << 20; // bytes, to the end of the block that reaches it

// One unit of a game's data file after the other.
static std::string makeText()
{
    std::string text;
    for (unsigned int unit = 1; text.size() < sc_textSize; ++unit) {
        char block[512];
        snprintf(block, sizeof(block),
                 "// unit %u\r\nunit\r\n{\r\n"
                 "\twidth = %u\r\n\theight = -%u\r\n\tscale = %u.%u\r\n\tspeed = 0.%u\r\n\tcost = %u\r\n"
                 "}\r\n\r\n",
                 unit, unit * 7 % 4096, unit * 13 % 512, unit % 10, unit % 1000, unit * 31 % 10000, unit * 977);
        text += block;
    }
    return text;
}

static const std::string& text()
{
    static const std::string s_text = makeText();
    return s_text;
}

struct Unit {
    int width, height, cost;
    float scale, speed;
};

// The sums of all values, so that nothing is read in vain and all sides can be compared.
struct Sums {
    long long integers = 0;
    double floats = 0;

    void add(const Unit& unit)
    {
        integers += unit.width + unit.height + unit.cost;
        floats += static_cast<double>(unit.scale) + static_cast<double>(unit.speed);
    }
    bool operator==(const Sums& other) const { return integers == other.integers && floats == other.floats; }
};

static Sums readWithParser(char* buffer)
{
    Sums sums;
    Unit unit = {};
    Parser parser(buffer);
    while (parser.ParseLine()) {
        const char* token = parser.GetToken(" ");
        if (!token) {
            continue;
        }
        if (*token == '}') {
            sums.add(unit);
        }
        parser.ParamEqualsInt32(token, "width", &unit.width) ||
            parser.ParamEqualsInt32(token, "height", &unit.height) ||
            parser.ParamEqualsFloat32(token, "scale", &unit.scale) ||
            parser.ParamEqualsFloat32(token, "speed", &unit.speed) ||
            parser.ParamEqualsInt32(token, "cost", &unit.cost);
    }
    return sums;
}

// "name = value" by hand: strtok cuts, sscanf reads.
template <typename Value>
static bool scanValue(const char* token, const char* name, const char* format, Value* value)
{
    if (stricmp(token, name) != 0) {
        return false;
    }
    const char* equals = strtok(nullptr, " ");
    const char* number = strtok(nullptr, " ");
    return equals && number && strcmp(equals, "=") == 0 && sscanf(number, format, value) == 1;
}

static Sums readWithStrtok(char* buffer)
{
    Sums sums;
    Unit unit = {};
    char* rest;
    for (char* line = strtok_r(buffer, "\r\n", &rest); line; line = strtok_r(nullptr, "\r\n", &rest)) {
        const char* token = strtok(line, " \t");
        if (!token || strncmp(token, "//", 2) == 0) {
            continue;
        }
        if (*token == '}') {
            sums.add(unit);
        }
        scanValue(token, "width", "%d", &unit.width) || scanValue(token, "height", "%d", &unit.height) ||
            scanValue(token, "scale", "%f", &unit.scale) || scanValue(token, "speed", "%f", &unit.speed) ||
            scanValue(token, "cost", "%d", &unit.cost);
    }
    return sums;
}

static size_t countWithParser(char* buffer)
{
    size_t lines = 0;
    Parser parser(buffer);
    while (parser.ParseLine()) {
        ++lines;
    }
    return lines;
}

static size_t countWithStrtok(char* buffer)
{
    size_t lines = 0;
    char* rest;
    for (char* line = strtok_r(buffer, "\n", &rest); line; line = strtok_r(nullptr, "\n", &rest)) {
        ++lines;
    }
    return lines;
}

static size_t countWithMemchr(char* buffer)
{
    size_t lines = 0;
    const char* end = buffer + text().size();
    for (const char* line = buffer; (line = static_cast<const char*>(memchr(line, '\n', size_t(end - line))));
         ++line) {
        ++lines;
    }
    return lines;
}

// Runs read over the text; expected is what it finds there.
template <typename Result>
static void run(benchmark::State& state, Result (*read)(char*), const Result& expected)
{
    static const size_t s_lines = [] {
        std::string copy = text();
        return countWithMemchr(copy.data());
    }();
    std::vector<char> buffer(text().size() + 1);
    for (auto _ : state) {
        state.PauseTiming();
        memcpy(buffer.data(), text().c_str(), buffer.size());
        state.ResumeTiming();
        if (!(read(buffer.data()) == expected)) {
            state.SkipWithError("the sides read different values");
            break;
        }
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text().size()));
    state.counters["lines"] =
        benchmark::Counter(double(state.iterations()) * double(s_lines), benchmark::Counter::kIsRate);
}

// What the side that is the measure finds.
template <typename Result>
static Result find(Result (*read)(char*))
{
    std::string copy = text();
    return read(copy.data());
}

static void Lines_Parser(benchmark::State& state)
{
    run(state, countWithParser, find(countWithMemchr));
}
static void Lines_Strtok(benchmark::State& state)
{
    run(state, countWithStrtok, find(countWithMemchr));
}
static void Lines_Memchr(benchmark::State& state)
{
    run(state, countWithMemchr, find(countWithMemchr));
}
static void Values_Parser(benchmark::State& state)
{
    run(state, readWithParser, find(readWithStrtok));
}
static void Values_StrtokAndSscanf(benchmark::State& state)
{
    run(state, readWithStrtok, find(readWithStrtok));
}

BENCHMARK(Lines_Parser)->Unit(benchmark::kMillisecond);
BENCHMARK(Lines_Strtok)->Unit(benchmark::kMillisecond);
BENCHMARK(Lines_Memchr)->Unit(benchmark::kMillisecond);
BENCHMARK(Values_Parser)->Unit(benchmark::kMillisecond);
BENCHMARK(Values_StrtokAndSscanf)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
