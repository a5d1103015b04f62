// All readers of Parser in one table. The model, the fuzzer, the watch test and the table of values run over its rows:
//
//     for (const ParserReader& reader : sc_parserReaders) {
//         int values[3];
//         ReaderCall call = {parser, " ", token, "width", values, 0, nullptr};
//         bool result = reader.read(call);
//     }
#pragma once

#include "core/parser.h"

#include <string.h>

enum e_ReaderGroup {
    READER_LINE,         // moves to the next line
    READER_TOKEN,        // returns a token of the current line
    READER_STRING,       // returns a quoted string of the current line
    READER_MARK,         // takes a token and compares it with the row's argument
    READER_RESET,        // returns to the first line
    READER_BOOLEAN,      // takes a token and returns its value
    READER_VALUE_LINE,   // takes a whole line and stores its values
    READER_CURRENT_LINE, // stores values of the current line
    READER_NAMED,        // stores the values of a parameter, "name = value"
};

// The type of what a reader stores.
enum e_ReaderValue {
    VALUE_NONE,
    VALUE_INT8,
    VALUE_INT16,
    VALUE_INT32,
    VALUE_UINT32,
    VALUE_INT64,
    VALUE_FLOAT,
    VALUE_BOOLEAN,
    VALUE_TEXT, // char[]
    VALUE_UTF8, // unsigned char[]
};

// The arguments of a call and the text that it returns. A reader looks only at those it has.
struct ReaderCall {
    Parser& parser;
    const char* delimiters; // of a token
    const char* token;      // of a named reader: the first word of the line
    const char* name;       // of a named reader: the parameter that is asked for
    void* values;           // where to store: as many values of the row's type as the row says, or a text
    unsigned int size;      // of ParamEqualsString: the bytes of the text
    char* text;             // result: the token or string; null when there is none
};

struct ParserReader {
    const char* function;
    e_ReaderGroup group;
    e_ReaderValue value;
    int required;         // so many values must be in the text ...
    int count;            // ... of so many at most
    const char* argument; // the delimiters of a token, the text of a mark; or what the message says is expected
    bool (*read)(ReaderCall& call);
};

// ---- The type of a value from the type of its pointer.

constexpr e_ReaderValue valueOf(const signed char*)
{
    return VALUE_INT8;
}
constexpr e_ReaderValue valueOf(const short*)
{
    return VALUE_INT16;
}
constexpr e_ReaderValue valueOf(const int*)
{
    return VALUE_INT32;
}
constexpr e_ReaderValue valueOf(const unsigned int*)
{
    return VALUE_UINT32;
}
constexpr e_ReaderValue valueOf(const long long*)
{
    return VALUE_INT64;
}
constexpr e_ReaderValue valueOf(const float*)
{
    return VALUE_FLOAT;
}
constexpr e_ReaderValue valueOf(const bool*)
{
    return VALUE_BOOLEAN;
}
constexpr e_ReaderValue valueOf(const char*)
{
    return VALUE_TEXT;
}
constexpr e_ReaderValue valueOf(const unsigned char*)
{
    return VALUE_UTF8;
}

// ---- A row from a member function. The function's parameters say which type and how many values it stores.

template <typename Value>
Value* valuesOf(const ReaderCall& call)
{
    return static_cast<Value*>(call.values);
}

template <auto FUNCTION>
struct ReaderOf;

template <typename Value, bool (Parser::*FUNCTION)(Value*)>
struct ReaderOf<FUNCTION> {
    static const e_ReaderValue value = valueOf(static_cast<Value*>(nullptr));
    static const int count = 1;
    static bool read(ReaderCall& call) { return (call.parser.*FUNCTION)(valuesOf<Value>(call)); }
};

template <typename Value, bool (Parser::*FUNCTION)(Value*, Value*)>
struct ReaderOf<FUNCTION> {
    static const e_ReaderValue value = valueOf(static_cast<Value*>(nullptr));
    static const int count = 2;
    static bool read(ReaderCall& call)
    {
        Value* values = valuesOf<Value>(call);
        return (call.parser.*FUNCTION)(values, values + 1);
    }
};

template <typename Value, bool (Parser::*FUNCTION)(Value*, Value*, Value*)>
struct ReaderOf<FUNCTION> {
    static const e_ReaderValue value = valueOf(static_cast<Value*>(nullptr));
    static const int count = 3;
    static bool read(ReaderCall& call)
    {
        Value* values = valuesOf<Value>(call);
        return (call.parser.*FUNCTION)(values, values + 1, values + 2);
    }
};

template <typename Value, bool (Parser::*FUNCTION)(const char*, const char*, Value*)>
struct ReaderOf<FUNCTION> {
    static const e_ReaderValue value = valueOf(static_cast<Value*>(nullptr));
    static const int count = 1;
    static bool read(ReaderCall& call)
    {
        return (call.parser.*FUNCTION)(call.token, call.name, valuesOf<Value>(call));
    }
};

template <typename Value, bool (Parser::*FUNCTION)(const char*, const char*, Value*, Value*)>
struct ReaderOf<FUNCTION> {
    static const e_ReaderValue value = valueOf(static_cast<Value*>(nullptr));
    static const int count = 2;
    static bool read(ReaderCall& call)
    {
        Value* values = valuesOf<Value>(call);
        return (call.parser.*FUNCTION)(call.token, call.name, values, values + 1);
    }
};

template <auto FUNCTION>
constexpr ParserReader reader(const char* function, e_ReaderGroup group, const char* expected, int required = 0)
{
    typedef ReaderOf<FUNCTION> Reader;
    return {function,      group,    Reader::value, required ? required : Reader::count,
            Reader::count, expected, Reader::read};
}

