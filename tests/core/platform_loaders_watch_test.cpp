// The calls of the subsystem loaders to the dynamic linker. This program defines those functions and records the
// calls.
#include "core/platform.h"

#include <mach-o/dyld.h>

#include <gtest/gtest.h>

#include <stdio.h>
#include <stdlib.h>
#include <string>
#include <utility>

static bool s_isDefined = true;
static std::string s_asked;

static void note(const std::string& what)
{
    s_asked += (s_asked.empty() ? "" : ", ") + what;
}

extern "C" {

bool NSIsSymbolNameDefined(const char* name)
{
    note(std::string("defined ") + name);
    return s_isDefined;
}

NSSymbol NSLookupAndBindSymbol(const char* name)
{
    note(std::string("bind ") + name);
    return reinterpret_cast<NSSymbol>(0x100);
}

void* NSAddressOfSymbol(NSSymbol symbol)
{
    note(symbol == reinterpret_cast<NSSymbol>(0x100) ? "address" : "address of something else");
    return reinterpret_cast<void*>(0x200);
}

} // extern "C"

struct Loader {
    const char* symbol;
    int (*load)(const char*);
    int (*unload)();
    void (**factory)();
};
static const Loader sc_loaders[] = {
    {"_CreateGfxSubsystem", LoadGraphicsAPI, UnloadGraphicsAPI, &gfxCreateGfxSubsystem},
    {"_CreateSndSubsystem", LoadSoundAPI, UnloadSoundAPI, &sndCreateSndSubsystem},
    {"_CreateSnd3dSubsystem", Load3dSoundAPI, Unload3dSoundAPI, &sndCreateSnd3dSubsystem},
};

TEST(PlatformLoadersWatch, EachFindsItsSymbolBindsItAndStoresItsAddress)
{
    for (const Loader& loader : sc_loaders) {
        EXPECT_EQ(loader.load(nullptr), 1);
        EXPECT_EQ(std::exchange(s_asked, ""),
                  std::string("defined ") + loader.symbol + ", bind " + loader.symbol + ", address");
        EXPECT_EQ(*loader.factory, reinterpret_cast<void (*)()>(0x200));
        *loader.factory = nullptr;
        for (const Loader& other : sc_loaders) {
            EXPECT_EQ(*other.factory, nullptr) << loader.symbol << " stores into " << other.symbol;
        }
    }
}

TEST(PlatformLoadersWatch, UnloadingAsksForNothingAndKeepsTheFactory)
{
    for (const Loader& loader : sc_loaders) {
        loader.load(nullptr);
        s_asked.clear();
        EXPECT_EQ(loader.unload(), 1);
        EXPECT_EQ(s_asked, "");
        EXPECT_EQ(*loader.factory, reinterpret_cast<void (*)()>(0x200));
    }
}

TEST(PlatformLoadersWatch, WithoutTheSymbolNothingMoreIsAskedAndTheGameEnds)
{
    s_isDefined = false;
    for (const Loader& loader : sc_loaders) {
        EXPECT_EXIT(
            {
                atexit([] { fputs(s_asked.c_str(), stderr); });
                loader.load("name");
                _Exit(0);
            },
            testing::ExitedWithCode(1), std::string("^defined ") + loader.symbol + "$");
    }
}
