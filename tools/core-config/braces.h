// Braces that have no partner.
#pragma once

#include "tools/core-config/configtext.h"
#include "tools/core-config/fault.h"

#include <vector>

namespace config {

// The braces of a file, in their order.
class Braces {
public:
    explicit Braces(const ConfigText& text) : m_text(text) {}

    void add(size_t line, const Word& word, bool isOpen);

    // The number of blocks around the place after the last brace.
    size_t depth() const { return m_depth; }

    // Adds a fault for each brace without a partner. A lost closing brace is looked for by indentation: a block ends
    // at a brace that is indented like its opening brace.
    void check(Faults* faults) const;

private:
    struct Brace {
        size_t line;
        size_t place;
        size_t indentation; // bytes before the first word of its line
        bool isOpen;
    };

    std::string _titleOf(const Brace& brace) const;
    void _blameOpen(const Brace& brace, Faults* faults) const;

    const ConfigText& m_text;
    std::vector<Brace> m_braces;
    size_t m_depth = 0;
    bool m_isBalanced = true; // no closing brace without a partner so far
};

} // namespace config
