// The subsystem loaders, in a process whose program defines the graphics factory, whose module the sound factory, and
// where no module defines the 3D sound factory. MODULE is the path of platform_loaders_module.
#include "core/platform.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

// Exported to the dynamic linker because libcore refers to the name.
extern "C" const char* CreateGfxSubsystem(int width, int height)
{
    return width > height ? "landscape" : "portrait";
}

TEST(PlatformLoaders, FactoriesAreNullUntilTheyAreLoaded)
{
    EXPECT_EQ(gfxCreateGfxSubsystem, nullptr);
    EXPECT_EQ(sndCreateSndSubsystem, nullptr);
    EXPECT_EQ(sndCreateSnd3dSubsystem, nullptr);
}

TEST(PlatformLoaders, TheProgramsOwnFactoryIsFound)
{
    EXPECT_EQ(LoadGraphicsAPI("graphics"), 1);
    ASSERT_EQ(gfxCreateGfxSubsystem, reinterpret_cast<void (*)()>(CreateGfxSubsystem));
    EXPECT_STREQ(reinterpret_cast<const char* (*)(int, int)>(gfxCreateGfxSubsystem)(800, 600), "landscape");
    EXPECT_EQ(sndCreateSndSubsystem, nullptr);
    EXPECT_EQ(sndCreateSnd3dSubsystem, nullptr);
}

TEST(PlatformLoaders, AFactoryIsFoundInAModuleThatWasLoadedForTheGameAlone)
{
    void* module = dlopen(MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(module) << dlerror();
    EXPECT_EQ(LoadSoundAPI("sound"), 1);
    ASSERT_EQ(sndCreateSndSubsystem, reinterpret_cast<void (*)()>(dlsym(module, "CreateSndSubsystem")));
    EXPECT_EQ(reinterpret_cast<int (*)(int)>(sndCreateSndSubsystem)(5), 6);
    EXPECT_EQ(gfxCreateGfxSubsystem, nullptr);
}

TEST(PlatformLoaders, LoadingTwiceStoresTheSameAddressAgain)
{
    EXPECT_EQ(LoadGraphicsAPI("graphics"), 1);
    gfxCreateGfxSubsystem = nullptr;
    EXPECT_EQ(LoadGraphicsAPI("graphics"), 1);
    EXPECT_EQ(gfxCreateGfxSubsystem, reinterpret_cast<void (*)()>(CreateGfxSubsystem));
}

TEST(PlatformLoaders, TheNameMakesNoDifference)
{
    for (const char* name :
         {static_cast<const char*>(nullptr), "", "CreateSndSubsystem", "/no/such/module", "%s%n"}) {
        gfxCreateGfxSubsystem = nullptr;
        EXPECT_EQ(LoadGraphicsAPI(name), 1);
        EXPECT_EQ(gfxCreateGfxSubsystem, reinterpret_cast<void (*)()>(CreateGfxSubsystem));
    }
}

TEST(PlatformLoaders, UnloadingDoesNothing)
{
    EXPECT_EQ(UnloadGraphicsAPI(), 1); // not loaded yet
    EXPECT_EQ(UnloadSoundAPI(), 1);
    EXPECT_EQ(Unload3dSoundAPI(), 1);
    LoadGraphicsAPI(nullptr);
    EXPECT_EQ(UnloadGraphicsAPI(), 1);
    EXPECT_EQ(gfxCreateGfxSubsystem, reinterpret_cast<void (*)()>(CreateGfxSubsystem));
}

// What is registered for the end of a program still happens; nothing is printed but by that.
static void endWithMark(int (*load)(const char*))
{
    dup2(STDERR_FILENO, STDOUT_FILENO);
    atexit([] { fputs("the end", stderr); });
    load("sound");
    _Exit(0);
}

TEST(PlatformLoaders, WithoutItsFactoryTheGameEndsWithStatus1AndNoMessage)
{
    EXPECT_EXIT(endWithMark(Load3dSoundAPI), testing::ExitedWithCode(1), "^the end$");
    EXPECT_EXIT(endWithMark(LoadSoundAPI), testing::ExitedWithCode(1), "^the end$");
    EXPECT_EXIT(endWithMark(LoadGraphicsAPI), testing::ExitedWithCode(0), "^$"); // there is one
}
