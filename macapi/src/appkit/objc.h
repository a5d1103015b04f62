// The calls of the Objective-C runtime that we use. They are weak: this library is built without the runtime's
// headers and runs without its library. Their addresses are null when the runtime is not loaded.
#pragma once

namespace macapi {

using ID = void*;             // an object
using Class = void*;          // a class is an object too
using Selector = const void*; // the name of a message
using Method = void*;
using Function = void (*)(); // the function of a method: (ID self, Selector, ...)

extern "C" {
__attribute__((weak)) Class objc_lookUpClass(const char* name);
__attribute__((weak)) Class objc_allocateClassPair(Class superclass, const char* name, unsigned long extraBytes);
__attribute__((weak)) void objc_registerClassPair(Class made);
__attribute__((weak)) unsigned char class_addMethod(Class to, Selector name, Function function, const char* types);
__attribute__((weak)) Method class_getInstanceMethod(Class of, Selector name);
__attribute__((weak)) Method class_getClassMethod(Class of, Selector name);
__attribute__((weak)) Function class_getMethodImplementation(Class of, Selector name);
__attribute__((weak)) Function method_getImplementation(Method method);
__attribute__((weak)) Function method_setImplementation(Method method, Function function);
__attribute__((weak)) Selector sel_registerName(const char* name);
__attribute__((weak)) Function objc_msg_lookup(ID receiver, Selector name);
}

// [receiver name]: send<Result>(receiver, "name", arguments...)
template <class Result, class... Arguments>
Result send(ID receiver, const char* name, Arguments... arguments)
{
    const Selector selector = sel_registerName(name);
    const Function function = objc_msg_lookup(receiver, selector);
    return reinterpret_cast<Result (*)(ID, Selector, Arguments...)>(function)(receiver, selector, arguments...);
}

} // namespace macapi
