// The object that a CFURLRef points to.
#pragma once

#include "macapi/src/objects/string.h"

#include <string>

struct __CFURL final : macapi::Object {
    static const macapi::Kind sc_kind = macapi::Kind::URL;

    explicit __CFURL(std::string text) : Object(sc_kind), string(macapi::make<__CFString>(std::move(text))) {}

    const macapi::Ref<__CFString> string; // ASCII; only characters that a URL may hold
};

namespace macapi {

// Returns the file URL of an absolute path. With isFolder the URL ends in a slash.
Ref<__CFURL> makeFileURL(const std::string& path, bool isFolder);

bool hasScheme(const std::string& url);

} // namespace macapi
