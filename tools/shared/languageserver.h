// A language server (LSP 3.17) for a language of small files. The editor shows findings while the user types,
// completes words and explains them. Server and editor communicate over two streams. For each change the editor sends
// the whole text.
//
//   class UnitFiles : public Language { ... };
//   UnitFiles language;
//   return serveLanguage(language, "unit-server", stdin, stdout);
#pragma once

#include <stddef.h>
#include <stdio.h>
#include <string>
#include <vector>

struct LanguageFinding {
    size_t begin; // bytes from the start of the text
    size_t end;
    bool isError; // else a warning
    std::string message;
    std::string check; // its name
};

struct LanguageProposal {
    std::string label;
    std::string insert;        // the text that the editor inserts
    std::string detail;        // one line
    std::string documentation; // may be empty
    bool isValue;              // else a name
    size_t begin = 0; // begin to end: the bytes of the text that the proposal replaces, in the line of the cursor.
    size_t end = 0;   // Both 0: the editor decides which bytes it replaces
};

// A place in a file to which the editor can go, such as the same entry in another file.
struct LanguageTarget {
    std::string path;
    std::string text; // of the file
    size_t begin;     // bytes from the start of the text
    size_t end;
};

// What a server knows about its language. path is the file's path, or the URI of a text that is no file. place is the
// place of the cursor in bytes, at most the length of the text.
class Language {
public:
    virtual ~Language() = default;

    virtual std::vector<LanguageFinding> findings(const std::string& path, const std::string& text) = 0;
    virtual std::vector<LanguageProposal> proposals(const std::string& path, const std::string& text,
                                                    size_t place) = 0;

    // Returns the explanation of what is at the place; an empty text if there is none.
    virtual std::string hover(const std::string& path, const std::string& text, size_t place) = 0;

    // Returns the text in its right form.
    virtual std::string formatted(const std::string& path, const std::string& text) = 0;

    // Returns the places that an editor goes to from here. A language without such places keeps the two defaults.
    virtual bool hasTargets() const { return false; }
    virtual std::vector<LanguageTarget> targets(const std::string&, const std::string&, size_t) { return {}; }

    // Returns the characters after which the editor asks for proposals.
    virtual std::vector<std::string> triggers() const { return {" ", "=", "["}; }
};

// Answers the messages of in until the editor ends the server. Returns 0 if the editor first asked the server to shut
// down, else 1. A message that is not understood gets an error as its answer; messages of more than 64 MiB are skipped.
int serveLanguage(Language& language, const std::string& name, FILE* in, FILE* out);
