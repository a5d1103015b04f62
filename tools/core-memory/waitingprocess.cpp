#include "tools/core-memory/waitingprocess.h"

#include "tools/shared/codeplace.h"

#include <elfutils/libdwfl.h>
#include <fstream>
#include <sstream>
#include <stdio.h>
#include <stdlib.h>

// The writable memory of files, and the memory directly after it, which holds the data without initial value.
static std::vector<watch::MemoryRange> writableOf(pid_t process)
{
    std::vector<watch::MemoryRange> ranges;
    std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
    std::string line;
    while (std::getline(maps, line)) {
        std::istringstream words(line);
        std::string range, rights, offset, device, inode, path;
        words >> range >> rights >> offset >> device >> inode >> path;
        const size_t dash = range.find('-');
        if (dash == std::string::npos || rights.compare(0, 2, "rw") != 0) {
            continue;
        }
        const uint64_t begin = strtoull(range.c_str(), nullptr, 16);
        const uint64_t end = strtoull(range.c_str() + dash + 1, nullptr, 16);
        const bool isAfter = path.empty() && !ranges.empty() && ranges.back().end == begin;
        if (isAfter) {
            ranges.back().end = end;
        } else if (path[0] == '/') {
            ranges.push_back({begin, end});
        }
    }
    return ranges;
}

struct WaitingProcess::Symbols {
    Dwfl_Callbacks callbacks = {};
    Dwfl* dwfl = nullptr;

    explicit Symbols(pid_t process)
    {
        callbacks.find_elf = dwfl_linux_proc_find_elf;
        callbacks.find_debuginfo = dwfl_standard_find_debuginfo;
        dwfl = dwfl_begin(&callbacks);
        if (dwfl && (dwfl_linux_proc_report(dwfl, process) != 0 || dwfl_report_end(dwfl, nullptr, nullptr) != 0)) {
            dwfl_end(dwfl);
            dwfl = nullptr;
        }
    }
    ~Symbols()
    {
        if (dwfl) {
            dwfl_end(dwfl);
        }
    }
};

WaitingProcess::WaitingProcess(pid_t process)
    : ProcessMemory(process, watch::ownLayout()), m_process(process), m_writable(writableOf(process))
{
}

WaitingProcess::~WaitingProcess() = default;

const watch::LinkTables& WaitingProcess::tables() const
{
    if (!m_tables) {
        m_tables = std::make_unique<watch::LinkTables>(watch::findLinkTables(*this, m_writable));
    }
    return *m_tables;
}

// ---- Code

static std::string hexadecimal(uint64_t number)
{
    char text[32];
    snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(number));
    return text;
}

static std::string baseName(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// A return address is the place after the call, so the call itself lies one byte before it.
std::string WaitingProcess::codeAt(uint64_t address) const
{
    if (!m_symbols) {
        m_symbols = std::make_unique<Symbols>(m_process);
    }
    const CodePlace place = placeOf(m_symbols->dwfl, address - 1);
    if (place.module.empty()) {
        return hexadecimal(address);
    }
    const std::string function = place.function.empty() ? hexadecimal(place.moduleOffset + 1) : place.function;
    const bool hasSource = !place.source.empty();
    return function + " (" + (hasSource ? place.source + ":" + std::to_string(place.line) : baseName(place.module)) +
           ")";
}

// ---- Messages

std::string WaitingProcess::_explainToken(const std::string& token) const
{
    const size_t blank = token.find(' ');
    const std::string kind = token.substr(0, blank);
    const uint64_t number = blank == std::string::npos ? 0 : strtoull(token.c_str() + blank, nullptr, 0);
    std::string text;
    if (kind == "code") {
        return codeAt(number);
    }
    if (kind == "text") {
        return number == 0 ? "(no name)" : readText(number, 1024, &text) ? text : "(unreadable name)";
    }
    if (kind == "name") {
        const bool isRead = watch::readName(*this, tables(), static_cast<uint32_t>(number), &text);
        return !isRead ? "(unreadable name)" : text.empty() ? "(no name)" : text;
    }
    return "{" + token + "}";
}

std::string WaitingProcess::explain(const std::string& message) const
{
    std::istringstream lines(message);
    std::string result;
    bool isAfterMain = false;
    for (std::string line; std::getline(lines, line);) {
        const bool isPlace = line.compare(0, 4, "    ") == 0;
        line = _explainLine(line);
        isAfterMain = isAfterMain && isPlace;
        result += isAfterMain ? "" : line + "\n";
        isAfterMain = isAfterMain || (isPlace && line.compare(0, 10, "    main (") == 0);
    }
    return result;
}

std::string WaitingProcess::_explainLine(const std::string& message) const
{
    std::string result;
    size_t done = 0;
    for (size_t begin; (begin = message.find('{', done)) != std::string::npos;) {
        const size_t end = message.find('}', begin);
        if (end == std::string::npos) {
            break;
        }
        result += message.substr(done, begin - done) + _explainToken(message.substr(begin + 1, end - begin - 1));
        done = end + 1;
    }
    return result + message.substr(done);
}
