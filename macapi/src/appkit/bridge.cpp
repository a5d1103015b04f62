// The Objective-C classes of our objects, made while the program runs.
#include "macapi/src/appkit/bridge.h"

#include "macapi/src/appkit/messages.h"
#include "macapi/src/objects/string.h"

#include <assert.h>
#include <atomic>
#include <mutex>
#include <vector>

namespace macapi {

// Returns the new class; null if the program already has a class of that name, because it has loaded a second copy of
// this library.
static Class makeClass(const KindEntry& kind)
{
    const Class made = objc_allocateClassPair(objc_lookUpClass(kind.superclass), kind.className, 0);
    if (made) {
        addObjectMethods(made);
        kind.addMethods(made);
        objc_registerClassPair(made);
    }
    return made;
}

static std::mutex s_mutex;
static std::atomic<bool> s_made;
static std::atomic<const void*> s_classes[sc_kindCount];

// The immortal objects that were made before the classes. Guarded by s_mutex.
static std::vector<const Object*>& objectsWithoutClass()
{
    static auto& s_objects = *new std::vector<const Object*>;
    return s_objects;
}

void makeClasses()
{
    const std::lock_guard<std::mutex> lock(s_mutex);
    if (s_made || !objc_lookUpClass("NSDictionary")) {
        return;
    }
    for (int i = 0; i < sc_kindCount; i++) {
        assert(!s_classes[i] && "appkit 2: the classes are made once");
        s_classes[i] = makeClass(entryOf(static_cast<Kind>(i)));
    }
    for (const Object* object : objectsWithoutClass()) {
        object->isa = s_classes[static_cast<int>(object->kind)].load();
    }
    objectsWithoutClass().clear();
    s_made = true;
}

const void* classOf(Kind kind)
{
    if (!hasObjectiveC()) {
        return nullptr;
    }
    if (!s_made) {
        makeClasses();
    }
    return s_classes[static_cast<int>(kind)];
}

bool isObjectClass(const void* objectsClass)
{
    for (const auto& one : s_classes) {
        if (one == objectsClass) {
            return true;
        }
    }
    return false;
}

void assignClass(const Object* object)
{
    assert(object->references() == 0 && "appkit 3: an immortal object gets its class when the classes are made");
    const std::lock_guard<std::mutex> lock(s_mutex);
    if (s_made) {
        object->isa = s_classes[static_cast<int>(object->kind)].load();
    } else {
        objectsWithoutClass().push_back(object);
    }
}

// Returns nothing if the object is no NSString, or if its text has no UTF-8 form (half a surrogate pair).
static std::optional<std::string> textOfNSString(ID string)
{
    const Class strings = hasObjectiveC() ? objc_lookUpClass("NSString") : nullptr;
    if (!strings || !send<unsigned char>(string, "isKindOfClass:", strings)) {
        return std::nullopt;
    }
    const unsigned long utf8 = 4; // NSUTF8StringEncoding
    const ID data = send<ID>(string, "dataUsingEncoding:", utf8);
    if (!data) {
        return std::nullopt;
    }
    return std::string(send<const char*>(data, "bytes"), send<unsigned long>(data, "length"));
}

std::optional<std::string> textOf(CFTypeRef string)
{
    if (!string) {
        return std::nullopt;
    }
    if (!objectOf(string)) {
        return textOfNSString(const_cast<void*>(string));
    }
    const __CFString* known = as<__CFString>(string);
    return known ? std::make_optional(known->text) : std::nullopt;
}

} // namespace macapi
