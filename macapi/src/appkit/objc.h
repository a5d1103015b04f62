// The calls of the Objective-C runtime that we use. This library is built without the runtime's headers and runs
// without its library: the calls are pointers, which findObjectiveC sets when the program has loaded the runtime.
#pragma once

namespace macapi {

using ID = void*;             // an object
using Class = void*;          // a class is an object too
using Selector = const void*; // the name of a message
using Method = void*;
using Function = void (*)(); // the function of a method: (ID self, Selector, ...)

// Returns true if the pointers below are set. The first call looks for the runtime.
bool hasObjectiveC();

// Looks for the runtime, unless it was found before. Returns hasObjectiveC. The call takes about a microsecond while
// the program has no runtime.
bool findObjectiveC();

extern Class (*objc_lookUpClass)(const char* name);
extern Class (*objc_allocateClassPair)(Class superclass, const char* name, unsigned long extraBytes);
extern void (*objc_registerClassPair)(Class made);
extern unsigned char (*class_addMethod)(Class to, Selector name, Function function, const char* types);
extern Method (*class_getInstanceMethod)(Class of, Selector name);
extern Method (*class_getClassMethod)(Class of, Selector name);
extern Function (*class_getMethodImplementation)(Class of, Selector name);
extern Function (*method_getImplementation)(Method method);
extern Function (*method_setImplementation)(Method method, Function function);
extern Selector (*sel_registerName)(const char* name);
extern Function (*objc_msg_lookup)(ID receiver, Selector name);

// [receiver name]: send<Result>(receiver, "name", arguments...)
template <class Result, class... Arguments>
Result send(ID receiver, const char* name, Arguments... arguments)
{
    const Selector selector = sel_registerName(name);
    const Function function = objc_msg_lookup(receiver, selector);
    return reinterpret_cast<Result (*)(ID, Selector, Arguments...)>(function)(receiver, selector, arguments...);
}

} // namespace macapi
