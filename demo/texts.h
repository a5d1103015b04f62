// The demo's texts, in the player's language.
//
//     DEMO_TEXT(sc_left, "%s has %d units left.\n");       // at the head of a source
//     Say(sc_left, army, count);
//
// A text is its own key in the string table. The table collects what it is asked for; so that a collected file is
// complete, whatever a run comes to say, all texts are known from the start and asked for in one go. What was asked
// for once is remembered, and can also be said when the table is gone.
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

// The text to show; ours, until the program ends. A translation that would have printf look for other values than
// its key does is not used.
const char* Text(const std::string& key);

void Say(const char* key, ...) __attribute__((format(printf, 1, 2)));
void Complain(const char* key, ...) __attribute__((format(printf, 1, 2))); // on the standard error stream
bool AllIsSaid(); // whether all of it has reached the standard output: a disk may be full
std::string Compose(const char* key, ...) __attribute__((format(printf, 1, 2)));

// In a block of that bank.
const char* ComposeInBank(int bank, const char* key, ...) __attribute__((format(printf, 2, 3)));

// Whether both formats have the same conversions of printf's, in the same order. "%%" is none.
bool SameConversions(const char* left, const char* right);

void AskForAllTexts(); // all DEMO_TEXTs
size_t TextsRefused(); // translations that are no good for their keys

// Whether the table in g_stringTblPtr gives the text for each key that was asked for.
bool TextsAreTheSame();

// 1234567 as 1,234,567 and 12.3, as the language has it.
std::string Grouped(unsigned long long number);
std::string WithTenths(double number);
std::string InKiB(unsigned long long bytes); // rounded up: what is there shows