template <bool (Parser::*FUNCTION)()>
constexpr ParserReader readerOfNoValue(const char* function, e_ReaderGroup group, const char* argument = "")
{
    return {function, group, VALUE_NONE, 0, 0, argument, [](ReaderCall& call) { return (call.parser.*FUNCTION)(); }};
}

inline bool readToken(ReaderCall& call)
{
    call.text = call.parser.GetToken(call.delimiters);
    return call.text != nullptr;
}

inline bool readString(ReaderCall& call)
{
    call.text = call.parser.GetString();
    return call.text != nullptr;
}

inline bool resetParser(ReaderCall& call)
{
    call.parser.reset();
    return false;
}

inline bool readNamedString(ReaderCall& call)
{
    return call.parser.ParamEqualsString(call.token, call.name, valuesOf<char>(call), call.size);
}

// ---- The table. The inputs of fuzz_parser name a row by its index, so no row changes its place.

constexpr ParserReader sc_parserReaders[] = {
    readerOfNoValue<&Parser::ParseLine>("ParseLine", READER_LINE),
    readerOfNoValue<&Parser::ParseLine>("ParseLine", READER_LINE), // twice: the commonest call
    {"GetToken", READER_TOKEN, VALUE_NONE, 0, 0, " ", readToken},
    {"GetString", READER_STRING, VALUE_NONE, 0, 0, "", readString},
    {"GetToken", READER_TOKEN, VALUE_NONE, 0, 0, ",", readToken},
    {"GetToken", READER_TOKEN, VALUE_NONE, 0, 0, "", readToken},
    {"GetToken", READER_TOKEN, VALUE_NONE, 0, 0, "\n=\"", readToken},
    readerOfNoValue<&Parser::GetEqualsToken>("GetEqualsToken", READER_MARK, "="),
    readerOfNoValue<&Parser::GetOpenBrace>("GetOpenBrace", READER_MARK, "{"),
    readerOfNoValue<&Parser::GetCloseBrace>("GetCloseBrace", READER_MARK, "}"),
    {"reset", READER_RESET, VALUE_NONE, 0, 0, "", resetParser},
    reader<&Parser::ParseString>("ParseString", READER_VALUE_LINE, "string"),
    reader<&Parser::ParseChar>("ParseChar", READER_VALUE_LINE, "1 char"),
    reader<&Parser::ParseUTF8>("ParseUTF8", READER_VALUE_LINE, "utf8 string"),
    reader<&Parser::ParseInteger>("ParseInteger", READER_VALUE_LINE, "1 integer"),
    reader<&Parser::ParseInteger2>("ParseInteger2", READER_VALUE_LINE, "2 integers"),
    reader<&Parser::ParseInteger2x>("ParseInteger2x", READER_VALUE_LINE, "1 or 2 integers", 1),
    reader<&Parser::ParseInteger3>("ParseInteger3", READER_VALUE_LINE, "3 integers"),
    reader<&Parser::ParseFloat>("ParseFloat", READER_VALUE_LINE, "1 float"),
    reader<&Parser::ParseFloat2>("ParseFloat2", READER_VALUE_LINE, "2 floats"),
    reader<&Parser::ParseFloat2x>("ParseFloat2x", READER_VALUE_LINE, "1 or 2 floats", 1),
    reader<&Parser::GetFloat>("GetFloat", READER_CURRENT_LINE, "1 floats"),
    reader<&Parser::GetFloat2>("GetFloat2", READER_CURRENT_LINE, "2 floats"),
    reader<&Parser::GetInt>("GetInt", READER_CURRENT_LINE, "1 int"),
    reader<&Parser::GetInt2>("GetInt2", READER_CURRENT_LINE, "2 ints"),
    reader<&Parser::GetInt3>("GetInt3", READER_CURRENT_LINE, "3 ints"),
    readerOfNoValue<&Parser::GetBoolean>("GetBoolean", READER_BOOLEAN),
    reader<&Parser::ParamEqualsInt8>("ParamEqualsInt8", READER_NAMED, "int8"),
    reader<&Parser::ParamEqualsInt16>("ParamEqualsInt16", READER_NAMED, "int16"),
    reader<&Parser::ParamEqualsInt32>("ParamEqualsInt32", READER_NAMED, "int32"),
    reader<&Parser::ParamEqualsUInt32>("ParamEqualsUInt32", READER_NAMED, "uint32"),
    reader<&Parser::ParamEqualsInt64>("ParamEqualsInt64", READER_NAMED, "int64"),
    reader<&Parser::ParamEqualsFloat32>("ParamEqualsFloat32", READER_NAMED, "float32"),
    reader<&Parser::ParamEqualsInt32_2>("ParamEqualsInt32_2", READER_NAMED, "int32 int32"),
    reader<&Parser::ParamEqualsInt32_2x>("ParamEqualsInt32_2x", READER_NAMED, "int32", 1),
    reader<&Parser::ParamEqualsFloat32_2>("ParamEqualsFloat32_2", READER_NAMED, "float32 float32"),
    reader<&Parser::ParamEqualsFloat32_2x>("ParamEqualsFloat32_2x", READER_NAMED, "float32", 1),
    reader<&Parser::ParamEqualsBoolean>("ParamEqualsBoolean", READER_NAMED, "bool"),
    {"ParamEqualsString", READER_NAMED, VALUE_TEXT, 1, 1, "string", readNamedString},
};

constexpr unsigned int sc_parserReaderCount = sizeof(sc_parserReaders) / sizeof(sc_parserReaders[0]);

// Returns the first row with this function; null if there is none.
inline const ParserReader* readerNamed(const char* function)
{
    for (const ParserReader& reader : sc_parserReaders) {
        if (strcmp(reader.function, function) == 0) {
            return &reader;
        }
    }
    return nullptr;
}
