// A function of the library, defined a second time in libcorewatch.so.
//
// The dynamic linker finds libcorewatch.so first, because the tool names it in LD_PRELOAD. So all calls of the game, and
// the library's calls of its own public functions, come here. A hook does its work and calls the real function:
//
//   WATCH_FUNCTION("_ZN9MemoryMgr7getSizeEiPv", unsigned int, getSize, (MemoryMgr * manager, int bank, void* block))
//   {
//       return s_getSize.real()(manager, bank, block);
//   }
//
// The text is the symbol of the function. A member function has its object as its first parameter. Each hook is one
// exported symbol, which preload.map lists.
#pragma once

#include <atomic>
#include <dlfcn.h>

namespace watch {

template <typename Function>
class RealFunction {
public:
    constexpr explicit RealFunction(const char* symbol) : m_symbol(symbol) {}

    // Returns the function that the game would call without this library.
    Function* real()
    {
        Function* function = m_function.load(std::memory_order_relaxed);
        return __builtin_expect(function != nullptr, 1) ? function : _find();
    }

private:
    __attribute__((noinline)) Function* _find()
    {
        Function* function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, m_symbol));
        m_function.store(function, std::memory_order_relaxed);
        return function;
    }

    const char* m_symbol;
    std::atomic<Function*> m_function{nullptr};
};

} // namespace watch

#define WATCH_FUNCTION(symbol, result, name, parameters)                                                             \
    static watch::RealFunction<result parameters> s_##name(symbol);                                                  \
    extern "C" __attribute__((visibility("default"))) result watch_##name parameters __asm__(symbol);                \
    result watch_##name parameters
