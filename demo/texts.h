// The demo's texts, in the player's language.
//
//     DEMO_TEXT(sc_left, "%s has %d units left.\n");       // at the head of a source
//     Say(sc_left, army, count);
//
// A text is its own key in the string table, and the table collects the texts that it is asked to translate. The
// collected file must have all texts, also those that a run does not print. So DEMO_TEXT registers each text before
// main begins, and AskForAllTexts asks the table for all of them. Text keeps each translation, so texts can also be
// printed after the table was destroyed.
#pragma once

#include <stddef.h>
#include <string>

#define DEMO_TEXT(name, text)                                                                                        \
    static constexpr char name[] = text;                                                                             \
    static const TextEntry name##Entry(name)

class TextEntry {
public:
    template <size_t size>
    explicit TextEntry(const char (&key)[size])
    {
        static_assert(size <= 128, "the string table finds no key of more than 127 bytes");
        add(key);
    }

private:
    static void add(const char* key);
};

// Returns the translation of key, valid until the program ends. Returns key itself when the translation's printf
// conversions differ from those of the key: such a translation would read wrong arguments.
const char* Text(const std::string& key);

void Say(const char* key, ...) __attribute__((format(printf, 1, 2)));
void Complain(const char* key, ...) __attribute__((format(printf, 1, 2))); // on the standard error stream
bool AllIsSaid(); // flushes the standard output; false when a write to it has failed, for example on a full disk
std::string Compose(const char* key, ...) __attribute__((format(printf, 1, 2)));

// Returns true when both formats have the same printf conversions in the same order. "%%" is not a conversion.
bool SameConversions(const char* left, const char* right);

void AskForAllTexts(); // translates each DEMO_TEXT
size_t TextsRefused(); // the number of translations with wrong conversions, which Text did not use

// Returns true when the table in g_stringTblPtr gives the same text as before for each key that Text was called with.
bool TextsAreTheSame();

// Grouped returns "1,234,567" for 1234567, and WithTenths returns "12.3" for 12.34. The signs between the digits are
// those of the player's language.
std::string Grouped(unsigned long long number);
std::string WithTenths(double number);
std::string InKiB(unsigned long long bytes); // rounded up, so that a few bytes do not become 0
