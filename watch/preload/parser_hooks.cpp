// The hooks of Parser, and of stricmp, with which a game compares names.
//
// 1. Without a tool that wants to know what the game reads, each hook only calls the real function.
// 2. The library's readers call each other. Only the outermost call, which the game makes, is noted (ReaderCall).
// 3. The texts that the library reads for itself, such as a strings file, are not noted; nor are texts that the game reads
//    again and again.
#include "core/parser.h"
#include "watch/preload/reads.h"
#include "watch/preload/realfunction.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

using watch::isWatchingReads;

// The fields of a Parser whose layout never changes.
struct ParserView {
    void* functions;
    const char* buffer;
    const char* cursor;
    const char* position;
    int lineNumber;

    static const ParserView& of(const Parser* parser) { return *reinterpret_cast<const ParserView*>(parser); }

    uint32_t placeOf(const char* text) const
    {
        const ptrdiff_t place = text - buffer;
        return text && place >= 0 ? static_cast<uint32_t>(place) : watch::sc_noPlace;
    }
};

// What this thread does with parsers.
struct ReaderState {
    unsigned int depth;    // number of the library's readers that run inside each other
    const char* others[4]; // the last texts that are not noted
    unsigned int next;     // the next index in others, before % 4
    const char* token;     // the first token of the current line
    const char* tokenText; // the text of this token
    bool hasToken;         // GetToken was called for the current line
    bool hasAsked;         // the game has compared a name on the current line
};

static thread_local ReaderState s_state __attribute__((tls_model("initial-exec")));

static bool isNotedText(const char* text)
{
    bool isNoted = true;
    for (const char* other : s_state.others) {
        isNoted = isNoted && other != text;
    }
    return isNoted;
}

// ---- Names

// Returns true for the first comparison on a line, and for a comparison that is new in its block.
static bool isNewAsk(watch::e_Read what, const char* text, const char* name)
{
    const bool isFirst = !s_state.hasAsked;
    s_state.hasAsked = true;
    return watch::isNewAsk(what, text, name) || isFirst;
}

WATCH_FUNCTION("_Z7stricmpPKcS0_", int, compare, (const char* left, const char* right))
{
    const int result = s_compare.real()(left, right);
    const char* token = s_state.token;
    if (!token || s_state.depth > 0 || (left != token && right != token)) {
        return result;
    }
    const char* name = left == token ? right : left;
    const watch::e_Read what = result == 0 ? watch::READ_NAME : watch::READ_ASK;
    if (name && isWatchingReads() && (result == 0 || isNewAsk(what, s_state.tokenText, name))) {
        watch::noteRead(what, result == 0, s_state.tokenText, watch::sc_noPlace, name,
                        strnlen(name, watch::sc_readsName));
    }
    return result;
}

static bool isSame(const char* token, const char* name)
{
    return token && name && s_compare.real()(token, name) == 0;
}

// ---- Calls of readers

// The variable in which a reader of a named parameter stores its value. If the line does not have the name, the game
// goes on with the value that the variable has.
struct Output {
    unsigned int room = 0; // bytes for a text; 0 for other values
    char text[64] = "";    // the value, if the name was not in the line

    explicit Output(const signed char* value) { _set("%d", static_cast<int>(*value)); }
    explicit Output(const short* value) { _set("%d", static_cast<int>(*value)); }
    explicit Output(const int* value) { _set("%d", *value); }
    explicit Output(const unsigned int* value) { _set("%u", *value); }
    explicit Output(const long long* value) { _set("%lld", *value); }
    explicit Output(const float* value) { _set("%08x", _bitsOf(*value)); } // "%g" writes a comma in some locales
    explicit Output(const bool* value)
    {
        unsigned char byte; // the variable may be uninitialised, and hold another byte than 0 or 1
        memcpy(&byte, value, sizeof(byte));
        _set("%s", byte ? "true" : "false");
    }
    Output(const int* first, const int* second) { _set("%d %d", *first, *second); }
    Output(const float* first, const float* second) { _set("%08x %08x", _bitsOf(*first), _bitsOf(*second)); }
    Output(const char* value, unsigned int size) : room(size)
    {
        if (size > 0 && memchr(value, 0, size)) {
            _set("%s", value);
        }
    }

private:
    static unsigned int _bitsOf(const float& value)
    {
        unsigned int bits;
        memcpy(&bits, &value, sizeof(bits));
        return bits;
    }

