// core-config's checks and repairs of any file.
//
// An input is a byte of options and the file. Where the checks find nothing, the library must read what stands there:
// each word of each line of a config file, each entry of a preferences file.
#include "core/parser.h"
#include "tools/core-config/check.h"
#include "tools/core-config/configtext.h"
#include "tools/core-config/diff.h"
#include "tools/core-config/library.h"

#include "tests/fuzz/observe.h"
#include "tests/support/ini_model.h"

#include <stdlib.h>

static void require(bool condition)
{
    if (!condition) {
        abort();
    }
}

// The library takes the words of each line as the tool does.
static void compareWords(const std::string& bytes)
{
    const config::ConfigText text(bytes);
    std::string copy = bytes;
    Parser parser(&copy[0]);
    std::vector<config::Word> words;
    for (size_t line = 0; line < text.lines().size(); ++line) {
        require(parser.ParseLine());
        text.wordsOf(line, &words);
        for (const config::Word& word : words) {
            const char* taken = word.isString ? parser.GetString() : parser.GetToken(" ");
            const std::string expected = word.isString ? config::unescaped(text.inside(word)) : text.text(word);
            require(taken && taken == expected);
        }
    }
    require(!parser.ParseLine());
}

// The library takes the value of each entry as it stands.
static void compareEntries(const std::string& bytes)
{
    config::Faults faults;
    config::checkIni(bytes, &faults, [&](const config::IniEntry& entry) {
        require(iniValue(bytes, entry.section, entry.name) == entry.value);
    });
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    config::CheckOptions options;
    options.isIni = data[0] & 1;
    options.wantsCarriageReturns = data[0] & 2;
    const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);

    const config::Faults faults = config::checkText(bytes, options);
    for (const config::Fault& fault : faults) {
        observeNumber(static_cast<int64_t>(fault.place));
        observeText(fault.what);
        require(fault.place <= bytes.size() && fault.length > 0 && !fault.what.empty());
    }
    require(config::findingsOf("file", bytes, faults).size() == faults.size());
    if (faults.empty()) {
        options.isIni ? compareEntries(bytes) : compareWords(bytes);
    }
    const std::string better = config::repairText(bytes, options);
    observeText(better);
    require(config::repairText(better, options) == better);
    require(config::unifiedDiff("file", bytes, better).empty() == (bytes == better));
    return 0;
}
