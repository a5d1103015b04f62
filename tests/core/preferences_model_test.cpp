// The reader of INI files and a simple model of it get the same random files and the same random keys. The files hold
// all characters that mean something in an INI file.
#include "core/preferences.h"

#include "tests/support/ini_memory.h"
#include "tests/support/ini_model.h"
#include "tests/support/rounds.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <random>

class Random {
public:
    explicit Random(unsigned int seed) : m_engine(seed) {}

    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(m_engine() % limit); }

    // A few characters of a small set, so that names meet again and again.
    std::string name()
    {
        std::string text;
        for (unsigned int length = below(3); length > 0; --length) {
            text += "aaaAAAb ]=;[\r\xc4"[below(14)];
        }
        return text;
    }

    // Now and then as long as a name's buffer, or a line's.
    std::string stretch()
    {
        static const unsigned int sc_lengths[] = {253, 254, 255, 256, 1018, 1019, 1020, 1021, 1022, 1023, 1024, 2046};
        return below(12) == 0 ? std::string(sc_lengths[below(12)], 'a') : "";
    }

    std::string line()
    {
        std::string text;
        switch (below(6)) {
        case 0:
            text = "[" + stretch() + name() + (below(8) ? "]" : "") + name();
            break;
        case 1:
            text = ";" + name() + "=" + name();
            break;
        case 2:
            text = stretch() + name();
            break;
        default:
            text = name() + (below(8) ? "=" : "") + stretch() + name();
        }
        if (below(40) == 0) {
            text.insert(below(static_cast<unsigned int>(text.size()) + 1), 1, '\0');
        }
        static const char* const sc_ends[] = {"\n", "\r\n", "\n\n", "\r", "\r\r\n", ""};
        return text + sc_ends[below(10) < 5 ? below(2) : below(6)];
    }

private:
    std::mt19937 m_engine;
};

TEST(PreferencesModel, FindsWhatTheRulesFind)
{
    Preferences preferences;
    preferences.init("model.ini");
    Random random(1);
    int found = 0;
    for (int i = 0; i < rounds(100000); ++i) {
        s_ini.clear();
        for (unsigned int lines = random.below(12); lines > 0; --lines) {
            s_ini += random.line();
        }
        for (int question = 0; question < 8; ++question) {
            const std::string section = (random.below(4) ? "" : random.stretch()) + random.name();
            const std::string key = random.name();
            char out[1024] = "untouched";
            const bool answer = ReadKey(section.c_str(), key.c_str(), out);
            const std::optional<std::string> expected = iniValue(s_ini, section, key);
            ASSERT_EQ(answer, expected.has_value()) << testing::PrintToString(s_ini) << section << "/" << key;
            ASSERT_EQ(out, expected.value_or("untouched")) << testing::PrintToString(s_ini) << section << "/" << key;
            found += answer;
        }
    }
    EXPECT_GT(found, rounds(5000)); // with fewer answers the test would show little
    RecordProperty("found", found);
}