    template <typename... Values>
    void _set(const char* format, Values... values)
    {
        snprintf(text, sizeof(text), format, values...);
    }
};

// A call of one of the library's readers.
class ReaderCall {
public:
    explicit ReaderCall(const Parser* parser)
        : m_view(ParserView::of(parser)),
          m_isNoted(isWatchingReads() && s_state.depth == 0 && isNotedText(m_view.buffer)),
          m_position(m_view.placeOf(m_view.position)), m_cursor(m_view.placeOf(m_view.cursor))
    {
        ++s_state.depth;
    }
    ~ReaderCall() { --s_state.depth; }
    ReaderCall(const ReaderCall&) = delete;
    ReaderCall& operator=(const ReaderCall&) = delete;

    bool isNoted() const { return m_isNoted; }
    const ParserView& view() const { return m_view; }

    void note(watch::e_Read what, bool result, uint32_t place, const char* name = nullptr) const
    {
        if (m_isNoted) {
            const size_t length = name ? strnlen(name, watch::sc_readsName) : 0;
            watch::noteRead(what, result, m_view.buffer, place, name, length);
        }
    }

    // Notes a reader of the line position, and returns its result.
    bool noteValue(watch::e_Read what, bool result) const
    {
        note(what, result, m_position);
        return result;
    }

    // Notes a reader of value lines, and returns its result.
    bool noteLine(watch::e_Read what, bool result) const
    {
        note(what, result, m_cursor);
        return result;
    }

    // Notes a reader of a named parameter, and returns its result. describe returns the Output.
    template <typename Describe>
    bool noteParameter(watch::e_Read what, bool result, const char* token, const char* name,
                       const Describe& describe) const;

private:
    const ParserView& m_view;
    const bool m_isNoted;
    const uint32_t m_position; // before the call
    const uint32_t m_cursor;
};

template <typename Describe>
bool ReaderCall::noteParameter(watch::e_Read what, bool result, const char* token, const char* name,
                               const Describe& describe) const
{
    if (!m_isNoted || !name) {
        return result;
    }
    const bool isFound = isSame(token, name);
    if (isFound || isNewAsk(what, m_view.buffer, name)) {
        const Output output = describe();
        char text[watch::sc_readsName + sizeof(output.text) + 16];
        const int length = snprintf(text, sizeof(text), "%.*s%c%u%c%s", static_cast<int>(watch::sc_readsName), name,
                                    0, output.room, 0, isFound ? "" : output.text);
        watch::noteRead(what, isFound, m_view.buffer, m_position, text, static_cast<size_t>(length));
    }
    return result;
}

// ---- Texts

// True if the address lies in the library that has the real functions of Parser.
static bool isInLibrary(const void* address, const void* function)
{
    Dl_info caller;
    Dl_info library;
    return dladdr(address, &caller) != 0 && dladdr(function, &library) != 0 && caller.dli_fbase == library.dli_fbase;
}

// Removes the address from `others`: a new text can be at the address of an older text.
static void forgetText(const char* text)
{
    for (const char*& other : s_state.others) {
        other = other == text ? nullptr : other;
    }
}

static void beginText(const char* text, const void* caller, const void* function)
{
    if (!isWatchingReads() || !text) {
        return;
    }
    forgetText(text);
    if (isInLibrary(caller, function) || !watch::noteText(text)) {
        s_state.others[s_state.next++ % 4] = text;
    }
    watch::forgetAsks();
}

// A constructor has two symbols, C1 and C2. The compiler may call either of them.
WATCH_FUNCTION("_ZN6ParserC1EPc", void, constructParser, (Parser * parser, char* text))
{
    beginText(text, __builtin_return_address(0), reinterpret_cast<const void*>(s_constructParser.real()));
    s_constructParser.real()(parser, text);
}

WATCH_FUNCTION("_ZN6ParserC2EPc", void, constructBase, (Parser * parser, char* text))
{
    beginText(text, __builtin_return_address(0), reinterpret_cast<const void*>(s_constructBase.real()));
    s_constructBase.real()(parser, text);
}

// ---- Lines and tokens

