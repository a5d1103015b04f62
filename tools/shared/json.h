// JSON that a program writes. An object keeps the order of its names.
//
//     Json bank = Json::object({{"name", "level"}, {"bytes", 4096}});
//     bank["blocks"] = Json::array({1, 2, 3});
//     puts(bank.text(2).c_str());
//
// A writer of our own, although languageserver.cpp reads JSON with nlohmann-json: a file that includes the header of
// nlohmann-json compiles in 2.9 seconds and 290 MB, a file that includes this header in 0.3 seconds and 73 MB, and more
// than ten files of the tools write JSON.
#pragma once

#include <initializer_list>
#include <memory>
#include <stddef.h>
#include <stdint.h>
#include <string>
#include <type_traits>
#include <vector>

struct JsonMember;

class Json {
public:
    Json(); // null
    Json(bool value);
    Json(double value);
    Json(const char* text);
    Json(const std::string& text);
    Json(const std::vector<std::string>& texts);
    template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number>>>
    Json(Number value) : Json(Integer{static_cast<uint64_t>(value), std::is_signed_v<Number>})
    {
    }
    Json(const Json& other);
    Json(Json&& other) noexcept;
    Json& operator=(const Json& other);
    Json& operator=(Json&& other) noexcept;
    ~Json();

    static Json array(std::initializer_list<Json> items = {});
    static Json object(std::initializer_list<JsonMember> members = {});

    bool isNull() const { return m_kind == Kind::Null; }
    bool isText() const { return m_kind == Kind::Text; }
    const std::string& asText() const; // of a text
    int64_t asInteger() const;         // of an integer
    double asDouble() const;           // of a number

    void add(Json item); // to an array

    // The member of an object; a new name is added with null. Null itself becomes an object first.
    Json& operator[](const std::string& name);

    // Returns the text: with line feeds and `indent` blanks a level, or in one line if indent is negative. In strings,
    // bytes that are no UTF-8 are replaced.
    std::string text(int indent = -1) const;

private:
    enum class Kind { Null, Bool, Signed, Unsigned, Double, Text, Array, Object };
    struct Integer {
        uint64_t bits;
        bool isSigned;
    };
    struct Parts; // the string, items or members

    explicit Json(Integer integer);
    explicit Json(Kind kind);
    std::string _scalar() const;
    void _append(std::string* text, int indent, int depth) const;

    Kind m_kind = Kind::Null;
    uint64_t m_integer = 0; // also of a bool: 0 or 1
    double m_double = 0;
    std::unique_ptr<Parts> m_parts; // null for values without parts
};

struct JsonMember {
    std::string name;
    Json value;
};

// Returns the text as a string of JSON, with its quotes. Bytes that are no UTF-8 are replaced.
std::string quotedForJson(const std::string& text);
