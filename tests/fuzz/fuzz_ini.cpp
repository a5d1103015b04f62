// Any INI file and any question, beside the model.
//
// An input is a section, a key and a file, with NULs between them.
#include "core/preferences.h"

#include "tests/fuzz/observe.h"
#include "tests/support/ini_memory.h"
#include "tests/support/ini_model.h"

#include <memory>
#include <stdlib.h>

// Takes the text up to the next NUL.
static std::string takeWord(std::string* rest)
{
    const size_t end = std::min(rest->find('\0'), rest->size());
    const std::string word = rest->substr(0, end);
    rest->erase(0, end + 1);
    return word;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Preferences preferences;
    preferences.init("fuzz.ini");
    s_ini.assign(reinterpret_cast<const char*>(data), size);
    const std::string section = takeWord(&s_ini);
    const std::string key = takeWord(&s_ini);

    static const std::unique_ptr<char[]> out(new char[1024]); // the sanitizer knows where it ends
    memcpy(out.get(), "untouched", 10);
    const bool found = ReadKey(section.c_str(), key.c_str(), out.get());
    const std::optional<std::string> expected = iniValue(s_ini, section, key);
    if (found != expected.has_value() || out.get() != expected.value_or("untouched")) {
        abort();
    }
    observeNumber(found);
    observeText(out.get());
    return 0;
}
