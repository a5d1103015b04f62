// Reading and replacing whole files.
#pragma once

#include <string>
#include <vector>

// The ends of lines and the byte-order mark of a text file. A tool that changes a file keeps them:
//
//   TextForm form;
//   std::string text = takeForm(bytes, &form);  // lines end with "\n" now
//   bytes = giveForm(changed(text), form);
struct TextForm {
    bool hasByteOrderMark = false;   // of UTF-8: EF BB BF
    bool hasCarriageReturns = false; // most lines end with "\r\n"
};

// Returns the text without byte-order mark, and stores in *form what giveForm needs. When most lines end with "\r\n",
// each "\r\n" becomes "\n"; else no carriage return is changed.
std::string takeForm(const std::string& bytes, TextForm* form);

// Returns the text with the byte-order mark and the ends of lines of form.
std::string giveForm(const std::string& text, const TextForm& form);

std::vector<std::string> linesOf(const std::string& text); // without the line feeds

// Reads a whole file of at most 256 MiB, or the standard input when path is "-". Returns true; on failure returns false
// and stores a message with the path in *error.
bool readFile(const std::string& path, std::string* bytes, std::string* error);

// Replaces a file as a whole, or writes to the standard output when path is "-". The bytes are written to a new file
// in the same folder, which then gets the name of the old one: at each moment the file has all of the old bytes or
// all of the new ones. Keeps the permissions of the old file; a symbolic link stays a link, and the file that it
// names is replaced. A device or a pipe is written to. Returns true; on failure returns false, stores a message with
// the path in *error, and the old file is unchanged.
bool replaceFile(const std::string& path, const std::string& bytes, std::string* error);
