#include "watch/preload/announce.h"

#include "watch/preload/managerview.h"

#include <atomic>

#if __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#else // this host has no Valgrind
#define RUNNING_ON_VALGRIND 0
#define VALGRIND_DISABLE_ERROR_REPORTING
#define VALGRIND_ENABLE_ERROR_REPORTING
#define VALGRIND_MAKE_MEM_NOACCESS(address, bytes) (void)(address), (void)(bytes)
#define VALGRIND_MAKE_MEM_UNDEFINED(address, bytes) (void)(address), (void)(bytes)
#define VALGRIND_CREATE_MEMPOOL(pool, redzone, isZeroed) (void)(pool)
#define VALGRIND_MEMPOOL_ALLOC(pool, address, bytes) (void)(pool), (void)(address), (void)(bytes)
#define VALGRIND_MEMPOOL_CHANGE(pool, before, now, bytes) (void)(pool), (void)(before), (void)(now), (void)(bytes)
#define VALGRIND_MEMPOOL_FREE(pool, address) (void)(pool), (void)(address)
#define VALGRIND_DO_LEAK_CHECK
#endif

// The sanitizer's runtime library defines these; without it they are null.
extern "C" void __asan_poison_memory_region(void const volatile* address, size_t bytes) __attribute__((weak));
extern "C" void __asan_unpoison_memory_region(void const volatile* address, size_t bytes) __attribute__((weak));

namespace watch {

#ifdef __SANITIZE_ADDRESS__
static const bool sc_isLibraryBuiltWithSanitizer = true; // then libcore is as well, and it may not read its headers
#else
static const bool sc_isLibraryBuiltWithSanitizer = false;
#endif

std::atomic<int> g_listener{-1};

Listener findListener()
{
    const bool isSanitizer = __asan_poison_memory_region && __asan_unpoison_memory_region;
    Listener found = isSanitizer && !sc_isLibraryBuiltWithSanitizer ? LISTENER_SANITIZER : LISTENER_NONE;
    if (RUNNING_ON_VALGRIND) {
        found = LISTENER_MEMCHECK;
    }
    g_listener.store(found, std::memory_order_relaxed);
    return found;
}

static void forbid(void* memory, size_t bytes)
{
    if (listener() == LISTENER_MEMCHECK) {
        VALGRIND_MAKE_MEM_NOACCESS(memory, bytes);
    } else if (listener() == LISTENER_SANITIZER && __asan_poison_memory_region) {
        __asan_poison_memory_region(memory, bytes);
    }
}

static void allow(void* memory, size_t bytes)
{
    if (listener() == LISTENER_SANITIZER && __asan_unpoison_memory_region) {
        __asan_unpoison_memory_region(memory, bytes);
    }
}

void announceRegion(void* region, size_t bytes)
{
    forbid(region, bytes);
}

void retractRegion(void* region, size_t bytes)
{
    allow(region, bytes);
}

void announcePool(void* pool)
{
    if (listener() == LISTENER_MEMCHECK) {
        VALGRIND_CREATE_MEMPOOL(pool, sc_headerBytes, 0);
    }
}

void announceBlock(void* pool, void* block, size_t request, void* whole, size_t wholeBytes)
{
    if (listener() == LISTENER_NONE) {
        return;
    }
    forbid(whole, wholeBytes);
    allow(block, request);
    if (listener() == LISTENER_MEMCHECK) {
        VALGRIND_MEMPOOL_ALLOC(pool, block, request);
    }
}

void resizeBlock(void* pool, void* block, size_t before, size_t now)
{
    allow(block, now);
    if (listener() == LISTENER_MEMCHECK) {
        VALGRIND_MEMPOOL_CHANGE(pool, block, block, now);
        VALGRIND_MAKE_MEM_UNDEFINED(static_cast<char*>(block) + before, now - before);
    }
}

void beforeFree(void* whole, size_t wholeBytes, bool isFallback)
{
    if (isFallback) {
        allow(whole, wholeBytes);
    }
}

void retractBlock(void* pool, void* block, void* whole, size_t wholeBytes, bool isFallback)
{
    if (listener() == LISTENER_MEMCHECK) {
        VALGRIND_MEMPOOL_FREE(pool, block);
    }
    if (!isFallback) {
        forbid(whole, wholeBytes);
    }
}

void announceWrongFree(void* pool, void* address)
{
    if (listener() == LISTENER_MEMCHECK) {
        VALGRIND_ENABLE_ERROR_REPORTING;
        VALGRIND_MEMPOOL_FREE(pool, address);
        VALGRIND_DISABLE_ERROR_REPORTING;
    }
}

void announceEnd()
{
    if (listener() == LISTENER_MEMCHECK) {
        VALGRIND_DO_LEAK_CHECK;
    }
}

void stopReports()
{
    VALGRIND_DISABLE_ERROR_REPORTING;
}

void continueReports()
{
    VALGRIND_ENABLE_ERROR_REPORTING;
}

} // namespace watch
