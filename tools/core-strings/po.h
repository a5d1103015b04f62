// PO files, the format of translators' programs. libgettextpo reads and writes them.
#pragma once

#include "tools/core-strings/document.h"

#include <string>
#include <vector>

// Returns the bytes of a PO file with the items of a strings file. Stores in *lost what the format cannot hold.
// isTemplate: leaves out the translations.
std::string poOf(const std::string& name, const Document& document, bool isTemplate, std::vector<Finding>* lost);

// Reads a PO file. Returns true; returns false and stores a message in *error if it is no PO file, or not UTF-8.
// Stores in *lost what a strings file cannot hold.
bool readPo(const std::string& name, const std::string& bytes, Document* document, std::vector<Finding>* lost,
            std::string* error);