WATCH_FUNCTION("_ZN6Parser9ParseLineEv", bool, parseLine, (Parser * parser))
{
    const ReaderCall call(parser);
    const bool result = s_parseLine.real()(parser);
    if (call.isNoted()) {
        const char* line = call.view().position;
        call.note(watch::READ_LINE, result, call.view().placeOf(line));
        s_state.token = nullptr;
        s_state.hasToken = false;
        s_state.hasAsked = false;
        if (result && line && strpbrk(line, "{}")) {
            watch::forgetAsks();
        }
    }
    return result;
}

WATCH_FUNCTION("_ZN6Parser8GetTokenEPKc", char*, getToken, (Parser * parser, const char* delimiters))
{
    const ReaderCall call(parser);
    char* token = s_getToken.real()(parser, delimiters);
    if (call.isNoted()) {
        call.note(watch::READ_TOKEN, token != nullptr, call.view().placeOf(token));
        s_state.token = s_state.hasToken ? s_state.token : token; // later tokens are values
        s_state.tokenText = call.view().buffer;
        s_state.hasToken = true;
    }
    return token;
}

WATCH_FUNCTION("_ZN6Parser9GetStringEv", char*, getString, (Parser * parser))
{
    const ReaderCall call(parser);
    char* text = s_getString.real()(parser);
    call.note(watch::READ_STRING, text != nullptr, call.view().placeOf(text));
    return text;
}

