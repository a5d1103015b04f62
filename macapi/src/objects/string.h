// The object that a CFStringRef points to.
#pragma once

#include "macapi/src/objects/encoding.h"
#include "macapi/src/objects/object.h"

#include <assert.h>
#include <string>

struct __CFString final : macapi::Object {
    static const macapi::Kind sc_kind = macapi::Kind::String;

    explicit __CFString(std::string utf8) : Object(sc_kind), text(std::move(utf8))
    {
        assert(macapi::isText(text) && "objects 3: every text is well-formed UTF-8 without a NUL");
    }

    const std::string text; // UTF-8, always well formed, without a NUL
};
