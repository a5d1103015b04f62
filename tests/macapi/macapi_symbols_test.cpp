// Symbols of the process by name. MODULE is the path of macapi_symbols_module.
#include <mach-o/dyld.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <filesystem>
#include <stddef.h>
#include <thread>
#include <unistd.h>

extern "C" __attribute__((visibility("default"))) int ProgramFunction()
{
    return 41;
}

// What the three calls make of a name; null when it isn't defined.
static void* lookUp(const char* name)
{
    const NSSymbol symbol = NSLookupAndBindSymbol(name);
    EXPECT_EQ(NSIsSymbolNameDefined(name), symbol != nullptr);
    return NSAddressOfSymbol(symbol);
}

static int call(const char* name)
{
    void* address = lookUp(name);
    return address ? reinterpret_cast<int (*)()>(address)() : 0;
}

TEST(Symbols, AFunctionOfTheProgramIsFoundBehindAnUnderscore)
{
    EXPECT_EQ(call("_ProgramFunction"), 41);
    EXPECT_EQ(lookUp("_ProgramFunction"), reinterpret_cast<void*>(ProgramFunction));
}

TEST(Symbols, AFunctionOfALinkedLibraryIsFound)
{
    EXPECT_EQ(lookUp("_NSAddressOfSymbol"), reinterpret_cast<void*>(NSAddressOfSymbol));
    EXPECT_EQ(lookUp("_getpid"), reinterpret_cast<void*>(getpid));
}

TEST(Symbols, ANameWithoutTheUnderscoreIsNotDefined)
{
    EXPECT_EQ(lookUp("ProgramFunction"), nullptr);
    EXPECT_EQ(lookUp("getpid"), nullptr);
    EXPECT_EQ(lookUp("xgetpid"), nullptr);
}

TEST(Symbols, AMissingAnEmptyAndANullNameAreNotDefined)
{
    EXPECT_EQ(lookUp("_NoSuchFunction"), nullptr);
    EXPECT_EQ(lookUp("_"), nullptr);
    EXPECT_EQ(lookUp(""), nullptr);
    EXPECT_EQ(lookUp(nullptr), nullptr);
    EXPECT_EQ(lookUp(("_" + std::string(100000, 'x')).c_str()), nullptr);
}

TEST(Symbols, OneLetterLessOrMoreIsAnotherName)
{
    EXPECT_EQ(lookUp("_ProgramFunctio"), nullptr);
    EXPECT_EQ(lookUp("_ProgramFunctions"), nullptr);
    EXPECT_EQ(lookUp("__ProgramFunction"), nullptr);
    EXPECT_EQ(lookUp("_programFunction"), nullptr);
}

TEST(Symbols, AModuleIsSearchedFromItsLoadingToItsUnloading)
{
    EXPECT_EQ(lookUp("_ModuleFunction"), nullptr);
    void* module = dlopen(MODULE, RTLD_NOW | RTLD_GLOBAL);
    ASSERT_TRUE(module) << dlerror();
    EXPECT_EQ(call("_ModuleFunction"), 42);
    EXPECT_EQ(dlclose(module), 0);
    EXPECT_EQ(lookUp("_ModuleFunction"), nullptr);
}

TEST(Symbols, AModuleThatWasLoadedForOneUserAloneIsSearchedAsWell)
{
    void* module = dlopen(MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(module) << dlerror();
    ASSERT_EQ(dlsym(RTLD_DEFAULT, "ModuleFunction"), nullptr);
    EXPECT_EQ(call("_ModuleFunction"), 42);
    EXPECT_EQ(lookUp("_ModuleFunction"), dlsym(module, "ModuleFunction"));
    ASSERT_EQ(dlsym(RTLD_DEFAULT, "ModuleFunction"), nullptr) << "looking makes it nobody else's";
    dlclose(module);
}

TEST(Symbols, ASearchDoesNotKeepAModuleLoaded)
{
    void* module = dlopen(MODULE, RTLD_NOW | RTLD_LOCAL);
    lookUp("_ModuleFunction");
    lookUp("_NoSuchFunction");
    dlclose(module);
    EXPECT_EQ(dlopen(MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr);
    EXPECT_EQ(lookUp("_ModuleFunction"), nullptr);
}

TEST(Symbols, AModuleIsFoundWhenItsFileIsNotAnyMore)
{
    std::filesystem::create_directory("folder");
    std::filesystem::copy_file(MODULE, "folder/module.so");
    ASSERT_TRUE(dlopen("folder/module.so", RTLD_NOW | RTLD_LOCAL)) << dlerror();
    std::filesystem::remove("folder/module.so");
    std::filesystem::current_path("folder");
    EXPECT_EQ(call("_ModuleFunction"), 42);
}

TEST(Symbols, AVariableIsASymbolToo)
{
    void* module = dlopen(MODULE, RTLD_NOW | RTLD_LOCAL);
    const int* variable = static_cast<int*>(lookUp("_ModuleVariable"));
    ASSERT_TRUE(variable);
    EXPECT_EQ(*variable, 43);
    dlclose(module);
}

TEST(Symbols, WhatAModuleHidesOrDefinesAsNothingIsNotDefined)
{
    void* module = dlopen(MODULE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_EQ(lookUp("_ModuleSecret"), nullptr);
    EXPECT_EQ(lookUp("_ModuleNothing"), nullptr);
    dlclose(module);
}

TEST(Symbols, TheProgramComesBeforeItsModules)
{
    void* module = dlopen(MODULE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_EQ(call("_ProgramFunction"), 41);
    dlclose(module);
}

// The dynamic linker holds its lock while dl_iterate_phdr calls the library's function, and while dlopen and dlclose make
// and free its records. The thread sanitizer does not see this lock, and now and then reports a race of the records. In
// each such report, the dynamic linker itself calls malloc or free. A race between functions of the library is reported.
extern "C" const char* __tsan_default_suppressions()
{
    return "race:ld-linux\n";
}

TEST(Symbols, AreLookedUpWhileOtherThreadsLoadAndUnload)
{
    std::thread loader([] {
        for (int round = 0; round < 200; ++round) {
            void* module = dlopen(MODULE, RTLD_NOW | RTLD_LOCAL);
            dlclose(module);
        }
    });
    for (int round = 0; round < 200; ++round) {
        NSIsSymbolNameDefined("_ModuleFunction");
        EXPECT_TRUE(NSIsSymbolNameDefined("_ProgramFunction"));
    }
    loader.join();
}

// The sanitizers bring a malloc of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

static bool s_isMemoryLeft = true;

extern "C" void* __libc_malloc(size_t size);

extern "C" void* malloc(size_t size)
{
    return s_isMemoryLeft ? __libc_malloc(size) : nullptr;
}

TEST(Symbols, AreNotFoundWithoutMemoryAndTheProcessContinues)
{
    s_isMemoryLeft = false;
    const bool isDefined = NSIsSymbolNameDefined("_ProgramFunction");
    const NSSymbol symbol = NSLookupAndBindSymbol("_ProgramFunction");
    s_isMemoryLeft = true;
    EXPECT_FALSE(isDefined);
    EXPECT_EQ(symbol, nullptr);
    EXPECT_EQ(call("_ProgramFunction"), 41);
}

#endif