#define WATCH_READER(symbol, name, what)                                                                             \
    WATCH_FUNCTION(symbol, bool, name, (Parser * parser))                                                            \
    {                                                                                                                \
        const ReaderCall call(parser);                                                                               \
        return call.noteValue(what, s_##name.real()(parser));                                                        \
    }
WATCH_READER("_ZN6Parser14GetEqualsTokenEv", getEqualsToken, watch::READ_EQUALS)
WATCH_READER("_ZN6Parser12GetOpenBraceEv", getOpenBrace, watch::READ_OPEN)
WATCH_READER("_ZN6Parser13GetCloseBraceEv", getCloseBrace, watch::READ_CLOSE)
WATCH_READER("_ZN6Parser10GetBooleanEv", getBoolean, watch::READ_GET_BOOL)

// ---- Values: `note` is noteValue for the readers of the line position, and noteLine for those of value lines

#define WATCH_READER_1(symbol, name, what, note, type)                                                               \
    WATCH_FUNCTION(symbol, bool, name, (Parser * parser, type first))                                                \
    {                                                                                                                \
        const ReaderCall call(parser);                                                                               \
        return call.note(what, s_##name.real()(parser, first));                                                      \
    }
#define WATCH_READER_2(symbol, name, what, note, type)                                                               \
    WATCH_FUNCTION(symbol, bool, name, (Parser * parser, type first, type second))                                   \
    {                                                                                                                \
        const ReaderCall call(parser);                                                                               \
        return call.note(what, s_##name.real()(parser, first, second));                                              \
    }
#define WATCH_READER_3(symbol, name, what, note, type)                                                               \
    WATCH_FUNCTION(symbol, bool, name, (Parser * parser, type first, type second, type third))                       \
    {                                                                                                                \
        const ReaderCall call(parser);                                                                               \
        return call.note(what, s_##name.real()(parser, first, second, third));                                       \
    }
WATCH_READER_1("_ZN6Parser6GetIntEPi", getInt, watch::READ_GET_INT, noteValue, int*)
WATCH_READER_2("_ZN6Parser7GetInt2EPiS0_", getInt2, watch::READ_GET_INT2, noteValue, int*)
WATCH_READER_3("_ZN6Parser7GetInt3EPiS0_S0_", getInt3, watch::READ_GET_INT3, noteValue, int*)
WATCH_READER_1("_ZN6Parser8GetFloatEPf", getFloat, watch::READ_GET_FLOAT, noteValue, float*)
WATCH_READER_2("_ZN6Parser9GetFloat2EPfS0_", getFloat2, watch::READ_GET_FLOAT2, noteValue, float*)
WATCH_READER_1("_ZN6Parser11ParseStringEPc", parseString, watch::READ_LINE_STRING, noteLine, char*)
WATCH_READER_1("_ZN6Parser9ParseCharEPc", parseChar, watch::READ_LINE_CHAR, noteLine, char*)
WATCH_READER_1("_ZN6Parser9ParseUTF8EPh", parseUtf8, watch::READ_LINE_UTF8, noteLine, unsigned char*)
WATCH_READER_1("_ZN6Parser12ParseIntegerEPi", parseInteger, watch::READ_LINE_INT, noteLine, int*)
WATCH_READER_2("_ZN6Parser13ParseInteger2EPiS0_", parseInteger2, watch::READ_LINE_INT2, noteLine, int*)
WATCH_READER_2("_ZN6Parser14ParseInteger2xEPiS0_", parseInteger2x, watch::READ_LINE_INT2X, noteLine, int*)
WATCH_READER_3("_ZN6Parser13ParseInteger3EPiS0_S0_", parseInteger3, watch::READ_LINE_INT3, noteLine, int*)
WATCH_READER_1("_ZN6Parser10ParseFloatEPf", parseFloat, watch::READ_LINE_FLOAT, noteLine, float*)
WATCH_READER_2("_ZN6Parser11ParseFloat2EPfS0_", parseFloat2, watch::READ_LINE_FLOAT2, noteLine, float*)
WATCH_READER_2("_ZN6Parser12ParseFloat2xEPfS0_", parseFloat2x, watch::READ_LINE_FLOAT2X, noteLine, float*)

// ---- Named parameters

#define WATCH_PARAMETER(symbol, name, what, type)                                                                    \
    WATCH_FUNCTION(symbol, bool, name, (Parser * parser, const char* token, const char* asked, type value))          \
    {                                                                                                                \
        const ReaderCall call(parser);                                                                               \
        return call.noteParameter(what, s_##name.real()(parser, token, asked, value), token, asked,                  \
                                  [=] { return Output(value); });                                                    \
    }
#define WATCH_PARAMETERS(symbol, name, what, type)                                                                   \
    WATCH_FUNCTION(symbol, bool, name,                                                                               \
                   (Parser * parser, const char* token, const char* asked, type first, type second))                 \
    {                                                                                                                \
        const ReaderCall call(parser);                                                                               \
        return call.noteParameter(what, s_##name.real()(parser, token, asked, first, second), token, asked,          \
                                  [=] { return Output(first, second); });                                            \
    }
WATCH_PARAMETER("_ZN6Parser15ParamEqualsInt8EPKcS1_Pa", readInt8, watch::READ_INT8, signed char*)
WATCH_PARAMETER("_ZN6Parser16ParamEqualsInt16EPKcS1_Ps", readInt16, watch::READ_INT16, short*)
WATCH_PARAMETER("_ZN6Parser16ParamEqualsInt32EPKcS1_Pi", readInt32, watch::READ_INT32, int*)
WATCH_PARAMETER("_ZN6Parser17ParamEqualsUInt32EPKcS1_Pj", readUint32, watch::READ_UINT32, unsigned int*)
WATCH_PARAMETER("_ZN6Parser16ParamEqualsInt64EPKcS1_Px", readInt64, watch::READ_INT64, long long*)
WATCH_PARAMETER("_ZN6Parser18ParamEqualsFloat32EPKcS1_Pf", readFloat32, watch::READ_FLOAT32, float*)
WATCH_PARAMETER("_ZN6Parser18ParamEqualsBooleanEPKcS1_Pb", readBool, watch::READ_BOOL, bool*)
WATCH_PARAMETERS("_ZN6Parser18ParamEqualsInt32_2EPKcS1_PiS2_", readInt32Two, watch::READ_INT32_2, int*)
WATCH_PARAMETERS("_ZN6Parser19ParamEqualsInt32_2xEPKcS1_PiS2_", readInt32OneOrTwo, watch::READ_INT32_2X, int*)
WATCH_PARAMETERS("_ZN6Parser20ParamEqualsFloat32_2EPKcS1_PfS2_", readFloat32Two, watch::READ_FLOAT32_2, float*)
WATCH_PARAMETERS("_ZN6Parser21ParamEqualsFloat32_2xEPKcS1_PfS2_", readFloat32OneOrTwo, watch::READ_FLOAT32_2X, float*)

WATCH_FUNCTION("_ZN6Parser17ParamEqualsStringEPKcS1_Pcj", bool, readString,
               (Parser * parser, const char* token, const char* asked, char* text, unsigned int size))
{
    const ReaderCall call(parser);
    return call.noteParameter(watch::READ_TEXTVALUE, s_readString.real()(parser, token, asked, text, size), token,
                              asked, [=] { return Output(text, size); });
}
