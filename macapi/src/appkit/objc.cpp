// Finding the Objective-C runtime in the process. The runtime comes with the program, or later with AppKit.
#include "macapi/src/appkit/objc.h"

#include "macapi/src/appkit/bkwindow_library.h"
#include "macapi/src/appkit/bridge.h"

#include <atomic>
#include <dlfcn.h>
#include <mutex>

namespace macapi {

Class (*objc_lookUpClass)(const char*);
Class (*objc_allocateClassPair)(Class, const char*, unsigned long);
void (*objc_registerClassPair)(Class);
unsigned char (*class_addMethod)(Class, Selector, Function, const char*);
Method (*class_getInstanceMethod)(Class, Selector);
Method (*class_getClassMethod)(Class, Selector);
Function (*class_getMethodImplementation)(Class, Selector);
Function (*method_getImplementation)(Method);
Function (*method_setImplementation)(Method, Function);
Selector (*sel_registerName)(const char*);
Function (*objc_msg_lookup)(ID, Selector);

enum class Runtime { NotLookedFor, Missing, Found };
static std::atomic<Runtime> s_runtime;
static std::mutex s_mutex;

template <class F>
static bool find(F** function, const char* name)
{
    *function = reinterpret_cast<F*>(dlsym(RTLD_DEFAULT, name));
    return *function != nullptr;
}

static bool findAll()
{
    return find(&objc_lookUpClass, "objc_lookUpClass") && find(&objc_allocateClassPair, "objc_allocateClassPair") &&
           find(&objc_registerClassPair, "objc_registerClassPair") && find(&class_addMethod, "class_addMethod") &&
           find(&class_getInstanceMethod, "class_getInstanceMethod") &&
           find(&class_getClassMethod, "class_getClassMethod") &&
           find(&class_getMethodImplementation, "class_getMethodImplementation") &&
           find(&method_getImplementation, "method_getImplementation") &&
           find(&method_setImplementation, "method_setImplementation") &&
           find(&sel_registerName, "sel_registerName") && find(&objc_msg_lookup, "objc_msg_lookup");
}

bool hasObjectiveC()
{
    const Runtime known = s_runtime.load(std::memory_order_acquire);
    return known == Runtime::NotLookedFor ? findObjectiveC() : known == Runtime::Found;
}

bool findObjectiveC()
{
    if (s_runtime.load(std::memory_order_acquire) == Runtime::Found) {
        return true;
    }
    const std::lock_guard<std::mutex> lock(s_mutex);
    if (s_runtime != Runtime::Found) {
        s_runtime.store(findAll() ? Runtime::Found : Runtime::Missing, std::memory_order_release);
    }
    return s_runtime == Runtime::Found;
}

} // namespace macapi

void macapi_appKitWasLoaded()
{
    if (macapi::findObjectiveC()) {
        macapi::makeClasses();
    }
}
