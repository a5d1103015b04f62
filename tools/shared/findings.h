// What the checking tools say about a file: one line for each finding, in a form that editors can jump to.
//
//   locale/de/strings.utf8:12:8: error: no space after the equals sign; write one space [no-space-after-equals]
#pragma once

#include <stddef.h>
#include <string>
#include <vector>

enum e_ToolStatus {
    TOOL_FINE = 0,           // the command did its work and found nothing wrong
    TOOL_FOUND = 1,          // the command has findings
    TOOL_NOT_UNDERSTOOD = 2, // the command line, or a file of a format that must be right, is not understood
    TOOL_CANT_ACCESS = 3,    // a file can't be read or written
};

enum e_FindingForm {
    FINDINGS_TEXT,   // FILE:LINE:COLUMN: error|warning: what is wrong; what to write instead [check]
    FINDINGS_JSON,   // an array with an object for each finding
    FINDINGS_GITHUB, // annotations, as workflows of GitHub print them
};

struct Finding {
    std::string file;
    size_t line;         // counts from 1
    size_t column;       // bytes, counts from 1
    bool isError;        // else a warning
    std::string what;    // what is wrong
    std::string instead; // what to write instead; may be empty
    std::string check;   // the name of the check, such as "unclosed-quote"
};

// Sorts by file (in the order of the list), line and column. Findings of the same place keep their order.
void sortFindings(std::vector<Finding>* findings);

// Returns the findings as a text with a line feed at its end; an empty text if there are none (JSON: an empty array).
std::string formatFindings(const std::vector<Finding>& findings, e_FindingForm form);

// Returns TOOL_FOUND if there is a finding, else TOOL_FINE.
int statusOf(const std::vector<Finding>& findings);

// Returns the text with each control character replaced by '?', because a text from a file could contain commands for
// the terminal.
std::string printable(const std::string& text);
