// The samples of core/stringtable.h: the code and the strings file.
#include "core/stringtable.h"
#include "tests/support/game_memory.h"

#include <gtest/gtest.h>

#include <filesystem>

static std::string s_label;

static void label(const char* text)
{
    s_label = text;
}

namespace {
#include "core/stringtable.h.samples"
}

TEST(Samples, TheStringTableTranslatesByItsSampleFile)
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    memory.initialize();
    std::filesystem::create_directories("locale/french");
    writeFile("locale/french/strings.utf8", data1);

    sample1();
    EXPECT_EQ(s_label, "Nouvelle partie");

    StringTable strings;
    strings.setLanguage("french");
    EXPECT_STREQ(strings.translate("SAY \"yes\"\n"), "Dites \"Oui\"\n");
}
