// The exported calls: from the Mac's names to the store.
#include "macapi/src/objects/ascii.h"
#include "macapi/src/preferences/preferences_store.h"

#include <charconv>
#include <cmath>
#include <exception>
#include <limits>
#include <optional>

using namespace macapi;

static const Constant<__CFString> s_anyApplication(sc_anyApplication);
static const Constant<__CFString> s_currentApplication(sc_currentApplication);
static const Constant<__CFString> s_anyHost("kCFPreferencesAnyHost");
static const Constant<__CFString> s_currentHost("kCFPreferencesCurrentHost");
static const Constant<__CFString> s_anyUser("kCFPreferencesAnyUser");
static const Constant<__CFString> s_currentUser("kCFPreferencesCurrentUser");

const CFStringRef kCFPreferencesAnyApplication = &s_anyApplication.object;
const CFStringRef kCFPreferencesCurrentApplication = &s_currentApplication.object;
const CFStringRef kCFPreferencesAnyHost = &s_anyHost.object;
const CFStringRef kCFPreferencesCurrentHost = &s_currentHost.object;
const CFStringRef kCFPreferencesAnyUser = &s_anyUser.object;
const CFStringRef kCFPreferencesCurrentUser = &s_currentUser.object;

// Returns the domain of three names; nothing if a name is missing, or if user or host is not one of the four
// constants.
static std::optional<PreferencesDomain> domainOf(CFStringRef application, CFStringRef user, CFStringRef host)
{
    const __CFString* names[] = {as<__CFString>(application), as<__CFString>(user), as<__CFString>(host)};
    if (!names[0] || !names[1] || !names[2]) {
        return std::nullopt;
    }
    const bool anyUser = names[1]->text == s_anyUser.object.text;
    const bool anyHost = names[2]->text == s_anyHost.object.text;
    if ((!anyUser && names[1]->text != s_currentUser.object.text) ||
        (!anyHost && names[2]->text != s_currentHost.object.text)) {
        return std::nullopt;
    }
    return PreferencesDomain{names[0]->text, anyUser ? PreferencesUser::Any : PreferencesUser::Current,
                             anyHost ? PreferencesHost::Any : PreferencesHost::Current};
}

// Returns all domains in which a value of an application can be.
static std::vector<PreferencesDomain> domainsOf(const std::string& application)
{
    std::vector<PreferencesDomain> domains;
    for (PreferencesUser user : {PreferencesUser::Current, PreferencesUser::Any}) {
        for (const std::string& name : {application, std::string(sc_anyApplication)}) {
            for (PreferencesHost host : {PreferencesHost::Current, PreferencesHost::Any}) {
                domains.push_back({name, user, host});
            }
        }
    }
    return domains;
}

static Ref<Object> appValue(CFStringRef key, CFStringRef application)
{
    const __CFString* name = as<__CFString>(key);
    const __CFString* owner = as<__CFString>(application);
    return name && owner ? copyAppPreference(owner->text, name->text) : nullptr;
}

// Sets a value; null removes it. Does nothing for an object of AppKit's, because the store cannot hold it.
static void setValue(CFStringRef key, CFPropertyListRef value, const std::optional<PreferencesDomain>& domain)
{
    const __CFString* name = as<__CFString>(key);
    const Object* object = objectOf(value);
    if (name && domain && (object || !value)) {
        setPreference(*domain, name->text, share(object));
    }
}

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef application)
try {
    return appValue(key, application).release();
} catch (const std::exception&) {
    return nullptr;
}

static const CFIndex sc_least = std::numeric_limits<CFIndex>::min();
static const CFIndex sc_most = std::numeric_limits<CFIndex>::max();

// Converts a number; a real loses its fraction. Returns nothing if CFIndex cannot hold it.
static std::optional<CFIndex> integerFrom(const __CFNumber& number)
{
    if (number.isReal) {
        // -least is the largest integer + 1, a power of two: a double can hold it exactly. The largest integer itself
        // may have too many digits for a double.
        const double whole = std::trunc(number.real);
        const bool fits = whole >= static_cast<double>(sc_least) && whole < -static_cast<double>(sc_least);
        return fits ? std::optional<CFIndex>(static_cast<CFIndex>(whole)) : std::nullopt;
    }
    const uint64_t limit = static_cast<uint64_t>(sc_most) + (number.negative ? 1 : 0);
    if (number.magnitude > limit) {
        return std::nullopt;
    }
    return static_cast<CFIndex>(number.negative ? -number.magnitude : number.magnitude);
}

// Accepts blanks and line ends, then an optional sign, then digits, and nothing after them. Returns nothing if
// CFIndex cannot hold the number.
static std::optional<CFIndex> integerFrom(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    if (text.size() > 1 && text[0] == '+' && isDigit(text[1])) {
        text.remove_prefix(1); // from_chars accepts no plus sign
    }
    CFIndex value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end ? std::optional<CFIndex>(value) : std::nullopt;
}

static std::optional<CFIndex> integerFrom(const Object* value)
{
    if (const __CFNumber* number = as<__CFNumber>(value)) {
        return integerFrom(*number);
    }
    if (const __CFBoolean* boolean = as<__CFBoolean>(value)) {
        return boolean->value ? 1 : 0;
    }
    const __CFString* string = as<__CFString>(value);
    return string ? integerFrom(std::string_view(string->text)) : std::nullopt;
}

CFIndex CFPreferencesGetAppIntegerValue(CFStringRef key, CFStringRef application, Boolean* valid)
try {
    const std::optional<CFIndex> integer = integerFrom(appValue(key, application).get());
    if (valid) {
        *valid = integer.has_value();
    }
    return integer.value_or(0);
} catch (const std::exception&) {
    if (valid) {
        *valid = false;
    }
    return 0;
}

void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef application)
try {
    setValue(key, value, domainOf(application, &s_currentUser.object, &s_anyHost.object));
} catch (const std::exception&) {
    // The value does not change.
}

Boolean CFPreferencesAppSynchronize(CFStringRef application)
try {
    const __CFString* name = as<__CFString>(application);
    bool written = name;
    if (name) {
        for (const PreferencesDomain& domain : domainsOf(name->text)) {
            written = synchronizePreferences(domain) && written;
        }
    }
    return written;
} catch (const std::exception&) {
    return false;
}

CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user, CFStringRef host)
try {
    const std::optional<PreferencesDomain> domain = domainOf(application, user, host);
    const __CFString* name = as<__CFString>(key);
    return domain && name ? copyPreference(*domain, name->text).release() : nullptr;
} catch (const std::exception&) {
    return nullptr;
}

void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef application, CFStringRef user,
                           CFStringRef host)
try {
    setValue(key, value, domainOf(application, user, host));
} catch (const std::exception&) {
    // The value does not change.
}

Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host)
try {
    const std::optional<PreferencesDomain> domain = domainOf(application, user, host);
    return domain && synchronizePreferences(*domain);
} catch (const std::exception&) {
    return false;
}
