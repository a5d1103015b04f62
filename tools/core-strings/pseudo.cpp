#include "tools/core-strings/pseudo.h"

#include "tools/core-strings/texts.h"

static const char* accented(char letter)
{
    static const char* const sc_small[] = {"á", "ƀ", "ç", "đ", "é", "ƒ", "ğ", "ĥ", "í", "ĵ", "ķ", "ļ", "ɱ",
                                           "ñ", "ó", "þ", "ɋ", "ŕ", "š", "ţ", "ú", "ṽ", "ŵ", "ẋ", "ý", "ž"};
    static const char* const sc_capital[] = {"Á", "Ɓ", "Ç", "Đ", "É", "Ƒ", "Ğ", "Ĥ", "Í", "Ĵ", "Ķ", "Ļ", "Ṁ",
                                             "Ñ", "Ó", "Þ", "Ɋ", "Ŕ", "Š", "Ţ", "Ú", "Ṽ", "Ŵ", "Ẋ", "Ý", "Ž"};
    return letter >= 'a' && letter <= 'z'   ? sc_small[letter - 'a']
           : letter >= 'A' && letter <= 'Z' ? sc_capital[letter - 'A']
                                            : nullptr;
}

std::string pseudoTranslation(const std::string& key)
{
    const std::string begin = leadingBlanks(key);
    const std::string end = trailingBlanks(key);
    if (begin.size() == key.size()) {
        return key;
    }
    const std::string middle = key.substr(begin.size(), key.size() - begin.size() - end.size());
    std::string text;
    size_t letters = 0;
    for (size_t at = 0; at < middle.size();) {
        const size_t kept = lengthOfMark(middle, at);
        const char* const letter = kept ? nullptr : accented(middle[at]);
        text += letter ? letter : middle.substr(at, kept ? kept : 1);
        letters += letter != nullptr;
        at += kept ? kept : 1;
    }
    return begin + "[" + text + std::string((letters + 2) / 3, '~') + "]" + end;
}
