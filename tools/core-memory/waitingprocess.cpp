#include "tools/core-memory/waitingprocess.h"

#include "tools/shared/codeplace.h"
#include "tools/shared/machine.h"

#include <sstream>
#include <stdio.h>
#include <stdlib.h>

static watch::Layout layoutOf(pid_t process)
{
    const Machine machine = machineOf("/proc/" + std::to_string(process) + "/exe");
    return machine.isKnown() ? watch::Layout{machine.wordBits / 8u, machine.isBigEndian} : watch::ownLayout();
}

WaitingProcess::WaitingProcess(pid_t process) : ProcessMemory(process, layoutOf(process)), m_process(process)
{
}

const Modules& WaitingProcess::_modules() const
{
    if (!m_modules) {
        std::string ignored; // then addresses stand in place of names
        m_modules = std::make_unique<Modules>();
        m_modules->openProcess(m_process, &ignored, true);
    }
    return *m_modules;
}

const watch::LinkTables& WaitingProcess::tables() const
{
    if (!m_tables) {
        GameSymbols symbols;
        std::string ignored; // then the tables are empty
        _modules().findSymbols(&symbols, &ignored);
        m_tables = std::make_unique<watch::LinkTables>(watch::findLinkTables(*this, symbols.writable));
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
    const CodePlace place = placeOf(_modules().dwfl(), address - 1);
    if (place.module.empty()) {
        return hexadecimal(address);
    }
    const std::string function = place.function.empty() ? hexadecimal(place.moduleOffset + 1) : place.function;
    const bool hasSource = !place.source.empty();
    return function + " (" + (hasSource ? place.source + ":" + std::to_string(place.line) : baseName(place.module)) +
           ")";
}

// ---- Messages

std::string WaitingProcess::sourceName(const std::string& kind, uint64_t number) const
{
    std::string text;
    const bool isRead =
        number == 0 || (kind == "text" ? readText(number, 1024, &text)
                                       : watch::readName(*this, tables(), static_cast<uint32_t>(number), &text));
    return isRead ? text : "(unreadable name)";
}

std::string WaitingProcess::_explainToken(const std::string& token) const
{
    const size_t blank = token.find(' ');
    const std::string kind = token.substr(0, blank);
    const uint64_t number = blank == std::string::npos ? 0 : strtoull(token.c_str() + blank, nullptr, 0);
    if (kind == "code") {
        return codeAt(number);
    }
    if (kind == "text" || kind == "name") {
        const std::string name = sourceName(kind, number);
        return name.empty() ? "(no name)" : name;
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
