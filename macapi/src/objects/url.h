// The URL behind a CFURLRef.
#pragma once

#include "macapi/src/objects/string.h"

#include <string>

struct __CFURL final : macapi::Object {
    static const macapi::Kind sc_kind = macapi::Kind::URL;

    explicit __CFURL(std::string text) : Object(sc_kind), string(macapi::make<__CFString>(std::move(text))) {}

    const macapi::Ref<__CFString> string; // ASCII, only what a URL may hold
};

namespace macapi {

// The URL of an absolute path.
Ref<__CFURL> makeFileURL(const std::string& path, bool isFolder);

bool hasScheme(const std::string& url);

} // namespace macapi
