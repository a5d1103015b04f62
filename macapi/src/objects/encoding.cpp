// Single-byte encodings share their code and differ in a table. UTF-8 is checked and copied.
#include "macapi/src/objects/encoding.h"

namespace macapi {

// The upper half of Mac Roman, from 128, as published for the Mac since system 8.5: 0xdb is the euro sign, no longer
// the currency sign. 0xf0 is the Mac's own logo; Unicode has it in its private-use range.
static const char16_t sc_macRoman[128] = {
    0x00c4, 0x00c5, 0x00c7, 0x00c9, 0x00d1, 0x00d6, 0x00dc, 0x00e1, // 0x80 Ä Å Ç É Ñ Ö Ü á
    0x00e0, 0x00e2, 0x00e4, 0x00e3, 0x00e5, 0x00e7, 0x00e9, 0x00e8, // 0x88 à â ä ã å ç é è
    0x00ea, 0x00eb, 0x00ed, 0x00ec, 0x00ee, 0x00ef, 0x00f1, 0x00f3, // 0x90 ê ë í ì î ï ñ ó
    0x00f2, 0x00f4, 0x00f6, 0x00f5, 0x00fa, 0x00f9, 0x00fb, 0x00fc, // 0x98 ò ô ö õ ú ù û ü
    0x2020, 0x00b0, 0x00a2, 0x00a3, 0x00a7, 0x2022, 0x00b6, 0x00df, // 0xa0 † ° ¢ £ § • ¶ ß
    0x00ae, 0x00a9, 0x2122, 0x00b4, 0x00a8, 0x2260, 0x00c6, 0x00d8, // 0xa8 ® © ™ ´ ¨ ≠ Æ Ø
    0x221e, 0x00b1, 0x2264, 0x2265, 0x00a5, 0x00b5, 0x2202, 0x2211, // 0xb0 ∞ ± ≤ ≥ ¥ µ ∂ ∑
    0x220f, 0x03c0, 0x222b, 0x00aa, 0x00ba, 0x03a9, 0x00e6, 0x00f8, // 0xb8 ∏ π ∫ ª º Ω æ ø
    0x00bf, 0x00a1, 0x00ac, 0x221a, 0x0192, 0x2248, 0x2206, 0x00ab, // 0xc0 ¿ ¡ ¬ √ ƒ ≈ ∆ «
    0x00bb, 0x2026, 0x00a0, 0x00c0, 0x00c3, 0x00d5, 0x0152, 0x0153, // 0xc8 » … (no-break space) À Ã Õ Œ œ
    0x2013, 0x2014, 0x201c, 0x201d, 0x2018, 0x2019, 0x00f7, 0x25ca, // 0xd0 – — “ ” ‘ ’ ÷ ◊
    0x00ff, 0x0178, 0x2044, 0x20ac, 0x2039, 0x203a, 0xfb01, 0xfb02, // 0xd8 ÿ Ÿ ⁄ € ‹ › ﬁ ﬂ
    0x2021, 0x00b7, 0x201a, 0x201e, 0x2030, 0x00c2, 0x00ca, 0x00c1, // 0xe0 ‡ · ‚ „ ‰ Â Ê Á
    0x00cb, 0x00c8, 0x00cd, 0x00ce, 0x00cf, 0x00cc, 0x00d3, 0x00d4, // 0xe8 Ë È Í Î Ï Ì Ó Ô
    0xf8ff, 0x00d2, 0x00da, 0x00db, 0x00d9, 0x0131, 0x02c6, 0x02dc, // 0xf0 (the logo) Ò Ú Û Ù ı ˆ ˜
    0x00af, 0x02d8, 0x02d9, 0x02da, 0x00b8, 0x02dd, 0x02db, 0x02c7, // 0xf8 ¯ ˘ ˙ ˚ ¸ ˝ ˛ ˇ
};

char32_t nextCharacter(std::string_view text, size_t* position)
{
    const unsigned char lead = text[*position];
    const int following = lead < 0x80   ? 0
                          : lead < 0xc0 ? -1
                          : lead < 0xe0 ? 1
                          : lead < 0xf0 ? 2
                          : lead < 0xf8 ? 3
                                        : -1;
    if (following < 0 || text.size() - *position <= static_cast<size_t>(following)) {
        return sc_noCharacter;
    }
    static const unsigned char sc_leadBits[] = {0x7f, 0x1f, 0x0f, 0x07};
    char32_t character = lead & sc_leadBits[following];
    for (int i = 1; i <= following; i++) {
        const unsigned char byte = text[*position + i];
        if ((byte & 0xc0) != 0x80) {
            return sc_noCharacter;
        }
        character = character << 6 | (byte & 0x3f);
    }
    static const char32_t sc_least[] = {0, 0x80, 0x800, 0x10000};
    const bool surrogate = character >= 0xd800 && character <= 0xdfff;
    if (character < sc_least[following] || surrogate || character > 0x10ffff) {
        return sc_noCharacter;
    }
    *position += following + 1;
    return character;
}

void appendCharacter(std::string* text, char32_t character)
{
    if (character < 0x80) {
        *text += static_cast<char>(character);
        return;
    }
    const int following = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    static const unsigned char sc_leads[] = {0, 0xc0, 0xe0, 0xf0};
    *text += static_cast<char>(sc_leads[following] | character >> (6 * following));
    for (int i = following - 1; i >= 0; i--) {
        *text += static_cast<char>(0x80 | (character >> (6 * i) & 0x3f));
    }
}

// For encodings with one byte for each character whose bytes below 128 are ASCII. upperHalf has the characters of the
// bytes from 128 on; null: such bytes are not valid.
static std::optional<std::string> decodeBytes(std::string_view bytes, const char16_t* upperHalf)
{
    std::string text;
    text.reserve(bytes.size());
    for (unsigned char byte : bytes) {
        if (byte >= 0x80 && !upperHalf) {
            return std::nullopt;
        }
        appendCharacter(&text, byte < 0x80 ? byte : upperHalf[byte - 0x80]);
    }
    return text;
}

static std::optional<std::string> encodeBytes(std::string_view text, const char16_t* upperHalf)
{
    std::string bytes;
    for (size_t position = 0; position < text.size();) {
        const char32_t character = nextCharacter(text, &position);
        if (character < 0x80) {
            bytes += static_cast<char>(character);
            continue;
        }
        int index = 0;
        while (upperHalf && index < 128 && upperHalf[index] != character) {
            index++;
        }
        if (!upperHalf || index == 128) {
            return std::nullopt;
        }
        bytes += static_cast<char>(0x80 + index);
    }
    return bytes;
}

static bool isUtf8(std::string_view bytes)
{
    for (size_t position = 0; position < bytes.size();) {
        const bool isASCII = static_cast<unsigned char>(bytes[position]) < 0x80;
        if (isASCII) {
            position++;
        } else if (nextCharacter(bytes, &position) == sc_noCharacter) {
            return false;
        }
    }
    return true;
}

bool isText(std::string_view bytes)
{
    return isUtf8(bytes) && bytes.find('\0') == bytes.npos;
}

std::optional<std::string> decode(std::string_view bytes, CFStringEncoding encoding)
{
    switch (encoding) {
    case kCFStringEncodingASCII:
        return decodeBytes(bytes, nullptr);
    case kCFStringEncodingMacRoman:
        return decodeBytes(bytes, sc_macRoman);
    case kCFStringEncodingUTF8:
        return isUtf8(bytes) ? std::optional<std::string>(bytes) : std::nullopt;
    default:
        return std::nullopt;
    }
}

std::optional<std::string> encode(std::string_view text, CFStringEncoding encoding)
{
    switch (encoding) {
    case kCFStringEncodingASCII:
        return encodeBytes(text, nullptr);
    case kCFStringEncodingMacRoman:
        return encodeBytes(text, sc_macRoman);
    case kCFStringEncodingUTF8:
        return std::string(text);
    default:
        return std::nullopt;
    }
}

} // namespace macapi
